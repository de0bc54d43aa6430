#include <gtest/gtest.h>

#include <utility>

#include "fuzz/expect.h"
#include "tests/support/sanitizers.h"
#include "tests/support/small_inputs.h"

namespace net {
namespace {

// Passes all small texts of two alphabets to the fuzz target, where the system's parsers judge
// them. A difference ends the program.
TEST(IPLiteral, AgreesWithTheSystemOnAllSmallTexts) {
  const std::pair<std::vector<std::string>, size_t> kAlphabets[] = {
      {{"0", "9", "1.", "256.", "0xf.", ".", "x"}, 6}, {{":", "0", "abcd", "1:2:3", "1.2.3.4"}, 7}};
  for (const auto& [tokens, max_tokens] : kAlphabets) {
    ForAllTexts(tokens, max_tokens - (kSanitized ? 1 : 0), [](const std::string& text) {
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    });
  }
}

}  // namespace
}  // namespace net
