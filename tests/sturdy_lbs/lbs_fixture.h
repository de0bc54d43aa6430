#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "base/at_exit.h"
#include "base/log/tqlog.h"
#include "base/tags.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "src/sturdy/environment/environment_config.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"
#include "tests/support/log_lines.h"
#include "tests/support/temp_folder.h"

namespace zo_sturdy {

inline constexpr std::chrono::seconds kWaitLimit{20};

// A complete document: lists as JSON texts without their brackets, `more` further members.
inline std::string Document(const std::string& links, const std::string& defaults,
                            const std::string& lbs, const std::string& more = "") {
  return R"({"common":{"link":[)" + links + R"(],"link.default":[)" + defaults + R"(],"lbs":")" +
         lbs + "\"" + (more.empty() ? "" : ",") + more + "}}";
}

// Stands in the agent's place: keeps the requests, so that a test can answer them by hand.
class RecordingAgent {
 public:
  void InstallIn(_EnvironmentConfig& config) {
    config.SetHttpRequestInvoker([this](const MultipleURLHttpRequest& request, bool) {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
      came_.notify_all();
    });
  }

  // The request with this number, waited for.
  MultipleURLHttpRequest Request(size_t number) {
    std::unique_lock lock(mutex_);
    if (!came_.wait_for(lock, kWaitLimit, [&] { return requests_.size() > number; })) {
      ADD_FAILURE() << "request " << number << " doesn't come";
      return {};
    }
    return requests_[number];
  }

  size_t Count() {
    const std::lock_guard lock(mutex_);
    return requests_.size();
  }

  std::vector<MultipleURLHttpRequest> Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(requests_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  std::vector<MultipleURLHttpRequest> requests_;
};

// A configuration and a log of the test's own; services on top of them as tests make them.
class LbsTest : public testing::Test {
 protected:
  LbsTest() : config(std::make_shared<_EnvironmentConfig>()), log(folder.File("sturdy_comp.log")) {
    auto* logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    logger->SetLogFile(folder.File("sturdy_comp.log"), 0, 0);
    logger->SetLevel(zo_base::LV_APP);
    config->data_path = folder.path() + "/";
    config->sv = 1;
    config->pv = 2;
    config->tp = 3;
    agent.InstallIn(*config);
  }

  std::shared_ptr<ZOSturdyLBSServiceImpl> MakeService() {
    auto service = std::make_shared<ZOSturdyLBSServiceImpl>();
    service->SetEnvironmentConfig(config);
    return service;
  }

  static void Release(std::shared_ptr<ZOSturdyLBSServiceImpl>& service) {
    service->Stop();
    service.reset();
  }

  void SetToken(const std::string& token) {
    const zo_base::RecursiveMutexLock lock(config->mutex);
    config->business_token = token;
    config->Emit(zo_base::SignalKey(&_EnvironmentConfig::SIG_BusinessTokenChanged), token);
  }

  void NotifyNetwork(net::AddressFamily family) {
    config->Emit(zo_base::SignalKey(&_EnvironmentConfig::SIG_NetworkChanged), family);
  }

  static _ZOSturdyLBSSettings Record(const std::string& url = "http://root.example/lbs") {
    _ZOSturdyLBSSettings record{};
    record.enable = true;
    url.copy(record.lbs_url, sizeof(record.lbs_url));
    std::strcpy(record.default_link_v4, "10.0.0.9:9");
    return record;
  }

  // "host:port/family" as the client sees it; "-" for false.
  static std::string Link(IZOSturdyLBSService& service, net::AddressFamily family = {}) {
    char host[kLinkHostBufferSize] = {};
    uint16_t port = 0;
    return service.GetLinkAddress(host, &port, &family) ? Text(host, port, family) : "-";
  }
  static std::string Peek(IZOSturdyLBSService& service) {
    char host[kLinkHostBufferSize] = {};
    uint16_t port = 0;
    net::AddressFamily family{};
    return service.PeekLinkAddress(host, &port, &family) ? Text(host, port, family) : "-";
  }
  static std::string Response(IZOSturdyLBSService& service, bool no_wait = true) {
    std::vector<char> out(kLBSResponseBufferSize);
    service.GetLBSResponse(no_wait, out.data());
    return out.data();
  }

  TempFolder folder;
  // While it lives the logger is one and the same, as in an environment.
  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  std::shared_ptr<_EnvironmentConfig> config;
  RecordingAgent agent;
  LogLines log;

 private:
  static std::string Text(const char* host, uint16_t port, net::AddressFamily family) {
    return std::string(host) + ":" + std::to_string(port) + "/" + std::to_string(family);
  }
};

}  // namespace zo_sturdy
