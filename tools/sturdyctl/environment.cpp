#include "tools/sturdyctl/environment.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "base/log/log_format.h"
#include "lab/data_folder.h"
#include "lab/temp_folder.h"

namespace sturdyctl {

namespace {

constexpr int kEnvironmentId = 1;

// Returns whether files can be made in the folder. Makes it, as the library does.
bool CanWriteIn(const std::string& folder) {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::create_directories(folder, error);
  const std::string probe = folder + "sturdyctl.probe";
  const bool can = static_cast<bool>(std::ofstream(probe) << "probe" << std::flush);
  fs::remove(probe, error);
  return can;
}

// The library works without its files too, and says nothing, so this is asked before its start.
void ExpectWritable(const std::string& client_folder, const std::string& data_folder) {
  for (const char* part : {"", "lbs/", "http_dns/"}) {
    if (!CanWriteIn(data_folder + part)) {
      throw std::runtime_error("the data folder " + client_folder + " can't be made or written.");
    }
  }
}

}  // namespace

Environment::Environment(const ClientOptions& options)
    : client_folder_(options.data_folder.empty()
                         ? lab::MakeTempFolder(lab::SystemTempFolder(), "sturdyctl-")
                         : options.data_folder),
      log_(lab::DataFolder(client_folder_, options.business) + std::string(zo_base::kLogFileName)) {
  const auto record = options.EnvironmentRecord(client_folder_);
  ExpectWritable(client_folder_, lab::DataFolder(client_folder_, options.business));
  log_.SkipToEnd();
  object_ = zo_sturdy::GetSturdyObject(zo_sturdy::StartSturdyEnvironment(record));
  if (object_ == nullptr) {
    throw std::runtime_error("the environment did not start");
  }
}

Environment::~Environment() {
  zo_sturdy::ExitSturdyEnvironment(kEnvironmentId);
}

}  // namespace sturdyctl
