// Parses any text as JSON, with both strategies. A second parser judges whether it is JSON and what
// it means. An accepted value is printed and must parse to the same value.
#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "fuzz/expect.h"

namespace {

using zo_base::json11::Json;
using zo_base::json11::JsonParse;

// The second parser's outcome.
struct Other {
  nlohmann::json value;
  bool has_equal_names = false;  // in one object; the two parsers keep different members
  bool is_broken = false;
  bool is_out_of_range = false;  // has a number that ours reads as infinite
};

Other ParseOther(const std::string& text, bool comments) {
  Other other;
  std::vector<std::set<std::string>> open;
  const auto watch = [&](int, nlohmann::json::parse_event_t event, const nlohmann::json& value) {
    if (event == nlohmann::json::parse_event_t::object_start) {
      open.emplace_back();
    } else if (event == nlohmann::json::parse_event_t::object_end) {
      open.pop_back();
    } else if (event == nlohmann::json::parse_event_t::key) {
      other.has_equal_names =
          !open.back().insert(value.get<std::string>()).second || other.has_equal_names;
    }
    return true;
  };
  try {
    other.value = nlohmann::json::parse(text, watch, true, comments);
  } catch (const nlohmann::json::parse_error&) {
    other.is_broken = true;
  } catch (const nlohmann::json::out_of_range&) {
    other.is_out_of_range = true;
  }
  return other;
}

bool Same(const Json& ours, const nlohmann::json& theirs) {
  switch (ours.type()) {
    case Json::NUL:
      return theirs.is_null();
    case Json::NUMBER:
      return theirs.is_number() && ours.number_value() == theirs.get<double>();
    case Json::BOOL:
      return theirs.is_boolean() && ours.bool_value() == theirs.get<bool>();
    case Json::STRING:
      return theirs.is_string() && ours.string_value() == theirs.get_ref<const std::string&>();
    case Json::ARRAY:
      return theirs.is_array() && std::equal(ours.array_items().begin(), ours.array_items().end(),
                                             theirs.begin(), theirs.end(), Same);
    case Json::OBJECT:
      return theirs.is_object() &&
             std::equal(ours.object_items().begin(), ours.object_items().end(),
                        theirs.items().begin(), theirs.items().end(),
                        [](const auto& mine, const auto& other) {
                          return mine.first == other.key() && Same(mine.second, other.value());
                        });
  }
  return false;
}

// Returns what printing must keep: infinite numbers print as null.
Json Printable(const Json& value) {
  if (std::isinf(value.number_value())) {
    return {};
  }
  Json::array values;
  for (const Json& item : value.array_items()) {
    values.push_back(Printable(item));
  }
  Json::object members;
  for (const auto& [name, member] : value.object_items()) {
    members[name] = Printable(member);
  }
  return value.type() == Json::ARRAY    ? Json(values)
         : value.type() == Json::OBJECT ? Json(members)
                                        : value;
}

// Returns whether the two parsers must agree. The other one refuses bytes that are no UTF-8 and
// halves of surrogates, ends at a NUL, skips a byte order mark, and ends a comment at a carriage
// return.
bool IsCommonGround(const std::string& text, bool comments) {
  if (comments && text.find('\r') != std::string::npos) {
    return false;
  }
  const bool has_surrogate =
      text.find("\\ud") != std::string::npos || text.find("\\uD") != std::string::npos;
  return !has_surrogate && std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
}

void Judge(const std::string& text, JsonParse strategy) {
  std::string err;
  const Json value = Json::parse(text, err, strategy);
  const bool comments = strategy == JsonParse::kComments;
  if (IsCommonGround(text, comments)) {
    const Other other = ParseOther(text, comments);
    if (other.is_broken) {
      Expect(!err.empty(), "both refuse", text);
    } else if (!other.is_out_of_range) {
      Expect(err.empty() || err == "exceeded maximum nesting depth", "both take", err);
      Expect(!err.empty() || other.has_equal_names || Same(value, other.value), "one meaning",
             text);
    }
  }
  if (!err.empty()) {
    Expect(value.type() == Json::NUL, "nothing of a broken text");
    return;
  }
  const std::string dump = value.dump();
  const Json again = Json::parse(dump, err);
  Expect(err.empty(), "what is printed parses", err);
  Expect(again == Printable(value), "what is printed is equal", dump);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Judge(text, JsonParse::kStandard);
  if (text.find('/') != std::string::npos) {
    Judge(text, JsonParse::kComments);
  }
  return 0;
}
