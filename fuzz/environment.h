#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "base/log/tqlog.h"
#include "base/process/at_exit.h"
#include "base/process/tags.h"
#include "fuzz/expect.h"
#include "lab/temp_folder.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"

// What a service finds around it: a configuration with a data folder, a log, and in the agent's
// place a desk where its requests wait for the target to answer them.
// Owner: the target, for the life of its process.
class Environment {
 public:
  using Request = zo_sturdy::MultipleURLHttpRequest;

  Environment() : config(std::make_shared<zo_sturdy::_EnvironmentConfig>()) {
    constexpr uint32_t kLogBytes = 1U << 20;
    auto* const logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    logger->SetLogFile(folder.File("sturdy_comp.log"), kLogBytes, 0);
    logger->SetLevel(zo_base::LV_PRO);
    config->data_path = folder.path() + "/";
    config->SetHttpRequestInvoker([this](const Request& request, bool) {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
      came_.notify_all();
    });
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  // The next request, waited for.
  Request Next() {
    std::unique_lock lock(mutex_);
    came_.wait(lock, [&] { return !requests_.empty(); });
    Request request = std::move(requests_.front());
    requests_.pop_front();
    return request;
  }

  // Nobody answers these.
  void DropRequests() {
    std::deque<Request> dropped;  // ends after the lock, since an end can send a new one
    const std::lock_guard lock(mutex_);
    dropped.swap(requests_);
  }

  // Judges and delivers an answer as an agent would. True if it was taken.
  static bool Answer(const Request& request, const std::string& body) {
    constexpr int32_t kStatusOk = 200;
    bool need_statistic = false;
    const bool good = request.check(0, kStatusOk, "", body, need_statistic);
    Expect(good != need_statistic, "a bad answer is reported, a good one isn't");
    request.callback(good, "", good ? body : std::string());
    return good;
  }

  const lab::TempFolder folder;
  const std::shared_ptr<zo_sturdy::_EnvironmentConfig> config;

 private:
  // While it lives the logger is one and the same.
  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_ =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  std::mutex mutex_;
  std::condition_variable came_;
  std::deque<Request> requests_;
};
