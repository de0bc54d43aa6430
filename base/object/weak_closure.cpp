#include "base/object/weak_closure.h"

namespace zo_base {

WeakClosureSupportor::~WeakClosureSupportor() = default;

std::weak_ptr<ZOWeakFlag> WeakClosureSupportor::GetWeakFlag() {
  MutexLock lock(flag_mutex_);
  if (weak_flag.use_count() == 0) {
    weak_flag = std::shared_ptr<ZOWeakFlag>(static_cast<ZOWeakFlag*>(nullptr));
  }
  return weak_flag;
}

bool WeakClosureSupportor::HasUsedFlag() const {
  MutexLock lock(flag_mutex_);
  return weak_flag.use_count() != 0;
}

void WeakClosureSupportor::Cancel() {
  MutexLock lock(flag_mutex_);
  weak_flag.reset();
}

}  // namespace zo_base
