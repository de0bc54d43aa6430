#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>

#include "base/json/json.h"
#include "base/json/json_text.h"

// The values that the handles of json.h point to. Only base/json uses them.
// Threads: any, since a value never changes.
// Owner:   the handles, except for the values that all handles share (SharedValues).
// Errors:  none.
namespace zo_base::json11 {

// A value. Each class overrides the accessors of its type; the others return defaults.
// Requires: `other` of equals and less has the same type().
class JsonValue {
 public:
  [[nodiscard]] virtual Json::Type type() const = 0;
  virtual bool equals(const JsonValue* other) const = 0;
  virtual bool less(const JsonValue* other) const = 0;
  virtual void dump(std::string& out) const = 0;
  [[nodiscard]] virtual double number_value() const;
  [[nodiscard]] virtual int int_value() const;
  [[nodiscard]] virtual long long int64_value() const;
  [[nodiscard]] virtual bool bool_value() const;
  [[nodiscard]] virtual const std::string& string_value() const;
  [[nodiscard]] virtual const Json::array& array_items() const;
  virtual const Json& operator[](const std::string& key) const;
  virtual const Json& operator[](size_t index) const;
  [[nodiscard]] virtual const Json::object& object_items() const;
  virtual ~JsonValue() = default;
};

struct NullStruct {
  bool operator==(const NullStruct&) const { return true; }
  bool operator<(const NullStruct&) const { return false; }
};

// Returns whether `a` comes before `b`. Containers compare by the first pair of elements that isn't
// equal. The standard's comparison tests each pair twice with `<`, which would double the work at
// each level of nesting.
template <typename T>
bool Precedes(const T& a, const T& b) {
  return a < b;
}

inline bool Precedes(const Json::array& a, const Json::array& b) {
  const auto [left, right] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  return right != b.end() && (left == a.end() || *left < *right);
}

inline bool Precedes(const Json::object& a, const Json::object& b) {
  const auto [left, right] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  if (left == a.end() || right == b.end()) {
    return right != b.end();
  }
  return left->first != right->first ? left->first < right->first : left->second < right->second;
}

inline void DumpTo(std::string& out, NullStruct) {
  out += "null";
}
inline void DumpTo(std::string& out, bool value) {
  out += value ? "true" : "false";
}
inline void DumpTo(std::string& out, int value) {
  AppendInteger(out, value);
}
inline void DumpTo(std::string& out, long long value) {
  AppendInteger(out, value);
}
inline void DumpTo(std::string& out, double value) {
  AppendDouble(out, value);
}
inline void DumpTo(std::string& out, const std::string& value) {
  AppendQuoted(out, value);
}
void DumpTo(std::string& out, const Json::array& values);
void DumpTo(std::string& out, const Json::object& members);

template <Json::Type tag, typename T>
class Value : public JsonValue {
 public:
  explicit Value(T value) : value_(std::move(value)) {}

  [[nodiscard]] Json::Type type() const final { return tag; }

  bool equals(const JsonValue* other) const final {
    if constexpr (tag == Json::NUMBER) {
      return number_value() == other->number_value();
    } else {
      return value_ == static_cast<const Value*>(other)->value_;
    }
  }

  bool less(const JsonValue* other) const final {
    if constexpr (tag == Json::NUMBER) {
      return number_value() < other->number_value();
    } else {
      return Precedes(value_, static_cast<const Value*>(other)->value_);
    }
  }

  void dump(std::string& out) const final { DumpTo(out, value_); }

 protected:
  const T value_;
};

class JsonNull final : public Value<Json::NUL, NullStruct> {
 public:
  JsonNull() : Value({}) {}
};

class JsonInt final : public Value<Json::NUMBER, int> {
 public:
  using Value::Value;
  [[nodiscard]] double number_value() const override { return value_; }
  [[nodiscard]] int int_value() const override { return value_; }
};

class JsonInt64 final : public Value<Json::NUMBER, long long> {
 public:
  using Value::Value;
  [[nodiscard]] double number_value() const override { return static_cast<double>(value_); }
  [[nodiscard]] int int_value() const override { return static_cast<int>(value_); }
  [[nodiscard]] long long int64_value() const override { return value_; }
};

class JsonDouble final : public Value<Json::NUMBER, double> {
 public:
  using Value::Value;
  [[nodiscard]] double number_value() const override { return value_; }
  // Clamps, since converting what an int can't hold is undefined.
  [[nodiscard]] int int_value() const override {
    constexpr int kLeast = std::numeric_limits<int>::min();
    constexpr int kMost = std::numeric_limits<int>::max();
    if (value_ >= kMost) {
      return kMost;
    }
    return value_ > kLeast ? static_cast<int>(value_) : kLeast;
  }
};

class JsonBoolean final : public Value<Json::BOOL, bool> {
 public:
  using Value::Value;
  [[nodiscard]] bool bool_value() const override { return value_; }
};

class JsonString final : public Value<Json::STRING, std::string> {
 public:
  using Value::Value;
  [[nodiscard]] const std::string& string_value() const override { return value_; }
};

class JsonArray final : public Value<Json::ARRAY, Json::array> {
 public:
  using Value::Value;
  [[nodiscard]] const Json::array& array_items() const override { return value_; }
  using JsonValue::operator[];
  const Json& operator[](size_t index) const override;
};

class JsonObject final : public Value<Json::OBJECT, Json::object> {
 public:
  using Value::Value;
  [[nodiscard]] const Json::object& object_items() const override { return value_; }
  using JsonValue::operator[];
  const Json& operator[](const std::string& key) const override;
};

}  // namespace zo_base::json11
