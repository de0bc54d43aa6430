#include "base/json/json.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <vector>

namespace zo_base::json11 {
namespace {

// The dumped value, or "! " and the error.
std::string Outcome(const std::string& text, JsonParse strategy = JsonParse::kStandard) {
  std::string err = "old";
  const Json value = Json::parse(text, err, strategy);
  if (err.empty()) {
    return value.dump();
  }
  EXPECT_EQ(value.type(), Json::NUL) << text;
  return "! " + err;
}

Json Parsed(const std::string& text) {
  std::string err;
  Json value = Json::parse(text, err);
  EXPECT_EQ(err, "") << text;
  return value;
}

struct Row {
  std::string text, outcome;
};

TEST(Parse, Values) {
  const Row kRows[] = {
      {" \t\r\n{ } ", "{}"},
      {"[ ]", "[]"},
      {"[null,true , false,\"\"]", "[null, true, false, \"\"]"},
      {R"({"b":[1,{"c":"d"}],"a":{}})", R"({"a": {}, "b": [1, {"c": "d"}]})"},
      {R"({"a":1,"b":3,"a":2})", R"({"a": 1, "b": 3})"},
      {R"("\"\\\/\b\f\n\r\t")", R"("\"\\/\b\f\n\r\t")"},
      {R"("\u0001\u001F\u007f\u0000x")", "\"\\u0001\\u001f\x7f\\u0000x\""},
      {R"("\u00e9\u20AC\ud83d\ude00")", "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\""},
      {R"("\u2028\u2029\u202a")", "\"\\u2028\\u2029\xe2\x80\xaa\""},
      {"\"\xe2\x80\xa8\xe2\x80\xe2\"", "\"\\u2028\xe2\x80\xe2\""},
      // Halves of a pair that don't meet are written alone.
      {R"("\ud83d")", "\"\xed\xa0\xbd\""},
      {R"("\ud83dx\ude00")", "\"\xed\xa0\xbdx\xed\xb8\x80\""},
      {R"("\ud83d\n\ude00")", "\"\xed\xa0\xbd\\n\xed\xb8\x80\""},
      {R"("\ude00\ud83d\ud83d\ude00")", "\"\xed\xb8\x80\xed\xa0\xbd\xf0\x9f\x98\x80\""},
      {"\"\xff\x80 no UTF-8\"", "\"\xff\x80 no UTF-8\""},
  };
  for (const auto& [text, outcome] : kRows) {
    EXPECT_EQ(Outcome(text), outcome) << text;
  }
}

TEST(Parse, Faults) {
  const Row kRows[] = {
      {"", "unexpected end of input"},
      {" [", "unexpected end of input"},
      {"[1,", "unexpected end of input"},
      {"{\"a\":", "unexpected end of input"},
      {"[1,]", "expected value, got ']' (93)"},
      {"[1 2]", "expected ',' in list, got '2' (50)"},
      {"{\"a\":1,}", "expected '\"' in object, got '}' (125)"},
      {"{1", "expected '\"' in object, got '1' (49)"},
      {"{\"a\" 1}", "expected ':' in object, got '1' (49)"},
      {"{\"a\":1;", "expected ',' in object, got ';' (59)"},
      {"{\"a\":1} x", "unexpected trailing 'x' (120)"},
      {"/**/1", "expected value, got '/' (47)"},
      {"1//", "unexpected trailing '/' (47)"},
      {"\xc3\xa9", "expected value, got (-61)"},
      {std::string("\0", 1), "expected value, got (0)"},
      {std::string("1\0", 2), "unexpected trailing (0)"},
      {"[\x7f", "expected value, got '\x7f' (127)"},
      {"nul", "parse error: expected null, got nul"},
      {"[tru]e", "parse error: expected true, got tru]"},
      {"fals\xff ", "parse error: expected false, got fals\xff"},
      {"\"a", "unexpected end of input in string"},
      {"\"a\\", "unexpected end of input in string"},
      {"\"a\nb\"", "unescaped (10) in string"},
      {std::string("\"\0\"", 3), "unescaped (0) in string"},
      {R"("\x")", "invalid escape character 'x' (120)"},
      {R"("\u12g4")", "bad \\u escape: 12g4"},
      {R"("\u12)", "bad \\u escape: 12"},
      {R"("\ud83d\u")", "bad \\u escape: \""},
      {"01", "leading 0s not permitted in numbers"},
      {"-00", "leading 0s not permitted in numbers"},
      {"-", "invalid (0) in number"},
      {"-a", "invalid 'a' (97) in number"},
      {"+1", "expected value, got '+' (43)"},
      {"1.e1", "at least one digit required in fractional part"},
      {"1e+", "at least one digit required in exponent"},
      {".5", "expected value, got '.' (46)"},
  };
  for (const auto& [text, error] : kRows) {
    EXPECT_EQ(Outcome(text), "! " + error) << text;
  }
}

TEST(Parse, Comments) {
  const Row kRows[] = {
      {"/*a*/ //b\n [1,/***/ 2 // c\n]//", "[1, 2]"},
      {"1 /", "! unexpected end of input after start of comment"},
      {"[1 /*", "! unexpected end of input inside multi-line comment"},
      {"/*/", "! unexpected end of input inside multi-line comment"},
      {"/**", "! unexpected end of input inside multi-line comment"},
      {"[/x", "! malformed comment"},
      {"//", "! unexpected end of input"},
  };
  for (const auto& [text, outcome] : kRows) {
    EXPECT_EQ(Outcome(text, JsonParse::kComments), outcome) << text;
  }
}

TEST(Parse, TwoHundredLevelsAroundAValue) {
  const auto nested = [](size_t levels, const std::string& core) {
    return std::string(levels, '[') + core + std::string(levels, ']');
  };
  EXPECT_EQ(Outcome(nested(201, "")), nested(201, ""));
  EXPECT_EQ(Outcome(nested(200, "1")), nested(200, "1"));
  const std::string error = "! exceeded maximum nesting depth";
  EXPECT_EQ(Outcome(nested(202, "")), error);
  EXPECT_EQ(Outcome(nested(201, "1")), error);
  EXPECT_EQ(Outcome(nested(100000, "")), error);
  std::string objects;
  for (int i = 0; i <= 200; ++i) {
    objects += "{\"a\":";
  }
  EXPECT_EQ(Outcome(objects + "1"), error);

  // Comparing costs no more than the square of the depth.
  const Json one = Parsed(nested(200, "1"));
  const Json same = Parsed(nested(200, "1"));
  EXPECT_EQ(one, same);
  EXPECT_FALSE(one < same);
  EXPECT_LT(one, Parsed(nested(200, "2")));
}

TEST(Accessors, AnswerForTheirOwnTypeAlone) {
  const Json values[] = {Json(),
                         Json(7),
                         Json(true),
                         Json("x"),
                         Json(Json::array{Json(1)}),
                         Json(Json::object{{"k", 2}})};
  for (const Json& value : values) {
    const Json::Type type = value.type();
    EXPECT_EQ(type, &value - values);
    EXPECT_EQ(value.number_value(), type == Json::NUMBER ? 7 : 0);
    EXPECT_EQ(value.int_value(), type == Json::NUMBER ? 7 : 0);
    EXPECT_EQ(value.int64_value(), 0);
    EXPECT_EQ(value.bool_value(), type == Json::BOOL);
    EXPECT_EQ(value.string_value(), type == Json::STRING ? "x" : "");
    EXPECT_EQ(value.array_items().size(), type == Json::ARRAY ? 1U : 0U);
    EXPECT_EQ(value.object_items().size(), type == Json::OBJECT ? 1U : 0U);
    EXPECT_EQ(value["k"].int_value(), type == Json::OBJECT ? 2 : 0);
    EXPECT_EQ(value[0].int_value(), type == Json::ARRAY ? 1 : 0);
    EXPECT_EQ(value["none"]["at all"][3].type(), Json::NUL);
    EXPECT_EQ(value[1], Json());
    EXPECT_EQ(&value[9], &values[0]["none"]) << "one shared null";
  }
  EXPECT_EQ(Json(static_cast<const char*>(nullptr)), Json(""));
  EXPECT_EQ(Json(int64_t{5}).int64_value(), 5);
}

TEST(Comparison, ByTypeThenByValue) {
  // In rising order; within a line all are equal.
  const std::vector<std::vector<Json>> ranks = {
      {Json(), Parsed("null")},
      {Json(-1LL), Json(-1), Parsed("-1.0")},
      {Json(5), Json(5LL), Parsed("5"), Parsed("5.0")},
      {Parsed("5.5")},
      {Json(INT_MAX), Parsed("2147483647")},
      {Json(false), Parsed("false")},
      {Json(true)},
      {Json("")},
      {Json("a"), Json(std::string("a"))},
      {Json("b")},
      {Json(Json::array()), Parsed("[]")},
      {Parsed("[1]"), Json(Json::array{1})},
      {Parsed("[1, 0]")},
      {Parsed("[2]")},
      {Json(Json::object()), Parsed("{}")},
      {Parsed(R"({"a":1})"), Json(Json::object{{"a", 1LL}})},
      {Parsed(R"({"a":1,"b":0})")},
      {Parsed(R"({"a":2})")},
      {Parsed(R"({"b":0})")},
  };
  for (size_t i = 0; i < ranks.size(); ++i) {
    for (size_t j = 0; j < ranks.size(); ++j) {
      for (const Json& a : ranks[i]) {
        for (const Json& b : ranks[j]) {
          ASSERT_EQ(a == b, i == j) << a.dump() << " " << b.dump();
          ASSERT_EQ(a < b, i < j) << a.dump() << " " << b.dump();
        }
      }
    }
  }
}

TEST(Threads, ShareValuesAndTheFirstUseOfTheTable) {
  const Json document = Parsed(R"({"a":[1,"x",null]})");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([copy = document] {
      for (int round = 0; round < 200; ++round) {
        const Json element = copy["a"][1];
        EXPECT_EQ(element.string_value(), "x");
        EXPECT_EQ(copy["b"], Json());
        EXPECT_EQ(copy.dump(), R"({"a": [1, "x", null]})");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace zo_base::json11
