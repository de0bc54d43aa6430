#include "tools/redactor/secret_names.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace redactor {

namespace {

// The end of the names whose values are secrets. A plural counts as well.
constexpr std::string_view kSecretNames[] = {
    "appkey", "apikey", "secretkey", "accesskey",  "privatekey",    "token",  "secret",
    "passwd", "pwd",    "password",  "passphrase", "authorization", "cookie", "credential"};

}  // namespace

std::string PlainName(std::string_view name) {
  std::string plain;
  for (const char c : name) {
    if (c != '-' && c != '_') {
      plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return plain;
}

bool IsSecretName(std::string_view plain) {
  if (plain.ends_with('s')) {
    plain.remove_suffix(1);
  }
  return std::any_of(std::begin(kSecretNames), std::end(kSecretNames),
                     [&](std::string_view secret) { return plain.ends_with(secret); });
}

}  // namespace redactor
