#include "net/ip_address.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "net/canon_output.h"

namespace net {
namespace {

constexpr size_t kV4Bytes = 4;
constexpr size_t kV6Bytes = 16;
constexpr size_t kV6Groups = 8;
constexpr size_t kV6TextBytes = 39;
constexpr uint64_t kPast32Bits = uint64_t{1} << 32;

// The values of hexadecimal digits. All other bytes have kNoDigit, which is larger than any base.
constexpr uint8_t kNoDigit = 0xff;
constexpr std::array<uint8_t, 256> kDigitValues = [] {
  std::array<uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (uint8_t digit = 0; digit < 10; ++digit) {
    values['0' + digit] = digit;
  }
  for (uint8_t digit = 10; digit < 16; ++digit) {
    values['a' + digit - 10] = digit;
    values['A' + digit - 10] = digit;
  }
  return values;
}();

uint8_t DigitValue(char c) {
  return kDigitValues[static_cast<unsigned char>(c)];
}

// An address of either family, without an allocation.
struct Literal {
  uint8_t bytes[kV6Bytes];
  AddressFamily family = kIPFamilyAny;  // "any" if the text is no address
};

// Reads one number of an IPv4 text up to the next dot or the end. Clamps numbers of more than 32
// bits to kPast32Bits. Returns false for an empty number and for a digit outside its base.
bool ReadV4Number(const char*& p, const char* end, uint64_t& number) {
  if (p == end || *p == '.') {
    return false;
  }
  unsigned base = 10;
  if (*p == '0' && p + 1 != end && p[1] != '.') {
    const bool hex = p[1] == 'x' || p[1] == 'X';
    base = hex ? 16 : 8;
    p += hex ? 2 : 1;
  }
  number = 0;
  for (; p != end && *p != '.'; ++p) {
    const unsigned digit = DigitValue(*p);
    if (digit >= base) {
      return false;
    }
    number = std::min(number * base + digit, kPast32Bits);
  }
  return true;
}

IPv4ParseResult ParseV4(const char* p, const char* end, uint8_t (&address)[kV4Bytes], int& count) {
  // Read up to four numbers between the dots.
  uint64_t numbers[kV4Bytes];
  size_t read = 0;
  if (p == end) {
    return IPv4ParseResult::kNotAddress;
  }
  while (p != end) {
    if (read == kV4Bytes || !ReadV4Number(p, end, numbers[read])) {
      return IPv4ParseResult::kNotAddress;
    }
    ++read;
    p += p != end ? 1 : 0;  // the dot; a last one is ignored
  }
  // The last number fills the remaining bytes.
  const size_t last = read - 1;
  uint64_t value = numbers[last];
  if (value >= kPast32Bits >> (8 * last)) {
    return IPv4ParseResult::kBroken;
  }
  for (size_t i = 0; i < last; ++i) {
    if (numbers[i] > 0xff) {
      return IPv4ParseResult::kBroken;
    }
    value |= numbers[i] << (8 * (kV4Bytes - 1 - i));
  }
  for (size_t i = 0; i < kV4Bytes; ++i) {
    address[i] = static_cast<uint8_t>(value >> (8 * (kV4Bytes - 1 - i)));
  }
  count = static_cast<int>(read);
  return IPv4ParseResult::kValid;
}

// Reads one group, or an IPv4 tail in place of the last groups, and appends it to the `written`
// bytes.
bool ReadV6Group(const char*& p, const char* end, uint8_t (&bytes)[kV6Bytes], size_t& written) {
  constexpr ptrdiff_t kMaxGroupDigits = 4;
  const char* const start = p;
  unsigned group = 0;
  for (; p != end; ++p) {
    const unsigned digit = DigitValue(*p);
    if (digit == kNoDigit) {
      break;
    }
    group = group << 4 | digit;
  }
  // A group.
  if (p == end || *p == ':') {
    if (p == start || p - start > kMaxGroupDigits || written == kV6Bytes) {
      return false;
    }
    bytes[written++] = static_cast<uint8_t>(group >> 8);
    bytes[written++] = static_cast<uint8_t>(group);
    return true;
  }
  // An IPv4 tail.
  uint8_t tail[kV4Bytes];
  int count = 0;
  if (written + kV4Bytes > kV6Bytes ||
      ParseV4(start, end, tail, count) != IPv4ParseResult::kValid) {
    return false;
  }
  std::memcpy(bytes + written, tail, kV4Bytes);
  written += kV4Bytes;
  p = end;
  return true;
}

// Parses the text between the brackets. Writes to `bytes` on failure too.
bool ParseV6(const char* p, const char* end, uint8_t (&bytes)[kV6Bytes]) {
  constexpr size_t kNone = kV6Bytes + 1;
  size_t written = 0;
  size_t contraction = kNone;  // the number of bytes before "::"
  if (end - p < 2) {
    return false;
  }
  if (p[0] == ':' && p[1] == ':') {
    contraction = 0;
    p += 2;
  }
  // Read the groups and note the contraction.
  while (p != end) {
    if (!ReadV6Group(p, end, bytes, written)) {
      return false;
    }
    if (p == end) {
      break;
    }
    ++p;
    if (p == end) {
      return false;
    }
    if (*p == ':') {
      if (contraction != kNone) {
        return false;
      }
      contraction = written;
      ++p;
    }
  }
  // Fill the contraction with zeros.
  if (contraction == kNone) {
    return written == kV6Bytes;
  }
  if (written + 2 > kV6Bytes) {
    return false;
  }
  std::copy_backward(bytes + contraction, bytes + written, bytes + kV6Bytes);
  std::fill_n(bytes + contraction, kV6Bytes - written, uint8_t{0});
  return true;
}

// Reads the form of nearly all addresses quickly: four decimal numbers without leading zeros. After
// false, try the parsers above.
bool ReadDottedQuad(const char* p, const char* end, uint8_t* address) {
  constexpr ptrdiff_t kMaxDigits = 3;
  for (size_t i = 0; i < kV4Bytes; ++i) {
    const char* const start = p;
    unsigned number = 0;
    while (p != end && *p >= '0' && *p <= '9' && p - start < kMaxDigits) {
      number = number * 10 + static_cast<unsigned>(*p++ - '0');
    }
    if (p == start || (*start == '0' && p - start > 1) || number > 0xff) {
      return false;
    }
    address[i] = static_cast<uint8_t>(number);
    if (i + 1 < kV4Bytes && (p == end || *p++ != '.')) {
      return false;
    }
  }
  return p == end;
}

Literal ReadLiteral(std::string_view text) {
  Literal literal;
  const char* begin = text.data();
  const char* end = begin + text.size();
  if (ReadDottedQuad(begin, end, literal.bytes)) {
    literal.family = kIPFamilyV4;
    return literal;
  }
  if (text.find(':') == std::string_view::npos) {
    uint8_t address[kV4Bytes];
    int count = 0;
    if (ParseV4(begin, end, address, count) == IPv4ParseResult::kValid) {
      std::memcpy(literal.bytes, address, kV4Bytes);
      literal.family = kIPFamilyV4;
    }
    return literal;
  }
  begin += *begin == '[' ? 1 : 0;
  end -= end[-1] == ']' ? 1 : 0;
  if (ParseV6(begin, end, literal.bytes)) {
    literal.family = kIPFamilyV6;
  }
  return literal;
}

// A run of zero groups of an IPv6 address.
struct Run {
  size_t begin = 0;
  size_t length = 0;
};

// Returns the first of the longest runs of two groups or more; an empty run if there is none.
Run LongestZeroRun(const uint16_t (&groups)[kV6Groups]) {
  Run longest;
  Run current;
  for (size_t i = 0; i < kV6Groups; ++i) {
    if (groups[i] != 0) {
      current = {i + 1, 0};
    } else if (++current.length > longest.length) {
      longest = current;
    }
  }
  return longest.length >= 2 ? longest : Run();
}

void AppendNumber(url::CanonOutputT<char>& out, unsigned number, unsigned base) {
  if (number >= base) {
    AppendNumber(out, number / base, base);
  }
  out.Append("0123456789abcdef"[number % base]);
}

void AppendV4(url::CanonOutputT<char>& out, const IPBytes& address) {
  for (size_t i = 0; i < kV4Bytes; ++i) {
    if (i != 0) {
      out.Append('.');
    }
    AppendNumber(out, address[i], 10);
  }
}

void AppendV6(url::CanonOutputT<char>& out, const IPBytes& address) {
  uint16_t groups[kV6Groups];
  for (size_t i = 0; i < kV6Groups; ++i) {
    groups[i] = static_cast<uint16_t>(address[2 * i] << 8 | address[2 * i + 1]);
  }
  const Run zeros = LongestZeroRun(groups);
  for (size_t i = 0; i < kV6Groups;) {
    if (zeros.length != 0 && i == zeros.begin) {
      out.Append(':');
      out.Append(':');
      i += zeros.length;
      continue;
    }
    if (i != 0 && (zeros.length == 0 || i != zeros.begin + zeros.length)) {
      out.Append(':');
    }
    AppendNumber(out, groups[i++], 16);
  }
}

}  // namespace

bool IsIPLiteral(std::string_view text) {
  return ReadLiteral(text).family != kIPFamilyAny;
}

bool IsURLHost(const std::string& text) {
  return IsIPLiteral(text) ||
         (!text.empty() && url::GetURLHost("https://" + text + "/", true) == text);
}

bool GetIPFamily(std::string_view text, AddressFamily& family) {
  const AddressFamily found = ReadLiteral(text).family;
  if (found == kIPFamilyAny) {
    return false;
  }
  family = found;
  return true;
}

bool FillIPFamily(std::string_view text, AddressFamily& family) {
  GetIPFamily(text, family);
  return false;
}

bool ParseIPLiteral(std::string_view text, IPBytes& address) {
  const Literal literal = ReadLiteral(text);
  if (literal.family == kIPFamilyAny) {
    return false;
  }
  const size_t size = literal.family == kIPFamilyV4 ? kV4Bytes : kV6Bytes;
  address.assign(literal.bytes, literal.bytes + size);
  return true;
}

IPv4ParseResult ParseIPv4Text(const char* text, const url::URLRange& range, uint8_t (&address)[4],
                              int& component_count) {
  if (range.len <= 0) {
    return IPv4ParseResult::kNotAddress;
  }
  const char* const begin = text + range.begin;
  return ParseV4(begin, begin + range.len, address, component_count);
}

bool ParseIPv6Text(const char* text, const url::URLRange& range, uint8_t (&address)[16]) {
  const char* const begin = text + range.begin;
  uint8_t bytes[kV6Bytes];
  if (range.len < 2 || begin[0] != '[' || begin[range.len - 1] != ']' ||
      !ParseV6(begin + 1, begin + range.len - 1, bytes)) {
    return false;
  }
  std::copy(std::begin(bytes), std::end(bytes), address);
  return true;
}

AddressFamily AddressFamilyOf(const IPBytes& address) {
  if (address.size() == kV4Bytes) {
    return kIPFamilyV4;
  }
  return address.size() == kV6Bytes ? kIPFamilyV6 : kIPFamilyAny;
}

std::string IPBytesToText(const IPBytes& address) {
  std::string text;
  const AddressFamily family = AddressFamilyOf(address);
  if (family == kIPFamilyV6) {
    text.reserve(kV6TextBytes);
  }
  url::StdStringCanonOutput out(text);
  if (family == kIPFamilyV4) {
    AppendV4(out, address);
  } else if (family == kIPFamilyV6) {
    AppendV6(out, address);
  }
  out.Complete();
  return text;
}

std::string InBrackets(const std::string& address) {
  std::string text = address;
  if (text.empty() || text.front() != '[') {
    text.insert(text.begin(), '[');
  }
  if (text.back() != ']') {
    text.push_back(']');
  }
  return text;
}

std::string EndpointToText(const IPEndpoint& endpoint) {
  const std::string address = IPBytesToText(endpoint.address);
  const std::string port = std::to_string(endpoint.port);
  if (AddressFamilyOf(endpoint.address) == kIPFamilyV6) {
    return InBrackets(address) + ":" + port;
  }
  return address + ":" + port;
}

}  // namespace net
