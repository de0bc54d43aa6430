#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"

#include "base/platform/file.h"
#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

HttpDNSManager::HttpDNSManager() : BaseThread("http dns manager") {}

// The base would stop the thread only after the members that its tasks use are gone.
HttpDNSManager::~HttpDNSManager() {
  BaseThread::Stop();
}

bool HttpDNSManager::Init() {
  directory_.BuildRequestHeaders();
  LoadServerCache();
  LoadHostCache();
  InitInterfaceAddress();
  Start();
  return true;
}

void HttpDNSManager::RequestStop() {
  EndQueries();
  BaseThread::RequestStop();
}

std::string HttpDNSManager::CacheFolder() {
  const auto config = GetEnvironmentConfig();
  if (config == nullptr) {
    return {};
  }
  std::string folder = config->data_path + "http_dns/";
  if (!zo_base::FolderExists(folder)) {
    zo_base::CreateFolders(folder);
  }
  return folder;
}

}  // namespace zo_sturdy
