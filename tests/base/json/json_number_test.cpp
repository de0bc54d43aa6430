#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "base/json/json.h"
#include "base/json/json_text.h"
#include "tests/support/comma_locale.h"
#include "tests/support/small_inputs.h"

namespace zo_base::json11 {
namespace {

// Bit by bit: 0 and -0 differ.
void ExpectSame(double value, double expected, const std::string& text) {
  EXPECT_EQ(std::bit_cast<uint64_t>(value), std::bit_cast<uint64_t>(expected))
      << text << ": " << value << " for " << expected;
}

void ExpectSameAsStrtod(const std::string& text) {
  const double value = DecimalToDouble(text.data(), text.data() + text.size());
  ExpectSame(value, std::strtod(text.c_str(), nullptr), text);
}

TEST(Numbers, KeepTheirValueInEveryForm) {
  const struct {
    std::string text;
    double number;
    int as_int;
    std::string dump;
  } kRows[] = {{"-0", 0, 0, "0"},
               {"123456789", 123456789, 123456789, "123456789"},
               {"1234567890", 1234567890, 1234567890, "1234567890"},
               {"-1.5", -1.5, -1, "-1.5"},
               {"-0.0", -0.0, 0, "-0"},
               {"2147483647.9", 2147483647.9, INT_MAX, "2147483647.9000001"},
               {"-2147483648.9", -2147483648.9, INT_MIN, "-2147483648.9000001"},
               {"1E999", INFINITY, INT_MAX, "null"}};
  for (const auto& row : kRows) {
    std::string err;
    const Json value = Json::parse(row.text, err);
    ExpectSame(value.number_value(), row.number, row.text);
    EXPECT_EQ(value.int_value(), row.as_int) << row.text;
    EXPECT_EQ(value.dump(), row.dump);
  }
  EXPECT_EQ(Json(INT_MIN).dump() + Json(LLONG_MIN).dump(), "-2147483648-9223372036854775808");
  EXPECT_EQ(Json((1LL << 40) + 7).int_value(), 7);
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
  std::mt19937_64 random(20);
  for (int i = 0; i < 100000; ++i) {
    const uint64_t bits = random();
    const auto whole = static_cast<double>(static_cast<int64_t>(bits) >> (bits % 64));
    const auto denormal = std::bit_cast<double>(bits & ~(uint64_t{0x7ff} << 52));
    for (const double value : {whole, whole / 1000, std::bit_cast<double>(bits), denormal}) {
      char expected[32];
      std::snprintf(expected, sizeof(expected), "%.17g", value);
      std::string text;
      AppendDouble(text, value);
      if (!std::isfinite(value)) {
        EXPECT_EQ(text, "null");
        continue;
      }
      ASSERT_EQ(text, expected);
      ExpectSameAsStrtod(text);
    }
  }
}

TEST(Numbers, KeepTheirPointUnderACommaLocale) {
  const CommaLocale locale;
  if (!locale.available) {
    GTEST_SKIP() << "no locale with a comma can be made here";
  }
  std::string err;
  const Json value = Json::parse("[-1234567.25,0.1,1e-7,12345678901]", err);
  EXPECT_EQ(value[0].number_value(), -1234567.25);
  EXPECT_EQ(value.dump(),
            "[-1234567.25, 0.10000000000000001, 9.9999999999999995e-08, 12345678901]");
}

}  // namespace
}  // namespace zo_base::json11
