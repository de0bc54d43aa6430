#pragma once

#include <cstdint>
#include <string>

// Writes and reads JSON's strings, characters and numbers, in any locale.
// Threads: any. Errors: none.
namespace zo_base::json11 {

// Appends `text` in quotes. Escapes what JSON requires, and the two line separators that JavaScript
// sources can't contain.
void AppendQuoted(std::string& out, const std::string& text);

void AppendInteger(std::string& out, long long value);

// Appends what printf's "%.17g" prints in the C locale, or "null" if the value isn't finite.
void AppendDouble(std::string& out, double value);

// Returns the double nearest to a number, as strtod does in the C locale: infinity above the
// largest, zero below the smallest. Requires: [first, last) is a number in JSON's grammar.
double DecimalToDouble(const char* first, const char* last);

// Appends a code point as UTF-8: a lone surrogate like any character, -1 as nothing.
void AppendUtf8(std::string& out, int32_t point);

// Returns a character as error texts show it: "'%c' (%d)", or "(%d)" for control characters and for
// bytes from 0x80 up, which are negative.
std::string DescribeCharacter(char c);

}  // namespace zo_base::json11
