#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace zo_sigslot {

// The parts of one connection of a signal; ConnectAble (base/object/signals.h) joins them. A signal
// object represents one connection, owns its slot and is owned by the emitter's table.
// The shape of these classes is fixed, so some members and operations have no reader: `mutex`,
// `destroyed`, `query` and `get_callable`. Nothing sets `blocked`.

namespace detail {

class disconnecable {
 public:
  virtual ~disconnecable() = default;
  virtual void disconnect_slot() = 0;
};

// The part of a slot that a connection handle uses.
class slot_state {
 public:
  explicit slot_state(disconnecable* signal) : owner(signal) {}
  virtual ~slot_state() = default;
  slot_state(const slot_state&) = delete;
  slot_state& operator=(const slot_state&) = delete;

  virtual bool connected() const { return connected_ != 0; }
  // Requires: the emitter is alive.
  virtual void disconnect() { owner->disconnect_slot(); }
  bool callable() const { return connected_ != 0 && blocked == 0; }

 private:
  uint8_t connected_ = 1;
  uint8_t blocked = 0;
  // The signal object. It is the slot's only owner; a handle that reaches the slot holds it too.
  disconnecable* const owner;
};

// A pointer to a member function of any class, as two words; null for any other callable.
struct callable_address {
  void* function;
  ptrdiff_t adjustment;
};

template <class... Args>
class slot_base : public slot_state {
 public:
  using slot_state::slot_state;
  virtual void call_slot(Args... args) = 0;
  virtual int query() const { return 0; }
  virtual callable_address get_callable() const { return {}; }
};

template <class Func, class... Args>
class slot final : public slot_base<Args...> {
 public:
  slot(disconnecable* signal, Func func) : slot_base<Args...>(signal), func_(std::move(func)) {}
  void call_slot(Args... args) override { std::invoke(func_, static_cast<Args>(args)...); }
  callable_address get_callable() const override {
    callable_address address{};
    if constexpr (std::is_member_function_pointer_v<Func>) {
      static_assert(sizeof(Func) == sizeof(address));
      std::memcpy(&address, &func_, sizeof(address));
    }
    return address;
  }

 private:
  Func func_;
};

}  // namespace detail

template <class Lockable, class... Args>
class signal_singl_base final : public detail::disconnecable {
 public:
  signal_singl_base(std::function<void(size_t, size_t)> disconnect, size_t signal_key,
                    size_t connection_id)
      : key(signal_key), id(connection_id), disconnect_fn(std::move(disconnect)) {}
  ~signal_singl_base() override {
    slot.reset();
    destroyed.exchange(1);
  }
  signal_singl_base(const signal_singl_base&) = delete;
  signal_singl_base& operator=(const signal_singl_base&) = delete;

  void disconnect_slot() override { disconnect_fn(key, id); }

  Lockable mutex;
  std::shared_ptr<detail::slot_base<Args...>> slot;
  const size_t key;
  const size_t id;

 private:
  std::function<void(size_t, size_t)> disconnect_fn;
  std::atomic<uint8_t> destroyed{0};
};

// Handle of a connection. Its destruction disconnects nothing.
// Threads: any, several at once too. Call `disconnect` only while the emitter exists.
class connection {
 public:
  connection() = default;
  // Shares the ownership of the signal object, so a locked handle keeps both.
  template <class Signal>
  explicit connection(const std::shared_ptr<Signal>& signal)
      : slot_(std::shared_ptr<detail::slot_state>(signal, signal->slot.get())) {}
  virtual ~connection() = default;
  connection(const connection&) = default;
  connection& operator=(const connection&) = default;

  bool connected() const {
    const auto slot = slot_.lock();
    return slot != nullptr && slot->connected();
  }
  void disconnect() {
    if (const auto slot = slot_.lock()) {
      slot->disconnect();
    }
  }

 private:
  std::weak_ptr<detail::slot_state> slot_;
};

}  // namespace zo_sigslot
