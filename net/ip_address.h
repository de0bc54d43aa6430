#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "net/url.h"
#include "sturdy/sturdy.h"

// Converts IP addresses between text and bytes. The parsers accept all numeric forms of a host, for
// IPv4 also 127.1, 0x7f.0.0.1, 0177.1, 2130706433 and "1.2.3.4.". So they agree with the system's
// resolver about which hosts need no look-up.
// Threads: any, all functions are pure.
// Errors:  a function returns false for a text that doesn't parse, and leaves its outputs
// unchanged.
namespace net {

// An address in network order: 4 bytes (IPv4) or 16 (IPv6). Any other size is invalid.
using IPBytes = std::vector<uint8_t>;

struct IPEndpoint {
  IPBytes address;
  uint16_t port = 0;
};

enum class IPv4ParseResult {
  kNotAddress = 0,
  kBroken = 1,  // has the form of an address, but a number is too large
  kValid = 2,
};

// Returns whether `text` is an address of either family. IPv6 may have brackets.
bool IsIPLiteral(std::string_view text);

// Returns whether a URL of the scheme "https" that is made with `text` has it as its host, or as
// its host and port. An IPv6 address may lack its brackets.
bool IsURLHost(const std::string& text);

// Sets `family` to the address's family.
bool GetIPFamily(std::string_view text, AddressFamily& family);

// Sets `family` as GetIPFamily does, but always returns false: callers preset `family` and ignore
// the result.
bool FillIPFamily(std::string_view text, AddressFamily& family);

// Reads a text with a colon as IPv6, with or without brackets, and any other text as IPv4.
bool ParseIPLiteral(std::string_view text, IPBytes& address);

// The two parsers of ParseIPLiteral, for a range of a URL's text.

// Sets `component_count` to how many numbers the text has.
IPv4ParseResult ParseIPv4Text(const char* text, const url::URLRange& range, uint8_t (&address)[4],
                              int& component_count);

// Requires brackets. An IPv4 tail may have any form of ParseIPv4Text.
bool ParseIPv6Text(const char* text, const url::URLRange& range, uint8_t (&address)[16]);

// Returns kIPFamilyAny for an invalid address.
AddressFamily AddressFamilyOf(const IPBytes& address);

// Returns four decimal numbers, or eight groups in lower case with the first of the longest runs of
// zero groups (two or more) written as "::". Returns an empty text for an invalid address.
std::string IPBytesToText(const IPBytes& address);

// Returns "[address]": adds each missing bracket.
std::string InBrackets(const std::string& address);

// Returns "[address]:port" for IPv6, otherwise "address:port".
std::string EndpointToText(const IPEndpoint& endpoint);

}  // namespace net
