#include "tools/sturdyctl/client.h"

#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "tools/sturdyctl/output.h"

namespace sturdyctl {

namespace {

// The service's callback has no user value, so the process has one target.
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
  // The library accepts texts that aren't UTF-8, but this parser doesn't. Writing the document as a
  // JSON string replaces their odd bytes.
  const auto utf8 = nlohmann::json::parse(JsonText(nlohmann::json(document))).get<std::string>();
  const auto json = nlohmann::json::parse(utf8, nullptr, false);
  if (json.is_object() && json.contains("common") && json["common"].is_object()) {
    for (const auto& link : json["common"].value("link", nlohmann::json::array())) {
      list.push_back(link.is_string() ? link.get<std::string>() : link.dump());
    }
  }
  return list;
}

Client::Client(const ClientOptions& options, UpdateCallback on_update) {
  const auto lbs = options.LbsRecord();
  {
    const std::lock_guard<std::mutex> lock(update_mutex);
    UpdateTarget() = [this, on_update = std::move(on_update)](int code, const std::string& text) {
      if (code == kFetched) {
        has_fetched_ = true;
      }
      if (on_update) {
        on_update(code, text);
      }
    };
  }
  environment_ = std::make_unique<Environment>(options);
  service_ = object().GetLBSService();
  if (service_ == nullptr) {
    throw std::runtime_error("the service did not start");
  }
  service_->SetUpdateCallback(&OnUpdate);
  log_reader::LogReader start(log());
  service_->Start(lbs);
  for (const log_reader::LogMessage& message : start.ReadNewMessages()) {
    if (message.text.starts_with("[lbs] First document from cache fetched:") &&
        message.text.ends_with(" ago")) {
      has_fetched_ = true;
    }
  }
}

Client::~Client() {
  environment_.reset();
  const std::lock_guard<std::mutex> lock(update_mutex);
  UpdateTarget() = nullptr;
}

LinkAnswer Client::NextLink(net::AddressFamily family) {
  LinkAnswer answer;
  answer.family = family;
  char host[zo_sturdy::kLinkHostBufferSize] = {};
  log().SkipToEnd();
  if (!service_->GetLinkAddress(host, &answer.port, &answer.family)) {
    throw std::runtime_error("the service returned no link address");
  }
  answer.host = host;
  answer.from_settings = !has_fetched_;
  for (const log_reader::LogMessage& message : log().ReadNewMessages()) {
    if (message.text.starts_with("[lbs] Get link address ") &&
        message.text.ends_with(" use default:true")) {
      answer.from_default = true;
    }
  }
  return answer;
}

std::string Client::Document() {
  const auto out = std::make_unique<char[]>(zo_sturdy::kLBSResponseBufferSize);
  service_->GetLBSResponse(true, out.get());
  return out.get();
}

}  // namespace sturdyctl
