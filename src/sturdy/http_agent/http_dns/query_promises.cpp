#include "src/sturdy/http_agent/http_dns/query_promises.h"

#include <utility>

namespace zo_sturdy {

QueryPromises::Query QueryPromises::Make() {
  auto promise = std::make_shared<QueryPromise>();
  auto future = promise->GetFuture();
  const zo_base::MutexLock lock(mutex_);
  if (ended_) {
    promise.reset();
  } else {
    open_.remove_if([](const auto& open) { return open.expired(); });
    open_.push_back(promise);
  }
  return {std::move(promise), std::move(future)};
}

void QueryPromises::End() {
  std::list<std::weak_ptr<QueryPromise>> open;
  {
    const zo_base::MutexLock lock(mutex_);
    ended_ = true;
    open.swap(open_);
  }
  for (const auto& entry : open) {
    if (const Promise promise = entry.lock()) {
      promise->Answer(false);
    }
  }
}

bool QueryPromises::HasEnded() {
  const zo_base::MutexLock lock(mutex_);
  return ended_;
}

}  // namespace zo_sturdy
