#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fuzz/expect.h"
#include "tests/support/sanitizers.h"
#include "tests/support/small_inputs.h"

// Passes all small texts of several alphabets to the fuzz target, where a second parser judges
// them. A difference ends the program.
TEST(Agreement, OnAllSmallTexts) {
  const struct {
    std::vector<std::string> tokens;
    size_t max_tokens;
    std::string quote{};
  } kAlphabets[] = {{{"{", "}", "[", "]", ",", ":", "\"k\"", "1", "null", " "}, 5},
                    {{"[", ",2", "]", "{\"k\":", "}", ",\"l\":", "1"}, 6},
                    {{"0", "1", "-", "+", ".", "e", "23456789"}, 6},
                    {{"/", "*", "\n", "1", "[", "]", "//", "/*", "*/"}, 5},
                    {{"\\u00E9", "\\u0000", "\\n", "\\", "\"", "u12", "\t", "x"}, 5, "\""}};
  for (const auto& alphabet : kAlphabets) {
    // Under the sanitizers, leaves out the longest texts.
    ForAllTexts(
        alphabet.tokens, alphabet.max_tokens - (kSanitized ? 1 : 0), [&](const std::string& inner) {
          const std::string text = alphabet.quote + inner + alphabet.quote;
          LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(text.data()), text.size());
        });
  }
}
