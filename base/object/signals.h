#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/object/any.h"
#include "base/object/sigslot.h"
#include "base/sync/mutex.h"

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
// Errors:  BadZOAnyCast when one key is used with two signatures. A Connect that throws has changed
//          nothing. An exception from a slot ends the emission and goes on to the emitter.
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
  // The connections of one key. An emission walks a list that stays as it was when the emission
  // began; it is made anew when a connection comes or goes, so that emitting allocates nothing.
  template <class... Args>
  struct Connections {
    using List = std::vector<std::shared_ptr<Signal<Args...>>>;

    // Both change nothing when memory runs out: it is taken before the first change.
    void Add(size_t id, const std::shared_ptr<Signal<Args...>>& signal) {
      auto renewed = EmptyList(by_id.size() + 1);
      by_id.emplace(id, signal);
      Fill(std::move(renewed));
    }
    void Remove(size_t id) {
      auto renewed = EmptyList(by_id.size());
      by_id.erase(id);
      Fill(std::move(renewed));
    }

    static std::shared_ptr<List> EmptyList(size_t room) {
      auto made = std::make_shared<List>();
      made->reserve(room);
      return made;
    }
    void Fill(std::shared_ptr<List> renewed) {
      for (const auto& connection : by_id) {
        renewed->push_back(connection.second);
      }
      list = std::move(renewed);
    }

    std::map<size_t, std::shared_ptr<Signal<Args...>>> by_id;
    std::shared_ptr<const List> list;
  };

  static uint64_t KeyBit(size_t key) { return uint64_t{1} << (key / 16 % 64); }

  RecursiveMutex signals_mutex;
  std::map<size_t, ZOAny> signals ZO_GUARDED_BY(signals_mutex);
  // The last id handed out; the first connection gets 1.
  std::atomic<size_t> connection_id{0};
  // A bit for each key that was ever connected: what nobody connected to is emitted without lock.
  std::atomic<uint64_t> keys_seen{0};
};

template <class... Args, class Func>
zo_sigslot::connection ConnectAble::Connect(SignalKeyOf<Args...> key, Func func) {
  // Drawn before the lock: ids are unique, and the order of emission follows them.
  const size_t id = ++connection_id;
  auto signal = std::make_shared<Signal<Args...>>(
      [this](size_t signal_key, size_t connection) { Disconnect<Args...>(signal_key, connection); },
      key.value, id);
  signal->slot =
      std::make_shared<zo_sigslot::detail::slot<Func, Args...>>(signal.get(), std::move(func));
  RecursiveMutexLock lock(signals_mutex);
  const auto entry = signals.find(key.value);
  if (entry == signals.end()) {
    Connections<Args...> made;
    made.Add(id, signal);
    signals.emplace(key.value, ZOAny(std::move(made)));
  } else {
    ZOAnyCast<Connections<Args...>>(entry->second).Add(id, signal);
  }
  keys_seen |= KeyBit(key.value);
  return zo_sigslot::connection(signal);
}

template <class... Args>
void ConnectAble::Emit(SignalKeyOf<Args...> key, std::type_identity_t<Args>... args) {
  if ((keys_seen & KeyBit(key.value)) == 0) {
    return;
  }
  // Keeps the signal objects alive during the emission.
  std::shared_ptr<const typename Connections<Args...>::List> list;
  {
    RecursiveMutexLock lock(signals_mutex);
    const auto entry = signals.find(key.value);
    if (entry == signals.end()) {
      return;
    }
    list = ZOAnyCast<Connections<Args...>>(entry->second).list;
  }
  for (const auto& signal : *list) {
    if (signal->slot->callable()) {
      signal->slot->call_slot(args...);
    }
  }
}

template <class... Args>
void ConnectAble::Disconnect(size_t key, size_t id) {
  // Dies after the lock, with what its slot holds.
  std::shared_ptr<const typename Connections<Args...>::List> before;
  RecursiveMutexLock lock(signals_mutex);
  const auto entry = signals.find(key);
  if (entry == signals.end()) {
    return;
  }
  auto& connections = ZOAnyCast<Connections<Args...>>(entry->second);
  if (connections.by_id.count(id) == 0) {
    return;
  }
  before = connections.list;
  if (connections.by_id.size() == 1) {
    signals.erase(entry);
  } else {
    connections.Remove(id);
  }
}

}  // namespace zo_base
