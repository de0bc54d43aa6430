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

// Counts capacity without having it: all that is written lands in one byte.
class Hollow : public url::CanonOutputT<char> {
 public:
  explicit Hollow(int32_t full) { buffer_len = cur_len = full; }
  void Resize(int32_t new_len) override {
    buffer_len = new_len;
    buffer = &byte_;
    cur_len = 0;
  }

 private:
  char byte_ = 0;
};

TEST(CanonOutput, DoublesItsCapacityAndStopsShortOfOneGibibyte) {
  const int32_t kSteps[][2] = {{0, 32}, {1, 2}, {1 << 28, 1 << 29}, {1 << 29, 1 << 29}};
  for (const auto& [full, capacity] : kSteps) {
    Hollow out(full);
    out.Append('x');
    EXPECT_EQ(out.capacity(), capacity);
    EXPECT_EQ(out.length(), capacity == full ? full : 1);
  }
}

}  // namespace
