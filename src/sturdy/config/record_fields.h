#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "sturdy/sturdy.h"

// Fields of a client's record, read as the plain bytes that they are: a client can hand over
// anything, and not every byte is a value of its field's type.
namespace zo_sturdy {

// A text that ends at its NUL, or at the end of its array.
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
