#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "network/http_requestor.h"

// A transport played by hand: what is sent waits here until the test answers it, on whatever
// thread the test likes.
class HandTransport : public KRBASE::network::IHttpRequestor {
 public:
  using Request = KRBASE::network::HttpRequest;

  void Send(const std::shared_ptr<Request>& request, const Done& done) override {
    const std::lock_guard lock(mutex_);
    ++sent_;
    waiting_.emplace_back(request, done);
    changed_.notify_all();
  }
  void Cancel(uint64_t) override {}
  void CancelAll() override {}

  // The request of this URL that came first and waits for its answer.
  std::shared_ptr<Request> WaitFor(const std::string& url) {
    std::unique_lock lock(mutex_);
    const auto found = Find(lock, url);
    return found != waiting_.end() ? found->first : nullptr;
  }

  // Answers that request on the calling thread.
  void Answer(const std::string& url, int32_t status, const std::string& body = "",
              KRBASE::network::HttpHeaderList headers = {}) {
    Done done;
    {
      std::unique_lock lock(mutex_);
      const auto found = Find(lock, url);
      ASSERT_NE(found, waiting_.end()) << "not sent: " << url;
      done = std::move(found->second);
      waiting_.erase(found);
    }
    const auto response = std::make_shared<KRBASE::network::HttpResponse>();
    response->status = status;
    response->body = body;
    response->headers = std::move(headers);
    done(response);
  }

  int sent() {
    const std::lock_guard lock(mutex_);
    return sent_;
  }

 private:
  using Waiting = std::vector<std::pair<std::shared_ptr<Request>, Done>>;

  Waiting::iterator Find(std::unique_lock<std::mutex>& lock, const std::string& url) {
    auto found = waiting_.end();
    changed_.wait_for(lock, std::chrono::seconds(10), [&] {
      for (found = waiting_.begin(); found != waiting_.end() && found->first->url != url;) {
        ++found;
      }
      return found != waiting_.end();
    });
    return found;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  Waiting waiting_;
  int sent_ = 0;
};
