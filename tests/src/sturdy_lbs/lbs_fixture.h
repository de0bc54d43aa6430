#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <cstring>

#include "base/log/tqlog.h"
#include "base/process/at_exit.h"
#include "lab/temp_folder.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"
#include "tests/support/log_lines.h"

namespace zo_sturdy {

// A document: lists as JSON texts without their brackets, `more` further members.
inline std::string Document(const std::string& links, const std::string& defaults,
                            const std::string& lbs, const std::string& more = "") {
  return R"({"common":{"link":[)" + links + R"(],"link.default":[)" + defaults + R"(],"lbs":")" +
         lbs + "\"" + (more.empty() ? "" : ",") + more + "}}";
}

inline _ZOSturdyLBSSettings Record(const char* url = "http://root.example/lbs") {
  _ZOSturdyLBSSettings record{};
  record.enable = true;
  std::strcpy(record.lbs_url, url);
  std::strcpy(record.default_link_v4, "10.0.0.9:9");
  return record;
}

// "host:port/family" of a client's call; "-" for false.
using LinkCall = bool (IZOSturdyLBSService::*)(char*, uint16_t*, net::AddressFamily*);
inline std::string Link(IZOSturdyLBSService& slots, net::AddressFamily family = {},
                        LinkCall call = &IZOSturdyLBSService::GetLinkAddress) {
  char host[kLinkHostBufferSize] = {};
  uint16_t port = 0;
  return (slots.*call)(host, &port, &family)
             ? std::string(host) + ":" + std::to_string(port) + "/" + std::to_string(family)
             : "-";
}
inline std::string Peek(IZOSturdyLBSService& slots) {
  return Link(slots, {}, &IZOSturdyLBSService::PeekLinkAddress);
}
inline std::string Response(IZOSturdyLBSService& slots, bool no_wait = true) {
  std::vector<char> out(kLBSResponseBufferSize);
  slots.GetLBSResponse(no_wait, out.data());
  return out.data();
}

// A configuration, a log and a stand-in for the agent, whose requests are answered by hand.
class LbsTest : public testing::Test {
 protected:
  LbsTest() : config(std::make_shared<_EnvironmentConfig>()), log(folder.File("sturdy_comp.log")) {
    auto* logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    logger->SetLogFile(folder.File("sturdy_comp.log"), 0, 0);
    logger->SetLevel(zo_base::LV_APP);
    config->data_path = folder.path() + "/";
    config->SetHttpRequestInvoker([this](const MultipleURLHttpRequest& request, bool) {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
      came_.notify_all();
    });
  }

  // The request with this number, waited for.
  MultipleURLHttpRequest Request(size_t number) {
    std::unique_lock lock(mutex_);
    came_.wait_for(lock, LogLines::kLimit, [&] { return requests_.size() > number; });
    return requests_.at(number);
  }
  std::vector<MultipleURLHttpRequest> Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(requests_, {});
  }

  std::shared_ptr<ZOSturdyLBSServiceImpl> MakeService() {
    auto made = std::make_shared<ZOSturdyLBSServiceImpl>();
    made->SetEnvironmentConfig(config);
    return made;
  }
  void SetToken(const std::string& token) {
    const zo_base::RecursiveMutexLock lock(config->mutex);
    config->business_token = token;
    config->Emit(zo_base::SignalKey(&_EnvironmentConfig::SIG_BusinessTokenChanged), token);
  }
  void NotifyNetwork(int family) {
    config->Emit(zo_base::SignalKey(&_EnvironmentConfig::SIG_NetworkChanged),
                 static_cast<net::AddressFamily>(family));
  }

  lab::TempFolder folder;
  // While it lives the logger is one and the same, as in an environment.
  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  std::shared_ptr<_EnvironmentConfig> config;
  LogLines log;

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  std::vector<MultipleURLHttpRequest> requests_;
};

}  // namespace zo_sturdy
