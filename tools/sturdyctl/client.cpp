#include "tools/sturdyctl/client.h"

#include <openssl/evp.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace sturdyctl {

namespace {

constexpr int kEnvironmentId = 1;

// The service's callback carries no user value, so the one client of the process stands here.
std::mutex update_mutex;
Client::UpdateCallback& UpdateTarget() {
  static auto* target = new Client::UpdateCallback;
  return *target;
}

void OnUpdate(int code, const char* document) {
  const std::lock_guard<std::mutex> lock(update_mutex);
  if (UpdateTarget()) {
    UpdateTarget()(code, document);
  }
}

std::string TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "sturdyctl-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary folder can be made: " + name);
  }
  return name;
}

std::string LogPath(const std::string& data_folder, const std::string& business) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(business.data(), business.size(), digest, &size, EVP_md5(), nullptr);
  std::string hex;
  for (unsigned int i = 0; i < size; ++i) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += {kDigits[digest[i] >> 4], kDigits[digest[i] & 15]};
  }
  return (std::filesystem::path(data_folder) / "sturdy_comp" / hex / "sturdy_comp.log").string();
}

}  // namespace

const char* FamilyName(net::AddressFamily family) {
  switch (family) {
    case net::kIPFamilyV4:
      return "v4";
    case net::kIPFamilyV6:
      return "v6";
    default:
      return "any";
  }
}

std::vector<std::string> LinkList(const std::string& document) {
  std::vector<std::string> list;
  const auto json = nlohmann::json::parse(document, nullptr, false);
  if (json.is_object() && json.contains("common") && json["common"].is_object()) {
    for (const auto& link : json["common"].value("link", nlohmann::json::array())) {
      list.push_back(link.is_string() ? link.get<std::string>() : link.dump());
    }
  }
  return list;
}

Client::Client(const ClientOptions& options, UpdateCallback on_update)
    : data_folder_(options.data_folder.empty() ? TemporaryFolder() : options.data_folder),
      log_(LogPath(data_folder_, options.business.empty() ? "im_g1" : options.business)) {
  const auto environment = options.EnvironmentRecord(data_folder_);
  const auto lbs = options.LbsRecord();
  {
    const std::lock_guard<std::mutex> lock(update_mutex);
    UpdateTarget() = std::move(on_update);
  }
  object_ = zo_sturdy::GetSturdyObject(zo_sturdy::StartSturdyEnvironment(environment));
  service_ = object_ == nullptr ? nullptr : object_->GetLBSService();
  if (service_ == nullptr) {
    throw std::runtime_error("the environment did not start");
  }
  log_.SkipToEnd();
  service_->SetUpdateCallback(&OnUpdate);
  service_->Start(lbs);
}

Client::~Client() {
  zo_sturdy::ExitSturdyEnvironment(kEnvironmentId);
  {
    const std::lock_guard<std::mutex> lock(update_mutex);
    UpdateTarget() = nullptr;
  }
}

LinkAnswer Client::NextLink(net::AddressFamily family) {
  LinkAnswer answer;
  answer.family = family;
  char host[zo_sturdy::kLinkHostBufferSize] = {};
  log_.SkipToEnd();
  if (!service_->GetLinkAddress(host, &answer.port, &answer.family)) {
    throw std::runtime_error("the service gave no link address");
  }
  answer.host = host;
  for (const std::string& line : log_.ReadNewLines()) {
    if (line.find("[lbs] Get link address ") != std::string::npos &&
        line.find(" use default:true") != std::string::npos) {
      answer.from_default = true;
    }
  }
  return answer;
}

std::string Client::Document(bool settled) {
  const auto out = std::make_unique<char[]>(zo_sturdy::kLBSResponseBufferSize);
  service_->GetLBSResponse(!settled, out.get());
  return out.get();
}

}  // namespace sturdyctl
