#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include "base/object/any.h"
#include "base/object/sigslot.h"
#include "base/sync/mutex.h"

namespace zo_base {

// Identifies a signal. Its address is the key; its type lists the slots' arguments. Declare it in
// the class that emits it:
//   static inline Signal<const std::string&> SIG_Changed;
// Not const, since a linker may merge equal constants.
template <class... Args>
class Signal {
 public:
  Signal() = default;
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  size_t Key() const { return reinterpret_cast<size_t>(this); }
};

// Gives an object signals of any signature without a field for each: one table from a signal's
// key to its connections.
//   object->Connect(C::SIG_Changed, receiver->ToWeakClosure([](const std::string&) {}));
//   object->Emit(C::SIG_Changed, "text");
// Threads: any may connect, emit and disconnect. Slots run on the emitting thread, in order of
//          connection, with no lock held; they may connect, disconnect and destroy the emitter.
//          An emission calls the slots that it found: one that is disconnected meanwhile still
//          runs, a new one doesn't, and the rest run after a slot has destroyed the emitter.
// Owner:   it is a base of the emitter. A connection lives until it is disconnected or the
//          emitter dies. It outlives the receiver, so slots are weak closures. A handle may
//          disconnect only while the emitter exists.
// Errors:  BadZOAnyCast if one key is used with two signatures: only a Disconnect with arguments
//          other than the signal's can do that. A Connect or Disconnect that throws changes
//          nothing. An exception from a slot ends the emission and passes to the emitter.
class ConnectAble {
 public:
  ConnectAble() = default;
  virtual ~ConnectAble() {
    std::map<size_t, ZOAny> ended;
    RecursiveMutexLock lock(signals_mutex);
    signals.swap(ended);
  }
  ConnectAble(const ConnectAble&) = delete;
  ConnectAble& operator=(const ConnectAble&) = delete;

  template <class... Args, class Func>
  zo_sigslot::connection Connect(const Signal<Args...>& signal, Func func);

  template <class... Args>
  void Emit(const Signal<Args...>& signal, std::type_identity_t<Args>... args);

  template <class... Args>
  void Disconnect(size_t key, size_t id);

  template <class... Args>
  size_t CountConnectionsForTest(const Signal<Args...>& signal);

 private:
  template <class... Args>
  using Connection = zo_sigslot::signal_singl_base<std::recursive_mutex, Args...>;
  // The connections of one key, by id. Replaced as a whole when one comes or goes, so an emission
  // walks the map that it found and copies nothing.
  template <class... Args>
  using Connections = std::map<size_t, std::shared_ptr<Connection<Args...>>>;
  template <class... Args>
  using SharedConnections = std::shared_ptr<const Connections<Args...>>;

  RecursiveMutex signals_mutex;
  std::map<size_t, ZOAny> signals ZO_GUARDED_BY(signals_mutex);
  // The last id used; the first connection gets 1.
  std::atomic<size_t> connection_id{0};
};

template <class... Args, class Func>
zo_sigslot::connection ConnectAble::Connect(const Signal<Args...>& signal, Func func) {
  const size_t key = signal.Key();
  // All is made before the lock, to hold it briefly. The ids give the order of emission.
  const size_t id = ++connection_id;
  auto connection = std::make_shared<Connection<Args...>>(
      [this](size_t of_key, size_t of_id) { Disconnect<Args...>(of_key, of_id); }, key, id);
  connection->slot =
      std::make_shared<zo_sigslot::detail::slot<Func, Args...>>(connection.get(), std::move(func));
  RecursiveMutexLock lock(signals_mutex);
  Connections<Args...> connections;
  if (const auto entry = signals.find(key); entry != signals.end()) {
    connections = *ZOAnyCast<SharedConnections<Args...>>(entry->second);
  }
  connections.emplace(id, connection);
  signals[key] = ZOAny(
      SharedConnections<Args...>(std::make_shared<Connections<Args...>>(std::move(connections))));
  return zo_sigslot::connection(connection);
}

template <class... Args>
void ConnectAble::Emit(const Signal<Args...>& signal, std::type_identity_t<Args>... args) {
  if (connection_id == 0) {
    return;  // never connected to: no lock
  }
  // Keeps the connections alive during the emission.
  SharedConnections<Args...> connections;
  {
    RecursiveMutexLock lock(signals_mutex);
    const auto entry = signals.find(signal.Key());
    if (entry == signals.end()) {
      return;
    }
    connections = ZOAnyCast<SharedConnections<Args...>>(entry->second);
  }
  for (const auto& [id, connection] : *connections) {
    if (connection->slot->callable()) {
      connection->slot->call_slot(args...);
    }
  }
}

template <class... Args>
void ConnectAble::Disconnect(size_t key, size_t id) {
  // Declared before the lock: what the slot holds is destroyed without it.
  SharedConnections<Args...> before;
  RecursiveMutexLock lock(signals_mutex);
  const auto entry = signals.find(key);
  if (entry == signals.end()) {
    return;
  }
  before = ZOAnyCast<SharedConnections<Args...>>(entry->second);
  Connections<Args...> left = *before;
  left.erase(id);
  if (left.empty()) {
    signals.erase(entry);
  } else {
    entry->second =
        ZOAny(SharedConnections<Args...>(std::make_shared<Connections<Args...>>(std::move(left))));
  }
}

template <class... Args>
size_t ConnectAble::CountConnectionsForTest(const Signal<Args...>& signal) {
  RecursiveMutexLock lock(signals_mutex);
  const auto entry = signals.find(signal.Key());
  return entry == signals.end() ? 0 : ZOAnyCast<SharedConnections<Args...>>(entry->second)->size();
}

}  // namespace zo_base
