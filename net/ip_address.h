#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "net/url.h"
#include "sturdy/sturdy.h"

// IP addresses as texts and as bytes. The parsers take all numeric forms that hosts are written
// in, of IPv4 also 127.1, 0x7f.0.0.1, 0177.1, 2130706433 and "1.2.3.4.", and so decide the same as
// a system's resolver does about what needs no look-up.
// Threads: any, all functions are pure.
// Errors:  a text that doesn't parse answers false; outputs are changed on success only.
namespace net {

// An address in network order. Valid with 4 bytes (IPv4) or 16 (IPv6); empty at first.
using IPBytes = std::vector<uint8_t>;

struct IPEndpoint {
  IPBytes address;
  uint16_t port = 0;
};

enum class IPv4ParseResult {
  kNotAddress = 0,
  kBroken = 1,  // of the form of an address, but a number in it is too large
  kValid = 2,
};

// Whether `text` is an address of either family. Brackets go with IPv6 only, and needn't be there.
bool IsIPLiteral(std::string_view text);

// Sets `family` to that of the address.
bool GetIPFamily(std::string_view text, AddressFamily& family);

// Sets `family` as GetIPFamily does, and returns false in every case: callers preset `family` and
// read it alone.
bool FillIPFamily(std::string_view text, AddressFamily& family);

// Takes a text with a colon as IPv6, with any missing bracket added, and every other as IPv4.
bool ParseIPLiteral(std::string_view text, IPBytes& address);

// The range of `text`, split at dots. `component_count` counts the numbers that were written.
IPv4ParseResult ParseIPv4Text(const char* text, const url::URLRange& range, uint8_t (&address)[4],
                              int& component_count);

// The range of `text`, which must be in brackets. An IPv4 tail may have any form of ParseIPv4Text.
bool ParseIPv6Text(const char* text, const url::URLRange& range, uint8_t (&address)[16]);

AddressFamily AddressFamilyOf(const IPBytes& address);

// Four decimal numbers, or eight groups in lower case with the first of the longest runs of zero
// groups (two or more) written as "::". Empty for bytes that are no valid address.
std::string IPBytesToText(const IPBytes& address);

// "[address]", with each bracket that isn't there yet.
std::string InBrackets(const std::string& address);

// "[address]:port" for IPv6, otherwise "address:port".
std::string EndpointToText(const IPEndpoint& endpoint);

}  // namespace net
