#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/log/tqlog.h"
#include "base/process/at_exit.h"
#include "base/thread/base_thread.h"
#include "base/thread/clock.h"
#include "base/thread/clock_for_test.h"
#include "base/thread/thread_info.h"
#include "lab/temp_folder.h"
#include "src/sturdy/config/current_config.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/config/multiple_url_request.h"

// The surroundings of a service without an agent: the process's configuration with a data folder, a
// log, a clock that doesn't move, and requests that wait until the test answers them.
// Threads: any may send; one at a time takes.
// Owner:   a test fixture or a fuzz target; one at a time in a process.
// Errors:  std::runtime_error for a request that doesn't come within kLimit.
class ServiceHarness {
 public:
  static constexpr std::chrono::seconds kLimit{60};

  struct SentRequest : zo_sturdy::MultipleURLHttpRequest {
    bool on_agent_thread = false;
    std::string thread;  // the name of the thread that sent it; "-" for one that isn't ours
  };

  ServiceHarness() {
    auto* const logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    logger->SetLogFile(folder.File("sturdy_comp.log"), 0, 0);
    logger->SetLevel(zo_base::LV_PRO);
    config->data_path = folder.path() + "/";
    config->SetHttpRequestInvoker(
        [this](const zo_sturdy::MultipleURLHttpRequest& request, bool on_agent_thread) {
          const zo_base::ThreadInfo* const sender = zo_base::CurrentThreadInfo();
          const std::lock_guard lock(mutex_);
          waiting_.push_back({request, on_agent_thread, sender != nullptr ? sender->name : "-"});
          came_.notify_all();
        });
    zo_sturdy::SetCurrentConfig(config);
  }
  ~ServiceHarness() { zo_sturdy::SetCurrentConfig(nullptr); }
  ServiceHarness(const ServiceHarness&) = delete;
  ServiceHarness& operator=(const ServiceHarness&) = delete;

  // Waits for the oldest request that nobody has taken, and takes it.
  SentRequest Next() {
    std::unique_lock lock(mutex_);
    Await(lock, 1);
    SentRequest request = std::move(waiting_.front());
    waiting_.pop_front();
    return request;
  }
  // Waits for the request with this number among those that nobody has taken, and leaves it there.
  SentRequest Request(size_t number) {
    std::unique_lock lock(mutex_);
    Await(lock, number + 1);
    return waiting_[number];
  }
  std::vector<SentRequest> TakeAll() {
    const std::lock_guard lock(mutex_);
    std::vector<SentRequest> all(std::make_move_iterator(waiting_.begin()),
                                 std::make_move_iterator(waiting_.end()));
    waiting_.clear();
    return all;
  }
  size_t Waiting() {
    const std::lock_guard lock(mutex_);
    return waiting_.size();
  }

  // Judges an answer and completes the request, as an agent does. Returns whether it was good.
  static bool Answer(const zo_sturdy::MultipleURLHttpRequest& request, int32_t code,
                     const std::string& body) {
    bool need_statistic = false;
    const bool good = request.check(0, code, "", body, need_statistic);
    if (good == need_statistic) {
      throw std::logic_error("a bad answer is recorded for the statistics, a good one isn't");
    }
    request.callback(good, "", body);
    return good;
  }

  // Runs on the thread, after all that has been posted to it and all that is due.
  static void RunOn(
      zo_base::BaseThread& thread, const std::function<void()>& task = [] {}) {
    std::promise<void> ran;
    thread.PostDelayedTask(0, [&] {
      task();
      ran.set_value();
    });
    ran.get_future().wait();
  }
  // Lets the thread run what it has, advances the clock, and lets it run what is due then.
  void Settle(zo_base::BaseThread& thread, int64_t advance_ms = 0) {
    constexpr int kTurns = 3;  // a due task posts its work, and that may post again
    for (const int64_t ms : {int64_t{0}, advance_ms}) {
      clock.Advance(ms);
      for (int i = 0; i < kTurns; ++i) {
        RunOn(thread);
      }
    }
  }

  const lab::TempFolder folder;
  zo_base::ScopedTestClock clock;
  const int64_t start_ms = zo_base::Clock::WallMs();
  const std::shared_ptr<zo_sturdy::_EnvironmentConfig> config =
      std::make_shared<zo_sturdy::_EnvironmentConfig>();

 private:
  void Await(std::unique_lock<std::mutex>& lock, size_t count) {
    if (!came_.wait_for(lock, kLimit, [&] { return waiting_.size() >= count; })) {
      throw std::runtime_error("no further request was sent");
    }
  }

  // While it exists, all log lines go to the same logger.
  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_ =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  std::mutex mutex_;
  std::condition_variable came_;
  std::deque<SentRequest> waiting_;
};
