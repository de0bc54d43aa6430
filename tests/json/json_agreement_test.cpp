#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "tests/support/sanitizers.h"
#include "tests/support/small_inputs.h"

// A second parser judges all small texts of several alphabets. Left out is what the two decide
// differently by design: repeated keys (too long for these texts), lone surrogates, bytes that
// are no UTF-8, and numbers past a double.
namespace zo_base::json11 {
namespace {

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

// True if both took the text.
bool Judge(const std::string& text, bool comments = false) {
  std::string err;
  const Json ours = Json::parse(text, err, comments ? JsonParse::kComments : JsonParse::kStandard);
  const auto theirs = nlohmann::json::parse(text, nullptr, false, comments);
  if (err.empty() && theirs.is_discarded() && std::isinf(ours.number_value())) {
    return false;
  }
  EXPECT_EQ(err.empty(), !theirs.is_discarded()) << text << ": " << err;
  if (!err.empty() || theirs.is_discarded()) {
    return false;
  }
  EXPECT_TRUE(Same(ours, theirs)) << text;
  EXPECT_TRUE(Same(ours, nlohmann::json::parse(ours.dump()))) << text;
  std::string again;
  EXPECT_EQ(Json::parse(ours.dump(), again), ours) << text;
  return true;
}

TEST(Agreement, OnAllSmallTexts) {
  const struct {
    std::vector<std::string> tokens;
    size_t max_tokens;
    size_t least_taken;  // so that the judging isn't about refusals alone
    bool comments;
  } kAlphabets[] = {{{"{", "}", "[", "]", ",", ":", "\"k\"", "1", "null", " "}, 5, 100, false},
                    {{"[", ",2", "]", "{\"k\":", "}", ",\"l\":", "1"}, 6, 25, false},
                    {{"0", "1", "-", "+", ".", "e", "23456789"}, 6, 500, false},
                    {{"/", "*", "\n", "1", "[", "]", "//", "/*", "*/"}, 5, 100, true}};
  for (const auto& alphabet : kAlphabets) {
    size_t taken = 0;
    // All lengths but the longest are judged under the sanitizers too.
    ForAllTexts(alphabet.tokens, alphabet.max_tokens - (kSanitized ? 1 : 0),
                [&](const std::string& text) { taken += Judge(text, alphabet.comments) ? 1 : 0; });
    EXPECT_GE(taken, alphabet.least_taken / (kSanitized ? 10 : 1));
  }
}

TEST(Agreement, OnAllSmallStrings) {
  const std::vector<std::string> tokens = {"\\ud83d", "\\ude00", "\\u00E9", "\\u0000", "\\n",
                                           "\\",      "\"",      "u12",     "\t",      "\xc3\xa9"};
  ForAllTexts(tokens, 4, [](const std::string& inner) {
    const std::string text = "\"" + inner + "\"";
    std::string err;
    Json::parse(text, err);
    if (err.empty() && nlohmann::json::parse(text, nullptr, false).is_discarded()) {
      ASSERT_NE(text.find("\\ud83d"), text.find("\\ude00")) << "no surrogate in " << text;
    } else {
      Judge(text);
    }
  });
}

}  // namespace
}  // namespace zo_base::json11
