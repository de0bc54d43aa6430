#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/any.h"
#include "base/mutex.h"
#include "base/sigslot.h"

namespace zo_base {

// A signal's key: the address of its static SIG_ function, with the signal's argument types.
template <class... Args>
struct SignalKeyOf {
  size_t value;
};

template <class Result, class... Args>
SignalKeyOf<Args...> SignalKey(Result (*signal)(Args...)) {
  return {reinterpret_cast<size_t>(signal)};
}

// The body of every SIG_ function: prints the qualified name, so that no two functions are alike
// and could be folded to one address. Returns 0.
size_t SignalBody(const char* qualified_name);

// Gives an object signals of any signature without a field for each: one table from a signal's
// key to its connections. Declare a signal by a static function and connect by its address:
//   static size_t SIG_Changed(const std::string& text);
//   object->Connect(SignalKey(&C::SIG_Changed), object2->ToWeakClosure([](const std::string&) {}));
//   object->Emit(SignalKey(&C::SIG_Changed), "text");
// Threads: any may connect, emit and disconnect. Slots run on the emitting thread, in order of
//          connection, with no lock held; they may connect, disconnect and destroy the emitter.
// Owner:   it is a base of the emitter. A connection lives until it is disconnected or the
//          emitter dies; the receiver's death leaves it, so slots are weak closures.
// Errors:  BadZOAnyCast when one key is used with two signatures. An exception from a slot ends
//          the emission and goes on to the emitter.
class ConnectAble {
 public:
  ConnectAble() = default;
  virtual ~ConnectAble();
  ConnectAble(const ConnectAble&) = delete;
  ConnectAble& operator=(const ConnectAble&) = delete;

  template <class... Args, class Func>
  zo_sigslot::connection Connect(SignalKeyOf<Args...> key, Func func);

  template <class... Args>
  void Emit(SignalKeyOf<Args...> key, std::type_identity_t<Args>... args);

  template <class... Args>
  void Disconnect(size_t key, size_t id);

 private:
  template <class... Args>
  using Signal = zo_sigslot::signal_singl_base<std::recursive_mutex, Args...>;
  template <class... Args>
  using Connections = std::map<size_t, std::shared_ptr<Signal<Args...>>>;

  RecursiveMutex signals_mutex;
  std::map<size_t, ZOAny> signals ZO_GUARDED_BY(signals_mutex);
  // The last id handed out; the first connection gets 1.
  std::atomic<size_t> connection_id{0};
};

template <class... Args, class Func>
zo_sigslot::connection ConnectAble::Connect(SignalKeyOf<Args...> key, Func func) {
  // Drawn before the lock: ids are unique, and the order of emission follows them.
  const size_t id = ++connection_id;
  auto signal = std::make_shared<Signal<Args...>>(
      [this](size_t signal_key, size_t connection) { Disconnect<Args...>(signal_key, connection); },
      key.value, id);
  RecursiveMutexLock lock(signals_mutex);
  auto entry = signals.find(key.value);
  if (entry == signals.end()) {
    entry = signals.emplace(key.value, ZOAny(Connections<Args...>())).first;
  }
  ZOAnyCast<Connections<Args...>>(entry->second)[id] = signal;
  signal->slot =
      std::make_shared<zo_sigslot::detail::slot<Func, Args...>>(signal.get(), std::move(func));
  return zo_sigslot::connection(signal->slot);
}

template <class... Args>
void ConnectAble::Emit(SignalKeyOf<Args...> key, std::type_identity_t<Args>... args) {
  if (connection_id.load(std::memory_order_acquire) == 0) {
    return;  // Nothing was ever connected.
  }
  // The emission keeps its signal objects alive. Few slots are the rule, and cost no allocation.
  constexpr size_t kFew = 4;
  std::array<std::shared_ptr<Signal<Args...>>, kFew> few;
  std::vector<std::shared_ptr<Signal<Args...>>> more;
  size_t count = 0;
  {
    RecursiveMutexLock lock(signals_mutex);
    const auto entry = signals.find(key.value);
    if (entry == signals.end()) {
      return;
    }
    for (const auto& [id, signal] : ZOAnyCast<Connections<Args...>>(entry->second)) {
      if (count < kFew) {
        few[count] = signal;
      } else {
        more.push_back(signal);
      }
      ++count;
    }
  }
  for (size_t i = 0; i < count; ++i) {
    auto& slot = (i < kFew ? few[i] : more[i - kFew])->slot;
    if (slot->callable()) {
      slot->call_slot(args...);
    }
  }
}

template <class... Args>
void ConnectAble::Disconnect(size_t key, size_t id) {
  std::shared_ptr<Signal<Args...>> removed;  // Dies after the lock, with what its slot holds.
  RecursiveMutexLock lock(signals_mutex);
  const auto entry = signals.find(key);
  if (entry == signals.end()) {
    return;
  }
  auto& connections = ZOAnyCast<Connections<Args...>>(entry->second);
  const auto found = connections.find(id);
  if (found != connections.end()) {
    removed = std::move(found->second);
    connections.erase(found);
  }
  if (connections.empty()) {
    signals.erase(entry);
  }
}

}  // namespace zo_base
