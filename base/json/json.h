#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zo_base::json11 {

class JsonReader;
class JsonValue;
struct SharedValues;

// Says whether Json::parse takes a comment as a syntax error or as a blank.
enum class JsonParse { kStandard = 0, kComments = 1 };

// An immutable JSON value. A handle holds it by pointer: a copy costs one atomic increment, and
// none for null and booleans, which are static.
//
// Numbers have three forms, and the form decides what the accessors return. Code that makes a value
// chooses between int and long long. The parser makes a long long of a whole number of up to nine
// characters (the sign counts) and a double of every other number, and never an int. So a time in
// milliseconds comes back as a double: read it with number_value(), which works for all three.
//
//                    made of int    made of long long     parsed to a double
//   number_value()   the value      the value, converted  the value
//   int_value()      the value      its low 32 bits       cut towards zero, clamped to int
//   int64_value()    0              the value             0
//
// To build a document, fill an array or an object and wrap it.
//
// Threads: any, since a value never changes. The caller guards assignments to one handle.
// Owner:   the handles of a value share it. A reference that an accessor returns lives as long as
//          the value; that of a failed lookup lives for ever.
// Errors:  std::bad_alloc without memory, no others. An accessor of the wrong type returns its
//          default: 0, false, the empty text, array or object, or null. A moved-from handle may
//          only be assigned to or destroyed.
class Json final {
 public:
  enum Type { NUL = 0, NUMBER = 1, BOOL = 2, STRING = 3, ARRAY = 4, OBJECT = 5 };

  using array = std::vector<Json>;
  // Ordered by key, each key once.
  using object = std::map<std::string, Json>;

  // Implicit, so that documents can be written as nested braces of plain values.
  // NOLINTBEGIN(google-explicit-constructor)
  Json();
  Json(bool value);
  Json(int value);
  Json(long long value);
  Json(long value) : Json(static_cast<long long>(value)) {}  // int64_t is a long here
  Json(const char* value);                                   // null makes the empty text
  Json(const std::string& value);
  Json(std::string&& value);
  Json(const array& values);
  Json(array&& values);
  Json(const object& values);
  Json(object&& values);
  // Any other pointer would silently become a bool.
  template <class T>
  Json(const T* pointer) = delete;
  // NOLINTEND(google-explicit-constructor)

  // Reads one value that is all of `in` except for blanks (and comments, if `strategy` allows
  // them). On failure returns null and sets `err` to the first fault; otherwise empties `err`. The
  // text "null" returns null too, so test `err`. If a name occurs twice, the first member counts. A
  // value may be inside up to 200 others. Texts are not checked to be UTF-8.
  static Json parse(const std::string& in, std::string& err,
                    JsonParse strategy = JsonParse::kStandard);

  // Appends the value's text to `out`, with blanks only after ':' and ',', and members in the order
  // of their keys. Writes a number that isn't finite as null.
  void dump(std::string& out) const;
  [[nodiscard]] std::string dump() const;

  [[nodiscard]] Type type() const;
  [[nodiscard]] double number_value() const;
  [[nodiscard]] int int_value() const;
  [[nodiscard]] long long int64_value() const;
  [[nodiscard]] bool bool_value() const;
  [[nodiscard]] const std::string& string_value() const;
  [[nodiscard]] const array& array_items() const;
  [[nodiscard]] const object& object_items() const;
  // Returns null if there is no such member or element.
  const Json& operator[](const std::string& key) const;
  const Json& operator[](size_t index) const;

  // Values of different types compare by type, in the order of the enumeration. Numbers compare as
  // doubles, arrays and objects element by element.
  bool operator==(const Json& other) const;
  bool operator<(const Json& other) const;

 private:
  friend class JsonReader;
  friend struct SharedValues;
  explicit Json(std::shared_ptr<JsonValue> value) : value_(std::move(value)) {}

  std::shared_ptr<JsonValue> value_;
};

}  // namespace zo_base::json11
