#pragma once

#include <memory>

#include "base/object/signals.h"
#include "base/object/weak_closure.h"

namespace zo_base {

class _IZOObject {
 public:
  virtual ~_IZOObject() = default;
};

// A list of mixins, each level of which brings its head and the rest of the list.
template <class... Mixins>
class __ZOObject;

template <>
class __ZOObject<> : public _IZOObject {};

template <class Head, class... Tail>
class __ZOObject<Head, Tail...> : public Head, public __ZOObject<Tail...> {};

template <class T>
class ZOEnableSharedFromThis : public std::enable_shared_from_this<ZOEnableSharedFromThis<T>> {
 public:
  ZOEnableSharedFromThis() = default;
  virtual ~ZOEnableSharedFromThis() = default;
  ZOEnableSharedFromThis(const ZOEnableSharedFromThis&) = delete;
  ZOEnableSharedFromThis& operator=(const ZOEnableSharedFromThis&) = delete;
};

// The root of every class with a lifetime of its own: it can be shared, carries signals and hands
// out weak closures. Classes with several paths to it derive from it virtually.
// The flag of its weak closures dies last, after the derived class's destructor: a class whose
// closures can run on a foreign thread calls Cancel early in its own teardown.
// Threads: those of its mixins.
// Owner:   a shared pointer, or a holder by value that has no use for SharedFromThis.
class ZOObjectIMPL : public virtual __ZOObject<WeakClosureSupportor, ConnectAble,
                                               ZOEnableSharedFromThis<ZOObjectIMPL>> {
 public:
  // Empty if the object isn't owned by a shared pointer, or isn't a T.
  template <class T>
  std::shared_ptr<T> SharedFromThis() {
    return std::dynamic_pointer_cast<T>(this->weak_from_this().lock());
  }
};

// A member, not a base, of an object that wants a set of closures with a Cancel of its own.
class WeakCallbackFlag : public ZOObjectIMPL {};

}  // namespace zo_base
