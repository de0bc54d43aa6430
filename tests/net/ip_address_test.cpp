#include "net/ip_address.h"

#include <gtest/gtest.h>

#include "net/platform/sock_addr.h"
#include "tests/support/small_inputs.h"

namespace net {
namespace {

// Returns the text of the parsed address, or "-" if there is none.
std::string Normal(const std::string& text) {
  IPBytes address{9};
  if (!ParseIPLiteral(text, address)) {
    EXPECT_EQ(address, IPBytes{9}) << text;
    return "-";
  }
  return IPBytesToText(address);
}

void ExpectNormal(const std::string& text, const std::string& normal) {
  constexpr auto kUnset = static_cast<AddressFamily>(7);
  const AddressFamily expected = normal == "-"                           ? kUnset
                                 : normal.find(':') == std::string::npos ? kIPFamilyV4
                                                                         : kIPFamilyV6;
  AddressFamily family = kUnset;
  AddressFamily filled = kUnset;
  EXPECT_EQ(Normal(text), normal) << text;
  EXPECT_EQ(IsIPLiteral(text), normal != "-") << text;
  EXPECT_EQ(GetIPFamily(text, family), normal != "-") << text;
  EXPECT_FALSE(FillIPFamily(text, filled));
  EXPECT_TRUE(family == expected && filled == expected) << text;
}

// Each line has an address in its normal form, or "-" for none, and then texts that mean it.
TEST(IPLiteral, HasAllNumericForms) {
  for (const std::string line :
       {"- 1.2.3.4.. 1.2.3.4.5 4294967296 1.16777216 1.2.65536 256.1.1.1 1.2.3.256 0xx1 cafe.bad "
        "-1",
        "- 18446744073709551617 1.2.3.\xb4 [1.2.3.4] example.org [[::1]] []: g:: 12345:: ::1.2:3",
        "- ::1.2.3.256 fe80::1%1 1.2.3.4::1 ::1.2.3.4:1 ::1.2.3.4::",
        "0.0.0.0 0x 0.0x0.00 0.0.0.0.", "0.0.0.1 1. 0x00000000000000000000000001", "1.2.0.3 1.2.3.",
        "1.2.3.4 1.2.3.4 1.2.3.4. 1.0x2.03.4 001.2.3.4", "1.255.255.255 1.16777215 1.255.65535",
        "127.0.0.1 2130706433 0x7f.0.0.1 0X7F.1",
        "255.255.255.255 4294967295 0xFFFFFFFF 255.255.255.255", "::1 ::1 [::1] [::1 ::1]",
        "abcd::1 ABCD::0001", "::ffff:102:304 ::FFFF:0x1.0x20304 ::ffff:1.2.772.",
        "1:2:3:4:5:6:102:304 1:2:3:4:5:6:1.2.3.4"}) {
    const std::vector<std::string> words = Words(line);
    for (const std::string& text : words) {
      ExpectNormal(text, words.front());
    }
  }
  for (const std::string& text :
       {std::string(), std::string("1.2.3.4\0", 8), std::string(" 1.2.3.4"), std::string("::1 ")}) {
    ExpectNormal(text, "-");
  }
}

TEST(Printing, ContractsTheFirstOfTheLongestRuns) {
  const IPBytes address = {0, 1, 0, 0, 0, 0, 0, 2, 0, 3, 0, 0, 0, 0, 0xab, 0xcd};
  EXPECT_EQ(EndpointToText({address, 65535}), "[1::2:3:0:0:abcd]:65535");
  EXPECT_EQ(EndpointToText({{255, 0, 10, 9}, 0}), "255.0.10.9:0");
  for (const size_t size : {0, 3, 5, 15, 17}) {
    EXPECT_EQ(EndpointToText({IPBytes(size, 1), 8}), ":8");
  }
}

TEST(SockAddr, ConvertsWithinTheBuffer) {
  uint8_t buffer[64];
  for (const auto& [size, used] : {std::pair{4U, size_t{16}}, {16U, 28}}) {
    const IPEndpoint endpoint{IPBytes(size, 0xab), 0x1234};
    for (const size_t length : {size_t{0}, used - 1, used, used + 9}) {
      size_t out = length;
      EXPECT_EQ(EndpointToSockAddr(endpoint, buffer + 1, out), length >= used);
      EXPECT_EQ(out, length >= used ? used : length);
    }
    IPEndpoint back;
    EXPECT_FALSE(SockAddrToEndpoint(buffer + 1, used - 1, back));
    EXPECT_EQ(buffer[3], 0x12) << "network order";
  }
  size_t length = sizeof(buffer);
  EXPECT_FALSE(EndpointToSockAddr({{1, 2, 3}, 4}, buffer, length));
}

}  // namespace
}  // namespace net
