#include "network/platform/winhttp/live_exchange.h"

#include <map>

#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"

namespace KRBASE::network::platform {

namespace {

struct List {
  zo_base::Mutex mutex;
  std::map<uintptr_t, WinHttpExchange*> exchanges ZO_GUARDED_BY(mutex);
  uintptr_t last_number ZO_GUARDED_BY(mutex) = 0;
};

List& AllExchanges() {
  static zo_base::NoDestructor<List> list;
  return *list;
}

}  // namespace

LiveExchange::LiveExchange(WinHttpExchange* exchange) {
  List& list = AllExchanges();
  zo_base::MutexLock lock(list.mutex);
  number_ = ++list.last_number;
  list.exchanges.emplace(number_, exchange);
}

LiveExchange::~LiveExchange() {
  List& list = AllExchanges();
  zo_base::MutexLock lock(list.mutex);
  list.exchanges.erase(number_);
}

void LiveExchange::Visit(uintptr_t number, const std::function<void(WinHttpExchange&)>& visit) {
  List& list = AllExchanges();
  zo_base::MutexLock lock(list.mutex);
  const auto found = list.exchanges.find(number);
  if (found != list.exchanges.end()) {
    visit(*found->second);
  }
}

}  // namespace KRBASE::network::platform
