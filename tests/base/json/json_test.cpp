#include "base/json/json.h"

#include <gtest/gtest.h>

namespace zo_base::json11 {
namespace {

// The dumped value, or "! " and the error.
std::string Outcome(const std::string& text, JsonParse strategy = JsonParse::kStandard) {
  std::string err = "old";
  const Json value = Json::parse(text, err, strategy);
  EXPECT_TRUE(err.empty() || value.type() == Json::NUL) << text;
  return err.empty() ? value.dump() : "! " + err;
}

TEST(Parse, ReturnsAValueOrTheFirstFault) {
  constexpr auto kComments = JsonParse::kComments;
  const struct {
    std::string text, outcome;
    JsonParse strategy = JsonParse::kStandard;
  } kRows[] = {{" [\tnull,true\r\n, false,\"\",[ ]]", R"([null, true, false, "", []])"},
               {R"({"b":[1,{"c":"d"}],"a":{},"b":2})", R"({"a": {}, "b": [1, {"c": "d"}]})"},
               {R"("\"\\\/\b\f\n\r\t")", R"("\"\\/\b\f\n\r\t")"},
               {R"("\u0001\u001F\u007f\u0000x")", "\"\\u0001\\u001f\x7f\\u0000x\""},
               {R"("\u00e9\u20AC\ud83d\ude00")", "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\""},
               {R"("\u2028\u2029\u202a")", "\"\\u2028\\u2029\xe2\x80\xaa\""},
               {"\"\xe2\x80\xa8\xe2\x80\xe2\"", "\"\\u2028\xe2\x80\xe2\""},
               // Halves of a pair that don't meet are written alone.
               {R"("\ud83d\n\ude00\ud83d\ud83d\ude00x\ud83d")",
                "\"\xed\xa0\xbd\\n\xed\xb8\x80\xed\xa0\xbd\xf0\x9f\x98\x80x\xed\xa0\xbd\""},
               {"\"\xff\x80 no UTF-8\"", "\"\xff\x80 no UTF-8\""},
               {"[1,]", "! expected value, got ']' (93)"},
               {"{\"a\" 1}", "! expected ':' in object, got '1' (49)"},
               {"/**/1", "! expected value, got '/' (47)"},
               {"/**/1", "1", kComments},
               {"[/x", "! malformed comment", kComments},
               {"\xc3\xa9", "! expected value, got (-61)"},
               {std::string("1\0", 2), "! unexpected trailing (0)"},
               {"\"a\\", "! unexpected end of input in string"},
               {R"("\u12g4")", "! bad \\u escape: 12g4"},
               {"-01", "! leading 0s not permitted in numbers"}};
  for (const auto& row : kRows) {
    EXPECT_EQ(Outcome(row.text, row.strategy), row.outcome) << row.text;
  }
}

TEST(Parse, RefusesMoreThanTwoHundredLevels) {
  const auto nested = [](size_t levels, const std::string& core) {
    return std::string(levels, '[') + core + std::string(levels, ']');
  };
  for (const std::string& text : {nested(201, ""), nested(200, "1")}) {
    EXPECT_EQ(Outcome(text), text);
  }
  for (const std::string& text : {nested(202, ""), nested(201, "1"), nested(100000, "")}) {
    EXPECT_EQ(Outcome(text), "! exceeded maximum nesting depth");
  }
  // Comparing costs no more than the square of the depth.
  std::string err;
  const Json one = Json::parse(nested(200, "1"), err);
  EXPECT_EQ(one, Json::parse(nested(200, "1"), err));
}

}  // namespace
}  // namespace zo_base::json11
