#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "sturdy/sturdy.h"

// Reads fields of a client's record as bytes: a client can pass any byte, also one that isn't a
// value of the field's type.
namespace zo_sturdy {

// Returns the text up to its NUL or the end of its array.
template <size_t kSize>
std::string FieldText(const char (&field)[kSize]) {
  const void* end = std::memchr(field, 0, kSize);
  return std::string(field, end ? static_cast<const char*>(end) - field : kSize);
}

// Every byte but 0 counts as true. Reading such a byte as a bool would be undefined.
inline bool FieldFlag(const bool& field) {
  unsigned char byte = 0;
  std::memcpy(&byte, &field, sizeof(byte));
  return byte != 0;
}

inline int32_t FieldFamily(const net::AddressFamily& field) {
  int32_t number = 0;
  std::memcpy(&number, &field, sizeof(number));
  return number;
}

}  // namespace zo_sturdy
