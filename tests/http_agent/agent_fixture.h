#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/at_exit.h"
#include "base/base_thread.h"
#include "base/clock_for_test.h"
#include "base/log/log.h"
#include "base/post_task.h"
#include "network/http_client.h"
#include "src/sturdy/environment/environment_config.h"
#include "src/sturdy/http_agent/logic/http_agent.h"
#include "src/sturdy/http_agent/logic/multiple_url_request_helper.h"
#include "tests/http_agent/hand_transport.h"
#include "tests/support/log_lines.h"
#include "tests/support/temp_folder.h"

// What came of a request.
struct Outcome {
  std::atomic<int> calls{0};
  bool success = false;
  std::string headers;
  std::string body;
  std::thread::id thread;
  std::promise<void> done;

  // Requires: the callback runs once.
  zo_sturdy::MultipleURLHttpRequest::Callback Callback() {
    return [this](bool good, const std::string& head, const std::string& text) {
      success = good;
      headers = head;
      body = text;
      thread = std::this_thread::get_id();
      ++calls;
      done.set_value();
    };
  }
  [[nodiscard]] bool Wait() {
    return done.get_future().wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  }
};

// An agent over a hand-played transport, a clock that stands still, and a thread with a loop to
// start requests on.
class AgentTest : public testing::Test {
 protected:
  AgentTest() {
    zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->SetLogFile(folder_.File("agent.log"), 0,
                                                                      0);
    zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->SetLevel(zo_base::LV_PRO);
    KRBASE::network::HttpClient::Instance()->StartForTest(transport_);
    agent_->SetEnvironmentConfig(config_);
    agent_->Start();
    thread_->Start();
  }
  ~AgentTest() override {
    EndThread();
    if (agent_ != nullptr) {
      agent_->Stop();
    }
    KRBASE::network::HttpClient::Instance()->Stop();
  }

  static std::string Url(int i) { return "http://u" + std::to_string(i) + ".test/"; }

  // A request that takes status 200 alone.
  static zo_sturdy::MultipleURLHttpRequest Request(int url_count, Outcome& outcome) {
    zo_sturdy::MultipleURLHttpRequest request;
    for (int i = 0; i < url_count; ++i) {
      request.urls.push_back({Url(i), ""});
    }
    request.use_http_dns = false;
    request.check = [](int32_t, int32_t code, const std::string&, const std::string&, bool&) {
      return code == 200;
    };
    request.callback = outcome.Callback();
    return request;
  }

  // Runs on the thread, behind all that has been posted to it and all that is due.
  void OnThread(const std::function<void()>& task) {
    std::promise<void> ran;
    thread_->PostDelayedTask(0, [&] {
      task();
      ran.set_value();
    });
    ran.get_future().wait();
  }
  void Settle() {
    OnThread([] {});
  }
  void StartRequest(const zo_sturdy::MultipleURLHttpRequest& request) {
    std::promise<void> ran;
    zo_base::PostTo(*thread_, [&] {
      agent_->InvokeMultipleURLHttpRequest(request);
      ran.set_value();
    });
    ran.get_future().wait();
  }
  // Requests of this test that are alive.
  [[nodiscard]] size_t Live() const {
    return zo_sturdy::MultipleURLHttpRequestHelper::LiveCountForTest() - live_before_;
  }
  // The thread's loop is gone afterwards.
  void EndThread() {
    if (thread_ != nullptr) {
      thread_->Stop();
      thread_.reset();
    }
  }

  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_ =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  const TempFolder folder_;
  zo_base::ScopedTestClock clock_;
  const std::shared_ptr<HandTransport> transport_ = std::make_shared<HandTransport>();
  const std::shared_ptr<zo_sturdy::_EnvironmentConfig> config_ =
      std::make_shared<zo_sturdy::_EnvironmentConfig>();
  std::shared_ptr<zo_sturdy::HttpAgent> agent_ = std::make_shared<zo_sturdy::HttpAgent>();
  std::shared_ptr<zo_base::BaseThread> thread_ = std::make_shared<zo_base::BaseThread>("requests");
  LogLines log_{folder_.File("agent.log")};
  const size_t live_before_ = zo_sturdy::MultipleURLHttpRequestHelper::LiveCountForTest();
};
