#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "base/json/json_text.h"
#include "tests/support/comma_locale.h"
#include "tests/support/small_inputs.h"

namespace zo_base::json11 {
namespace {

void ExpectSame(double value, double expected, const std::string& text) {
  EXPECT_EQ(std::memcmp(&value, &expected, sizeof(value)), 0)
      << text << ": " << value << " for " << expected;
}

void ExpectSameAsStrtod(const std::string& text) {
  const double expected = std::strtod(text.c_str(), nullptr);
  ExpectSame(DecimalToDouble(text.data(), text.data() + text.size()), expected, text);
}

TEST(Numbers, TheirLengthDecidesTheirForm) {
  const struct {
    std::string text;
    double number;
    int as_int;
    long long as_int64;
    std::string dump;
  } kRows[] = {{"-0", 0, 0, 0, "0"},
               {"123456789", 123456789, 123456789, 123456789, "123456789"},
               {"1234567890", 1234567890, 1234567890, 0, "1234567890"},
               {"-12345678", -12345678, -12345678, -12345678, "-12345678"},
               {"-123456789", -123456789, -123456789, 0, "-123456789"},
               {"1710428966535", 1710428966535, INT_MAX, 0, "1710428966535"},
               {"-1.5", -1.5, -1, 0, "-1.5"},
               {"1.0", 1, 1, 0, "1"},
               {"-0.0", -0.0, 0, 0, "-0"},
               {"0.1", 0.1, 0, 0, "0.10000000000000001"},
               {"2147483647.9", 2147483647.9, INT_MAX, 0, "2147483647.9000001"},
               {"-2147483648.9", -2147483648.9, INT_MIN, 0, "-2147483648.9000001"},
               {"1E999", INFINITY, INT_MAX, 0, "null"},
               {"-1E999", -INFINITY, INT_MIN, 0, "null"},
               {"1e16", 1e16, INT_MAX, 0, "10000000000000000"},
               {"123456789012345678", 123456789012345678., INT_MAX, 0, "1.2345678901234568e+17"}};
  for (const auto& row : kRows) {
    std::string err;
    const Json value = Json::parse(row.text, err);
    ExpectSame(value.number_value(), row.number, row.text);
    EXPECT_EQ(value.int_value(), row.as_int) << row.text;
    EXPECT_EQ(value.int64_value(), row.as_int64) << row.text;
    EXPECT_EQ(value.dump(), row.dump);
  }
  EXPECT_EQ(Json(INT_MIN).dump() + Json(LLONG_MIN).dump(), "-2147483648-9223372036854775808");
  EXPECT_EQ(Json((1LL << 40) + 7).int_value(), 7);
  EXPECT_EQ(Json(int64_t{1} << 31).int_value(), INT_MIN);
}

TEST(Numbers, AreReadAsByStrtod) {
  const std::string zeros(400, '0');
  std::vector<std::string> texts = Words(
      "1e308 1.7976931348623157e308 1.7976931348623158e308 1.7976931348623159e308 1e309 "
      "1e99999999999999999999 4.9e-324 2.5e-324 2.4e-324 1e-400 1e-99999999999999999999 "
      "2.2250738585072011e-308 2.2250738585072014e-308 0e999 0.0e-9999 9007199254740993 "
      "9007199254740992.99999 18446744073709551616 0.000001e400 100000e-400 1e+0 5E-1");
  texts.insert(texts.end(), {"1" + zeros, "1" + zeros + "e-400", "0." + zeros + "1",
                             "0." + zeros + "1e401", "1" + zeros + ".5e-900"});
  for (const std::string& text : texts) {
    ExpectSameAsStrtod(text);
    ExpectSameAsStrtod("-" + text);
  }
}

TEST(Numbers, AreWrittenAsByPrintfAndComeBack) {
  std::mt19937_64 bits(20);  // all exponents, denormals and whole numbers
  for (int i = 0; i < 300000; ++i) {
    uint64_t pattern = bits();
    double value = static_cast<double>(static_cast<int64_t>(pattern) >> (pattern % 64));
    if (i % 3 == 1) {
      value /= 1000;
    } else if (i % 3 == 2) {
      pattern &= i % 2 == 0 ? UINT64_MAX : ~(uint64_t{0x7ff} << 52);
      std::memcpy(&value, &pattern, sizeof(value));
    }
    if (!std::isfinite(value)) {
      continue;
    }
    char expected[32];
    std::snprintf(expected, sizeof(expected), "%.17g", value);
    std::string text;
    AppendDouble(text, value);
    ASSERT_EQ(text, expected);
    ExpectSameAsStrtod(text);
  }
  std::string text;
  AppendDouble(text, std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(text, "null");
}

TEST(Numbers, KeepTheirPointUnderACommaLocale) {
  const CommaLocale locale;
  if (!locale.available) {
    GTEST_SKIP() << "no locale can be made here: localedef is missing";
  }
  char printed[8];
  std::snprintf(printed, sizeof(printed), "%.1f", 0.5);
  ASSERT_STREQ(printed, "0,5");
  std::string err;
  const Json value = Json::parse("[-1234567.25,0.1,1e-7,12345678901]", err);
  EXPECT_EQ(value[0].number_value(), -1234567.25);
  EXPECT_EQ(value.dump(),
            "[-1234567.25, 0.10000000000000001, 9.9999999999999995e-08, 12345678901]");
}

}  // namespace
}  // namespace zo_base::json11
