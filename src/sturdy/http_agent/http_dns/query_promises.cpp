#include "src/sturdy/http_agent/http_dns/query_promises.h"

#include <exception>

namespace zo_sturdy {

QueryPromises::Query QueryPromises::Make() {
  const zo_base::MutexLock lock(mutex_);
  if (ended_) {
    return {nullptr, std::promise<bool>().get_future()};
  }
  open_.remove_if([](const auto& promise) { return promise.expired(); });
  const auto promise = std::make_shared<std::promise<bool>>();
  open_.push_back(promise);
  return {promise, promise->get_future()};
}

void QueryPromises::End() {
  std::list<std::weak_ptr<std::promise<bool>>> open;
  {
    const zo_base::MutexLock lock(mutex_);
    ended_ = true;
    open.swap(open_);
  }
  const std::future_error broken(std::future_errc::broken_promise);
  for (const auto& entry : open) {
    if (const Promise promise = entry.lock()) {
      try {
        promise->set_exception(std::make_exception_ptr(broken));
      } catch (const std::future_error&) {
        continue;  // its answer has just come
      }
    }
  }
}

bool QueryPromises::HasEnded() {
  const zo_base::MutexLock lock(mutex_);
  return ended_;
}

}  // namespace zo_sturdy
