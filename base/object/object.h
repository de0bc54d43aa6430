#pragma once

#include <memory>

#include "base/object/signals.h"
#include "base/object/weak_closure.h"

namespace zo_base {

class _IZOObject {
 public:
  virtual ~_IZOObject() = default;
};

template <class T>
class ZOEnableSharedFromThis : public std::enable_shared_from_this<ZOEnableSharedFromThis<T>> {
 public:
  ZOEnableSharedFromThis() = default;
  virtual ~ZOEnableSharedFromThis() = default;
  ZOEnableSharedFromThis(const ZOEnableSharedFromThis&) = delete;
  ZOEnableSharedFromThis& operator=(const ZOEnableSharedFromThis&) = delete;
};

class ZOObjectIMPL;

// The mixins of every object. They are destroyed from last to first, so the flag of the weak
// closures goes last.
struct __ZOObject : WeakClosureSupportor,
                    ConnectAble,
                    ZOEnableSharedFromThis<ZOObjectIMPL>,
                    _IZOObject {};

// Root of every class with its own lifetime: it can be shared, carries signals and makes weak
// closures. Classes that reach it by several paths derive from it virtually.
// The flag of its weak closures outlives the derived class's destructor, so a class whose closures
// can run on a thread other than the destroying one calls Cancel early in its own teardown.
// Threads: as its mixins.
// Owner:   a shared pointer, or a holder by value, for which SharedFromThis returns null.
class ZOObjectIMPL : public virtual __ZOObject {
 public:
  // Returns null if the object isn't owned by a shared pointer, or isn't a T.
  template <class T>
  std::shared_ptr<T> SharedFromThis() {
    return std::dynamic_pointer_cast<T>(this->weak_from_this().lock());
  }
};

// A member that groups some of an object's closures for a separate Cancel.
class WeakCallbackFlag : public ZOObjectIMPL {};

}  // namespace zo_base
