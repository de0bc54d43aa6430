#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/at_exit.h"
#include "base/base_thread.h"
#include "base/clock_for_test.h"
#include "base/log/log.h"
#include "base/post_task.h"
#include "network/http_client.h"
#include "src/sturdy/environment/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "src/sturdy/http_agent/logic/http_agent.h"
#include "src/sturdy/http_agent/logic/multiple_url_request_helper.h"
#include "tests/support/log_lines.h"
#include "tests/support/server_cache.h"
#include "tests/support/temp_folder.h"

// A transport played by hand: what is sent waits until the test answers it, on the test's thread.
class HandTransport : public KRBASE::network::IHttpRequestor {
 public:
  using Request = std::shared_ptr<KRBASE::network::HttpRequest>;

  void Send(const Request& request, const Done& done) override {
    const std::lock_guard lock(mutex_);
    ++sent;
    waiting_.emplace_back(request, done);
    changed_.notify_all();
  }
  void Cancel(uint64_t) override {}
  void CancelAll() override {}

  // The first of this URL's requests that waits, and how to answer it. Throws if none comes.
  std::pair<Request, Done> WaitFor(const std::string& url, bool take = false) {
    std::unique_lock lock(mutex_);
    auto found = waiting_.end();
    const auto is_sent = [&] {
      found = std::find_if(waiting_.begin(), waiting_.end(),
                           [&](const auto& waiting) { return waiting.first->url == url; });
      return found != waiting_.end();
    };
    if (!changed_.wait_for(lock, std::chrono::seconds(10), is_sent)) {
      throw std::runtime_error("not sent: " + url);
    }
    const auto result = *found;
    if (take) {
      waiting_.erase(found);
    }
    return result;
  }
  void Answer(const std::string& url, int32_t status, const std::string& body = "",
              const KRBASE::network::HttpHeaderList& headers = {}) {
    const auto response = std::make_shared<KRBASE::network::HttpResponse>();
    response->status = status;
    response->body = body;
    response->headers = headers;
    WaitFor(url, true).second(response);
  }

  std::atomic<int> sent{0};

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::pair<Request, Done>> waiting_;
};

struct Outcome {
  std::atomic<int> calls{0};
  bool success = false;
  std::string headers;
  std::string body;
};

// An agent over that transport, a clock that stands still, and a thread to start requests on.
class AgentTest : public testing::Test {
 protected:
  AgentTest() {
    auto* const log = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    log->SetLogFile(folder_.File("agent.log"), 0, 0);
    log->SetLevel(zo_base::LV_PRO);
    KRBASE::network::HttpClient::Instance()->StartForTest(transport_);
    config_->data_path = folder_.path() + "/";
    WriteServerCache(config_->data_path);  // HTTP DNS asks nobody by itself
    zo_sturdy::EnvironmentManager::Instance().SetConfigForTest(config_);
    agent_->SetEnvironmentConfig(config_);
    agent_->Start();
    NewThread();
  }
  ~AgentTest() override {
    thread_->Stop();
    if (agent_ != nullptr) {
      agent_->Stop();
    }
    zo_sturdy::EnvironmentManager::Instance().SetConfigForTest(nullptr);
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
    request.callback = [&outcome](bool success, const std::string& headers,
                                  const std::string& body) {
      outcome.success = success;
      outcome.headers = headers;
      outcome.body = body;
      ++outcome.calls;
    };
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
  void Settle(int64_t advance_ms = 0) {
    clock_.Advance(advance_ms);
    OnThread([] {});
    OnThread([] {});  // behind what the tasks before have posted
  }
  void StartRequest(const zo_sturdy::MultipleURLHttpRequest& request) {
    OnThread([&] { agent_->InvokeMultipleURLHttpRequest(request); });
  }
  // The loop of the former one is gone.
  void NewThread() {
    if (thread_ != nullptr) {
      thread_->Stop();
    }
    thread_ = std::make_shared<zo_base::BaseThread>("requests");
    thread_->Start();
  }
  // Requests of this test that are alive.
  [[nodiscard]] size_t Live() const {
    return zo_sturdy::MultipleURLHttpRequestHelper::LiveCountForTest() - live_before_;
  }

  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_ =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  const TempFolder folder_;
  zo_base::ScopedTestClock clock_;
  const std::shared_ptr<HandTransport> transport_ = std::make_shared<HandTransport>();
  const std::shared_ptr<zo_sturdy::_EnvironmentConfig> config_ =
      std::make_shared<zo_sturdy::_EnvironmentConfig>();
  std::shared_ptr<zo_sturdy::HttpAgent> agent_ = std::make_shared<zo_sturdy::HttpAgent>();
  std::shared_ptr<zo_base::BaseThread> thread_;
  LogLines log_{folder_.File("agent.log")};
  const size_t live_before_ = zo_sturdy::MultipleURLHttpRequestHelper::LiveCountForTest();
};
