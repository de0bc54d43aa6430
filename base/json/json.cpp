#include "base/json/json.h"

#include <utility>

#include "base/json/json_value.h"
#include "base/process/no_destructor.h"

namespace zo_base::json11 {

// The values that all handles share. Handles point to these without owning them: a copy changes no
// count, and unloading the library leaks nothing.
struct SharedValues {
  template <typename T>
  static std::shared_ptr<JsonValue> Unowned(T& value) {
    return {std::shared_ptr<JsonValue>(), &value};
  }

  JsonNull null_value;
  JsonBoolean true_value{true};
  JsonBoolean false_value{false};
  const std::string empty_text{};
  const Json::array empty_array{};
  const Json::object empty_object{};
  const std::shared_ptr<JsonValue> null_pointer = Unowned(null_value);
  const std::shared_ptr<JsonValue> true_pointer = Unowned(true_value);
  const std::shared_ptr<JsonValue> false_pointer = Unowned(false_value);
  const Json null = Json(null_pointer);
};

namespace {

const SharedValues& Shared() {
  static NoDestructor<SharedValues> values;
  return *values;
}

}  // namespace

double JsonValue::number_value() const {
  return 0;
}
int JsonValue::int_value() const {
  return 0;
}
long long JsonValue::int64_value() const {
  return 0;
}
bool JsonValue::bool_value() const {
  return false;
}
const std::string& JsonValue::string_value() const {
  return Shared().empty_text;
}
const Json::array& JsonValue::array_items() const {
  return Shared().empty_array;
}
const Json::object& JsonValue::object_items() const {
  return Shared().empty_object;
}
const Json& JsonValue::operator[](const std::string& /*key*/) const {
  return Shared().null;
}
const Json& JsonValue::operator[](size_t /*index*/) const {
  return Shared().null;
}

const Json& JsonArray::operator[](size_t index) const {
  return index < value_.size() ? value_[index] : Shared().null;
}

const Json& JsonObject::operator[](const std::string& key) const {
  const auto member = value_.find(key);
  return member != value_.end() ? member->second : Shared().null;
}

void DumpTo(std::string& out, const Json::array& values) {
  out += '[';
  const char* separator = "";
  for (const Json& value : values) {
    out += separator;
    value.dump(out);
    separator = ", ";
  }
  out += ']';
}

void DumpTo(std::string& out, const Json::object& members) {
  out += '{';
  const char* separator = "";
  for (const auto& [key, value] : members) {
    out += separator;
    AppendQuoted(out, key);
    out += ": ";
    value.dump(out);
    separator = ", ";
  }
  out += '}';
}

Json::Json() : value_(Shared().null_pointer) {}
Json::Json(bool value) : value_(value ? Shared().true_pointer : Shared().false_pointer) {}
Json::Json(int value) : value_(std::make_shared<JsonInt>(value)) {}
Json::Json(long long value) : value_(std::make_shared<JsonInt64>(value)) {}
Json::Json(const char* value) : Json(std::string(value != nullptr ? value : "")) {}
Json::Json(const std::string& value) : value_(std::make_shared<JsonString>(value)) {}
Json::Json(std::string&& value) : value_(std::make_shared<JsonString>(std::move(value))) {}
Json::Json(const array& values) : value_(std::make_shared<JsonArray>(values)) {}
Json::Json(array&& values) : value_(std::make_shared<JsonArray>(std::move(values))) {}
Json::Json(const object& values) : value_(std::make_shared<JsonObject>(values)) {}
Json::Json(object&& values) : value_(std::make_shared<JsonObject>(std::move(values))) {}

void Json::dump(std::string& out) const {
  value_->dump(out);
}

std::string Json::dump() const {
  std::string out;
  dump(out);
  return out;
}

Json::Type Json::type() const {
  return value_->type();
}
double Json::number_value() const {
  return value_->number_value();
}
int Json::int_value() const {
  return value_->int_value();
}
long long Json::int64_value() const {
  return value_->int64_value();
}
bool Json::bool_value() const {
  return value_->bool_value();
}
const std::string& Json::string_value() const {
  return value_->string_value();
}
const Json::array& Json::array_items() const {
  return value_->array_items();
}
const Json::object& Json::object_items() const {
  return value_->object_items();
}
const Json& Json::operator[](const std::string& key) const {
  return (*value_)[key];
}
const Json& Json::operator[](size_t index) const {
  return (*value_)[index];
}

bool Json::operator==(const Json& other) const {
  return value_ == other.value_ || (type() == other.type() && value_->equals(other.value_.get()));
}

bool Json::operator<(const Json& other) const {
  if (value_ == other.value_) {
    return false;
  }
  return type() != other.type() ? type() < other.type() : value_->less(other.value_.get());
}

}  // namespace zo_base::json11
