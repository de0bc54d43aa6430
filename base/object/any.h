#pragma once

#include <cstring>
#include <memory>
#include <typeinfo>
#include <utility>

namespace zo_base {

// Thrown by ZOAnyCast when the held type isn't the wanted one.
class BadZOAnyCast : public std::bad_cast {
 public:
  const char* what() const noexcept override { return "BadZOAnyCast: failed conversion ZOAnyCast"; }
};

// Tags the type of a stored value in a std::tuple<SVT, ZOAny>. Only strings are stored.
enum class SVT : int { kString = 9 };

// Holds a value of any copyable type, or nothing.
// Threads: its holder guards it.
// Errors:  only the casts fail.
class ZOAny {
 public:
  ZOAny() = default;
  template <class T>
  explicit ZOAny(T value) : content(std::make_unique<holder<T>>(std::move(value))) {}
  ZOAny(const ZOAny& other) : content(other.content ? other.content->clone() : nullptr) {}
  ZOAny(ZOAny&& other) noexcept = default;
  ~ZOAny() = default;

  ZOAny& operator=(ZOAny other) noexcept {
    swap(other);
    return *this;
  }

  void swap(ZOAny& other) noexcept { content.swap(other.content); }
  bool empty() const { return content == nullptr; }
  const std::type_info& type() const { return content ? content->type() : typeid(void); }

 private:
  class placeholder {
   public:
    virtual ~placeholder() = default;
    virtual const std::type_info& type() const = 0;
    virtual placeholder* clone() const = 0;
  };

  template <class T>
  class holder final : public placeholder {
   public:
    explicit holder(T value) : held(std::move(value)) {}
    const std::type_info& type() const override { return typeid(T); }
    placeholder* clone() const override { return new holder(held); }

    T held;
  };

  template <class T>
  friend const T& ZOAnyCast(const ZOAny& any);

  std::unique_ptr<placeholder> content;
};

// Returns the held value. Throws BadZOAnyCast unless its type is exactly T; an empty value holds a
// `void`. Compares types by name. Equal names mostly share one address, so that is tested first.
template <class T>
const T& ZOAnyCast(const ZOAny& any) {
  const char* held = any.type().name();
  const char* wanted = typeid(T).name();
  if (held != wanted && std::strcmp(held, wanted) != 0) {
    throw BadZOAnyCast();
  }
  return static_cast<const ZOAny::holder<T>&>(*any.content).held;
}

template <class T>
T& ZOAnyCast(ZOAny& any) {
  return const_cast<T&>(ZOAnyCast<T>(std::as_const(any)));
}

}  // namespace zo_base
