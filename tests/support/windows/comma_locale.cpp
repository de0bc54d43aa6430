#include "tests/support/comma_locale.h"

#include <clocale>

CommaLocale::CommaLocale() : available(std::setlocale(LC_NUMERIC, "German") != nullptr) {}

CommaLocale::~CommaLocale() {
  std::setlocale(LC_NUMERIC, "C");
}
