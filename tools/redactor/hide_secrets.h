#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace redactor {

inline constexpr std::string_view kRedacted = "[redacted]";

struct Hidden {
  std::string text;               // without its secrets
  std::vector<std::string> keys;  // of the application, as the text had them
};

// Hides the secrets that a text shows by what is around them. Redactor says which these are.
// Threads: any.
// Errors:  none; any bytes have a result.
Hidden HideSecrets(std::string_view text);

}  // namespace redactor
