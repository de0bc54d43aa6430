#include "net/canon_output.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(StdStringCanonOutput, WritesBehindWhatIsThereAndGrows) {
  std::string expected = "seed";
  for (size_t length = 0; length < 200; ++length) {
    std::string text = "seed";
    url::StdStringCanonOutput out(text);
    for (size_t i = 0; i < length; ++i) {
      out.Append(static_cast<char>('a' + i % 26));
    }
    out.Complete();
    ASSERT_EQ(text, expected);
    expected += static_cast<char>('a' + length % 26);
  }
}

}  // namespace
