#pragma once

#include <string>
#include <string_view>

namespace redactor {

// Returns a name in lower case and without '-' and '_'.
std::string PlainName(std::string_view name);

// Returns whether the value of a member, a header or a form with this plain name is a secret.
bool IsSecretName(std::string_view plain);

}  // namespace redactor
