#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"

#include "base/platform/file.h"
#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

HttpDNSManager::HttpDNSManager() : BaseThread("http dns manager") {}

// The base's stop would come when the members that tasks work on are gone.
HttpDNSManager::~HttpDNSManager() {
  BaseThread::Stop();
}

bool HttpDNSManager::Init() {
  BuildRequestHeaders();
  LoadServerCache();
  LoadHostCache();
  InitInterfaceAddress();
  timer_ = std::make_shared<zo_base::Timer>(GetTaskLoop());
  Start();
  return true;
}

void HttpDNSManager::BuildRequestHeaders() {
  request_headers_.clear();
  const auto config = GetEnvironmentConfig();
  if (config == nullptr) {
    return;
  }
  request_headers_.push_back("X-QORVIN-BUSINESS : " + config->business);
  request_headers_.push_back("X-QORVIN-SDKVER : " + config->sdk_version_text + "_" +
                             std::to_string(config->tp) + "_" + std::to_string(config->sv));
  request_headers_.push_back("X-QORVIN-APPKEY : " + config->GetBusinessToken());
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

MultipleURLHttpRequest HttpDNSManager::NewRequest() const {
  MultipleURLHttpRequest request;
  request.type = 0;
  request.use_http_dns = false;
  return request;
}

void HttpDNSManager::EndQueries() {
  queries_.End();
}

void HttpDNSManager::RequestStop() {
  EndQueries();
  BaseThread::RequestStop();
}

}  // namespace zo_sturdy
