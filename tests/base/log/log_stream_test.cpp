#include "base/log/log_stream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "base/log/source_location.h"
#include "tests/support/comma_locale.h"

namespace zo_base {
namespace {

template <typename T>
void SameAsAStream(T value) {
  std::ostringstream wanted;
  wanted.imbue(std::locale::classic());
  wanted << value;
  LogStream stream;
  stream.AppendNumber(value);
  EXPECT_EQ(stream.text(), wanted.str());
}

template <typename... Types>
void SameAtTheLimitsOfEach() {
  const auto same = []<typename T>(std::numeric_limits<T> of) {
    for (const T value : {T{}, T{1}, T{65}, of.min(), of.max(), of.lowest()}) {
      SameAsAStream(value);
    }
  };
  (same(std::numeric_limits<Types>()), ...);
}

enum Plain { kPlain = 7 };

TEST(LogStreamTest, PrintsNumbersAsAClassicStreamDoes) {
  const CommaLocale comma;
  SameAtTheLimitsOfEach<char, signed char, unsigned char, short, unsigned short, int, unsigned,
                        long, unsigned long, long long, unsigned long long, float, double>();
  for (const double value : {0.1, -0.0, 1.0 / 3, 100000.0, 999999.5, 1234567.5, 1e-4, 1e-5, 1e100,
                             std::numeric_limits<double>::infinity(), std::nan("")}) {
    SameAsAStream(value);
    SameAsAStream(static_cast<float>(value));
  }
  SameAsAStream(kPlain);
}

TEST(LogStreamTest, PrintsLongDoublesAsAClassicStreamDoes) {
  const CommaLocale comma;
  SameAtTheLimitsOfEach<long double>();
  SameAsAStream(1.0L / 3);
}

TEST(LogStreamTest, MarksNullAndEmptyTexts) {
  LogStream stream;
  stream.AppendText(nullptr);
  stream.AppendText("");
  stream.AppendText("text");
  stream.AppendBool(false);
  EXPECT_EQ(stream.text(), "null ptr !empty string !textfalse");
}

constexpr bool HasBaseName(const char* path, std::string_view name) {
  return path + BaseNameOffset(path) == name;
}
static_assert(HasBaseName("a/b/c.cpp", "c.cpp") && HasBaseName("D:\\a/b\\c.cpp", "c.cpp") &&
              HasBaseName("c.cpp", "c.cpp") && HasBaseName("a/", ""));

}  // namespace
}  // namespace zo_base
