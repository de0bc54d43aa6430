#pragma once

#include <cstdint>
#include <string>

// JSON's texts of strings, characters and numbers. Nothing here depends on the process's locale.
// Threads: any. Errors: none.
namespace zo_base::json11 {

// Appends `text` in quotes, with the escapes that JSON demands and those of the two line
// separators that JavaScript sources can't hold.
void AppendQuoted(std::string& out, const std::string& text);

void AppendInteger(std::string& out, long long value);

// Appends what printf's "%.17g" prints in the C locale, or "null" if the value isn't finite.
void AppendDouble(std::string& out, double value);

// The double nearest to a number in JSON's grammar, as strtod has it in the C locale: infinity
// past the largest, zero below the smallest. Requires: [first, last) is such a number.
double DecimalToDouble(const char* first, const char* last);

// Appends a code point as UTF-8: a lone surrogate as if it were a character, -1 as nothing.
void AppendUtf8(std::string& out, int32_t point);

// A character as error texts show it: "'%c' (%d)", and bytes that are no ASCII text (those from
// 0x80 up are negative) as "(%d)".
std::string DescribeCharacter(char c);

}  // namespace zo_base::json11
