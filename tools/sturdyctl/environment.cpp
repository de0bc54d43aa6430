#include "tools/sturdyctl/environment.h"

#include <stdexcept>
#include <string>

#include "base/log/log_format.h"
#include "lab/data_folder.h"
#include "lab/temp_folder.h"
#include "tools/platform/files.h"

namespace sturdyctl {

namespace {

constexpr int kEnvironmentId = 1;

// Returns whether the client's user can write the folders and files that are there.
bool CanWriteFiles(const std::string& data_folder) {
  for (const char* path : {"", "sturdy_comp.log", "lbs/", "lbs/lbs.data", "http_dns/",
                           "http_dns/http_dns_cache.data", "http_dns/http_server_cache.data"}) {
    if (!platform::MayWrite(data_folder + path)) {
      return false;
    }
  }
  return true;
}

}  // namespace

Environment::Environment(const ClientOptions& options)
    : client_folder_(options.data_folder.empty()
                         ? lab::MakeTempFolder(lab::SystemTempFolder(), "sturdyctl-")
                         : options.data_folder),
      log_(lab::DataFolder(client_folder_, options.business) + std::string(zo_base::kLogFileName)) {
  const auto record = options.EnvironmentRecord(client_folder_);
  log_.SkipToEnd();
  object_ = zo_sturdy::GetSturdyObject(zo_sturdy::StartSturdyEnvironment(record));
  if (object_ == nullptr) {
    throw std::runtime_error("the environment did not start");
  }
  // The library works without its files too. A start that can write them leaves a line in the log.
  // The process ends now, so the environment needs no exit, which can take long in a dead network.
  if (log_reader::LogReader(log_).ReadNewText().empty() ||
      !CanWriteFiles(lab::DataFolder(client_folder_, options.business))) {
    throw std::runtime_error("the data folder " + client_folder_ + " can't be made or written.");
  }
}

Environment::~Environment() {
  zo_sturdy::ExitSturdyEnvironment(kEnvironmentId);
}

}  // namespace sturdyctl
