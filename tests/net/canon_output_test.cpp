#include "net/canon_output.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(StdStringCanonOutput, WritesBehindWhatIsThereAndGrows) {
  for (const size_t length : {size_t{0}, size_t{5}, size_t{15}, size_t{16}, size_t{500}}) {
    std::string text = "seed";
    url::StdStringCanonOutput out(text);
    EXPECT_EQ(out.length(), 4);
    EXPECT_EQ(text.size(), text.capacity());
    EXPECT_EQ(out.data(), text.data());
    for (size_t i = 0; i < length; ++i) {
      out.Append(static_cast<char>('a' + i % 26));
    }
    out.Complete();
    ASSERT_EQ(text.size(), 4 + length);
    EXPECT_EQ(text.substr(0, 6), std::string("seedab").substr(0, 4 + length));
    EXPECT_TRUE(length == 0 || text.back() == static_cast<char>('a' + (length - 1) % 26));
  }
}

// Counts capacity without having it.
class Hollow : public url::CanonOutputT<char> {
 public:
  explicit Hollow(int32_t full) { buffer_len = cur_len = full; }
  void Resize(int32_t new_len) override {
    buffer_len = new_len;
    buffer = &byte_;
    cur_len = 0;  // so that the write has a place
  }

 private:
  char byte_ = 0;
};

TEST(CanonOutput, DoublesItsCapacityAndStopsShortOfOneGibibyte) {
  const struct {
    int32_t full;
    int32_t capacity;
  } kCases[] = {{0, 32}, {1, 2}, {32, 64}, {(1 << 28), (1 << 29)}, {(1 << 29), (1 << 29)}};
  for (const auto& [full, capacity] : kCases) {
    Hollow out(full);
    out.Append('x');
    EXPECT_EQ(out.capacity(), capacity);
    EXPECT_EQ(out.length(), capacity == full ? full : 1);
  }
}

}  // namespace
