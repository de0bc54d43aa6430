#include "base/object/signals.h"

#include <cstdio>

namespace zo_base {

size_t SignalBody(const char* qualified_name) {
  std::puts(qualified_name);
  return 0;
}

ConnectAble::~ConnectAble() {
  std::map<size_t, ZOAny> ended;
  RecursiveMutexLock lock(signals_mutex);
  signals.swap(ended);
}

}  // namespace zo_base
