#include <gtest/gtest.h>

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

void Judge(const std::string& text, bool comments = false) {
  std::string err;
  const Json ours = Json::parse(text, err, comments ? JsonParse::kComments : JsonParse::kStandard);
  const auto theirs = nlohmann::json::parse(text, nullptr, false, comments);
  if (err.empty() && theirs.is_discarded() && std::isinf(ours.number_value())) {
    return;
  }
  ASSERT_EQ(err.empty(), !theirs.is_discarded()) << text << ": " << err;
  if (err.empty()) {
    EXPECT_EQ(Json::parse(ours.dump(), err), ours) << text;
    EXPECT_EQ(ours.string_value(), theirs.is_string() ? theirs.get<std::string>() : "") << text;
    if (theirs.is_number()) {
      EXPECT_EQ(ours.number_value(), theirs.get<double>()) << text;
    } else {
      EXPECT_EQ(nlohmann::json::parse(ours.dump()), theirs) << text;
    }
  }
}

TEST(Agreement, OnAllSmallTexts) {
  const struct {
    std::vector<std::string> tokens;
    size_t max_tokens;
    bool comments = false;
  } kAlphabets[] = {{{"{", "}", "[", "]", ",", ":", "\"k\"", "1", "null", " "}, 5},
                    {{"[", ",2", "]", "{\"k\":", "}", ",\"l\":", "1"}, 6},
                    {{"0", "1", "-", "+", ".", "e", "23456789"}, 6},
                    {{"/", "*", "\n", "1", "[", "]", "//", "/*", "*/"}, 5, true}};
  for (const auto& alphabet : kAlphabets) {
    // All lengths but the longest are judged under the sanitizers too.
    ForAllTexts(alphabet.tokens, alphabet.max_tokens - (kSanitized ? 1 : 0),
                [&](const std::string& text) { Judge(text, alphabet.comments); });
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
