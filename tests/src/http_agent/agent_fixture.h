#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <stdexcept>

#include "lab/server_cache.h"
#include "network/http_client.h"
#include "src/sturdy/http_agent/logic/http_agent.h"
#include "src/sturdy/http_agent/logic/live_requests.h"
#include "tests/support/configured_test.h"

// Keeps each request until the test answers it. The answer is delivered on the test's thread.
class ManualTransport : public KRBASE::network::IHttpRequestor {
 public:
  using Request = std::shared_ptr<KRBASE::network::HttpRequest>;

  void Send(const Request& request, const Done& done) override {
    if (on_send) {
      on_send(request->url, done);
      return;
    }
    const std::lock_guard lock(mutex_);
    ++sent;
    waiting_.emplace(request->url, std::pair(request, done));
    changed_.notify_all();
  }
  void Cancel(uint64_t) override {}
  void CancelAll() override {}

  // Waits for a request to this URL; returns it and the function that answers it. Throws if none
  // comes.
  std::pair<Request, Done> WaitFor(const std::string& url, bool take = false) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kPatience, [&] { return waiting_.contains(url); })) {
      throw std::runtime_error("not sent: " + url);
    }
    const auto found = waiting_.lower_bound(url);
    return take ? waiting_.extract(found).mapped() : found->second;
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
  // If set, takes the requests.
  std::function<void(const std::string& url, const Done& done)> on_send;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::multimap<std::string, std::pair<Request, Done>> waiting_;
};

struct Outcome {
  std::atomic<int> calls{0};
  bool success = false;
  std::string headers, body;

  [[nodiscard]] auto Result() const { return std::make_tuple(calls.load(), success, body); }
};

// An agent over that transport, and a thread that starts requests.
class AgentTest : public ConfiguredTest {
 protected:
  AgentTest() {
    KRBASE::network::HttpClient::Instance()->StartForTest(transport_);
    lab::WriteServerCache(config->data_path);  // HTTP DNS sends no update by itself
    agent_->SetEnvironmentConfig(config);
    agent_->Start();
    NewThread();
  }
  ~AgentTest() override {
    thread_->Stop();
    if (agent_ != nullptr) {
      agent_->Stop();
    }
    KRBASE::network::HttpClient::Instance()->Stop();
  }

  static std::string Url(int i) { return "http://u" + std::to_string(i) + ".test/"; }
  static std::vector<std::string> Urls(size_t count) {
    std::vector<std::string> urls(count);
    std::generate(urls.begin(), urls.end(), [i = 0]() mutable { return Url(i++); });
    return urls;
  }

  // A request that accepts status 200 only and has no second pass.
  static zo_sturdy::MultipleURLHttpRequest Request(const std::vector<std::string>& urls,
                                                   Outcome& outcome) {
    zo_sturdy::MultipleURLHttpRequest request;
    for (const std::string& url : urls) {
      request.urls.push_back({url, "presented.test"});
    }
    request.use_http_dns = false;
    request.check = [](int32_t, int32_t code, const auto&, const auto&, bool&) {
      return code == 200;
    };
    request.callback = [&outcome](bool success, const auto& headers, const auto& body) {
      outcome.success = success;
      outcome.headers = headers;
      outcome.body = body;
      ++outcome.calls;
    };
    return request;
  }

  void Settle(int64_t advance_ms = 0) { ConfiguredTest::Settle(*thread_, advance_ms); }
  void StartRequest(const zo_sturdy::MultipleURLHttpRequest& request) {
    RunOn(*thread_, [&] { agent_->InvokeMultipleURLHttpRequest(request); });
  }
  // Ends the loop of the old thread.
  void NewThread() {
    if (thread_ != nullptr) {
      thread_->Stop();
    }
    thread_ = std::make_shared<zo_base::BaseThread>("requests");
    thread_->Start();
  }
  // Returns the number of this test's live requests.
  [[nodiscard]] size_t Live() const {
    return zo_sturdy::LiveRequests::Instance().CountForTest() - live_before_;
  }

  const std::shared_ptr<ManualTransport> transport_ = std::make_shared<ManualTransport>();
  std::shared_ptr<zo_sturdy::HttpAgent> agent_ = std::make_shared<zo_sturdy::HttpAgent>();
  std::shared_ptr<zo_base::BaseThread> thread_;
  const size_t live_before_ = zo_sturdy::LiveRequests::Instance().CountForTest();
};
