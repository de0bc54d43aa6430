#include "net/ip_address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <string>
#include <vector>

#include "net/sock_addr.h"
#include "tests/support/small_inputs.h"

namespace net {
namespace {

// The text of the parsed address, "-" if there is none.
std::string Normal(const std::string& text) {
  IPBytes address{9};
  if (!ParseIPLiteral(text, address)) {
    EXPECT_EQ(address, IPBytes{9}) << text;
    return "-";
  }
  return IPBytesToText(address);
}

TEST(IPLiteral, Table) {
  const struct {
    std::string text, normal;
  } kCases[] = {
      {"", "-"},
      {".", "-"},
      {"..", "-"},
      {"1", "0.0.0.1"},
      {"1.", "0.0.0.1"},
      {"1..", "-"},
      {"1.2.3.4", "1.2.3.4"},
      {"1.2.3.4.", "1.2.3.4"},
      {"1.2.3.4..", "-"},
      {"1.2.3.4.5", "-"},
      {"1.2.772", "1.2.3.4"},
      {"127.1", "127.0.0.1"},
      {"2130706433", "127.0.0.1"},
      {"1.2.3.", "1.2.0.3"},
      {".1", "-"},
      {"1..2", "-"},
      {"256.1.1.1", "-"},
      {"1.2.3.256", "-"},
      {"0x7f.0.0.1", "127.0.0.1"},
      {"0X7F.1", "127.0.0.1"},
      {"0177.0.0.1", "127.0.0.1"},
      {"0x", "0.0.0.0"},
      {"00", "0.0.0.0"},
      {"08", "-"},
      {"0xx1", "-"},
      {"x1", "-"},
      {"4294967295", "255.255.255.255"},
      {"4294967296", "-"},
      {"1.16777215", "1.255.255.255"},
      {"1.16777216", "-"},
      {"0x00000000000000000000000001", "0.0.0.1"},
      {"18446744073709551617", "-"},
      {"99999999999999999999999999999999", "-"},
      {"cafe.bad", "-"},
      {"1.2.3.4 ", "-"},
      {" 1.2.3.4", "-"},
      {"-1", "-"},
      {"1.2.3.\xb4", "-"},
      {std::string("1.2.3.4\0", 8), "-"},
      {"[1.2.3.4]", "-"},
      {"example.org", "-"},
      {"[::1]", "::1"},
      {"::1", "::1"},
      {"[::1", "::1"},
      {"::1]", "::1"},
      {"[[::1]]", "-"},
      {"::", "::"},
      {":", "-"},
      {":::", "-"},
      {"[]:", "-"},
      {"1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"},
      {"1::2::3", "-"},
      {"1:2:3:4:5:6:7:8:9", "-"},
      {":1::2", "-"},
      {"1::2:", "-"},
      {"12345::", "-"},
      {"ABCD::0001", "abcd::1"},
      {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
      {"1:2:3:4:5:6:7:8::", "-"},
      {"::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8"},
      {"g::", "-"},
      {"::ffff:1.2.3.4", "::ffff:102:304"},
      {"::ffff:0x7f.1", "::ffff:7f00:1"},
      {"1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"},
      {"1:2:3:4:5:6:7:1.2.3.4", "-"},
      {"1:2:3:4:5::1.2.3.4", "1:2:3:4:5:0:102:304"},
      {"1:2:3:4:5:6::1.2.3.4", "-"},
      {"::1.2.3", "::102:3"},
      {"::1.2.3.256", "-"},
      {"::1.2:3", "-"},
      {"1.2.3.4::", "-"},
      {"fe80::1%1", "-"},
      {"::1 ", "-"},
  };
  for (const auto& [text, normal] : kCases) {
    EXPECT_EQ(Normal(text), normal) << text;
    AddressFamily family = static_cast<AddressFamily>(7);
    const AddressFamily expected = normal == "-"                           ? family
                                   : normal.find(':') == std::string::npos ? kIPFamilyV4
                                                                           : kIPFamilyV6;
    EXPECT_EQ(IsIPLiteral(text), normal != "-") << text;
    EXPECT_FALSE(FillIPFamily(text, family));
    EXPECT_EQ(family, expected) << text;
    family = static_cast<AddressFamily>(7);
    EXPECT_EQ(GetIPFamily(text, family), normal != "-");
    EXPECT_EQ(family, expected) << text;
  }
}

TEST(ParseIPv4Text, TellsBrokenFromForeignAndCounts) {
  const struct {
    std::string text;
    IPv4ParseResult result;
    int count;
  } kCases[] = {
      {"1.2.3.4.", IPv4ParseResult::kValid, 4},
      {"1.2.3.", IPv4ParseResult::kValid, 3},
      {"7", IPv4ParseResult::kValid, 1},
      {"256.1", IPv4ParseResult::kBroken, -1},
      {"1.1.65536", IPv4ParseResult::kBroken, -1},
      {"4294967296", IPv4ParseResult::kBroken, -1},
      {"4294967296.g", IPv4ParseResult::kNotAddress, -1},
      {"4294967296.08", IPv4ParseResult::kNotAddress, -1},
      {"", IPv4ParseResult::kNotAddress, -1},
  };
  for (const auto& [text, result, count] : kCases) {
    const std::string framed = "9" + text + "9";
    uint8_t address[4] = {};
    int found = -1;
    EXPECT_EQ(ParseIPv4Text(framed.data(), {1, static_cast<int32_t>(text.size())}, address, found),
              result)
        << text;
    EXPECT_EQ(found, count) << text;
  }
  uint8_t v6[16] = {};
  EXPECT_TRUE(ParseIPv6Text("x[::1]y", {1, 5}, v6));
  EXPECT_EQ(v6[15], 1);
  for (const url::URLRange range : {url::URLRange{2, 3}, {1, 4}, {1, 1}, {0, -1}, {5, 1}}) {
    EXPECT_FALSE(ParseIPv6Text("x[::1]y", range, v6)) << range.begin;
  }
}

// Left out: a dot at the end and "0x" without digits, which only ours takes.
TEST(IPLiteral, AgreesWithInetAton) {
  ForAllTexts({"0", "1", "9", "256", ".", "0xf", "x"}, 7, [](const std::string& text) {
    if (text.empty() || text.back() == '.' || text.back() == 'x' ||
        text.find("x.") != std::string::npos) {
      return;
    }
    in_addr system{};
    const bool valid = inet_aton(text.c_str(), &system) != 0;
    ASSERT_EQ(Normal(text), valid ? inet_ntoa(system) : "-") << text;
  });
}

// Left out: tails with octal numbers, which only ours takes.
TEST(IPLiteral, AgreesWithInetPton) {
  ForAllTexts({":", "0", "abcd", "1:2:3", "1.2.3.4"}, 8, [](const std::string& text) {
    if (text.find("01.2.3") != std::string::npos || text.find(':') == std::string::npos) {
      return;
    }
    in6_addr system{};
    const bool valid = inet_pton(AF_INET6, text.c_str(), &system) == 1;
    ASSERT_EQ(IsIPLiteral(text), valid) << text;
    if (valid) {
      char printed[INET6_ADDRSTRLEN];
      inet_ntop(AF_INET6, &system, printed, sizeof(printed));
      const std::string expected = printed;
      if (expected.find('.') == std::string::npos) {
        ASSERT_EQ(Normal(text), expected);
      }
    }
  });
}

TEST(Printing, ContractsTheFirstOfTheLongestRuns) {
  const struct {
    std::vector<uint8_t> lows;  // the low byte of each group
    std::string text;
  } kCases[] = {
      {{0, 0, 0, 0, 0, 0, 0, 0}, "::"},
      {{0, 0, 0, 0, 0, 0, 0, 1}, "::1"},
      {{1, 0, 0, 2, 0, 0, 0, 3}, "1:0:0:2::3"},
      {{1, 0, 0, 2, 3, 0, 0, 4}, "1::2:3:0:0:4"},
      {{1, 0, 2, 3, 4, 5, 6, 255}, "1:0:2:3:4:5:6:ff"},
      {{1, 2, 3, 4, 5, 6, 0, 0}, "1:2:3:4:5:6::"},
      {{0, 0, 1, 2, 3, 4, 5, 6}, "::1:2:3:4:5:6"},
  };
  for (const auto& [lows, text] : kCases) {
    IPBytes address;
    for (const uint8_t low : lows) {
      address.insert(address.end(), {0, low});
    }
    EXPECT_EQ(IPBytesToText(address), text);
    EXPECT_EQ(AddressFamilyOf(address), kIPFamilyV6);
    EXPECT_EQ(EndpointToText({address, 65535}), "[" + text + "]:65535");
  }
  EXPECT_EQ(EndpointToText({{255, 0, 10, 9}, 0}), "255.0.10.9:0");
  for (const size_t size : {0, 3, 5, 15, 17}) {
    EXPECT_EQ(IPBytesToText(IPBytes(size, 1)), "");
    EXPECT_EQ(AddressFamilyOf(IPBytes(size, 1)), kIPFamilyAny);
  }
  EXPECT_EQ(EndpointToText({{}, 8}), ":8");
}

TEST(SockAddr, ThereAndBackAndNeverPastTheBuffer) {
  sockaddr_storage storage{};
  auto* const address = reinterpret_cast<sockaddr*>(&storage);
  for (const size_t size : {4, 16}) {
    const IPEndpoint endpoint{IPBytes(size, 0xab), 0x1234};
    const socklen_t used = size == 4 ? 16 : 28;
    for (socklen_t length = 0; length <= 40; ++length) {
      storage = {};
      socklen_t out = length;
      ASSERT_EQ(EndpointToSockAddr(endpoint, address, out), length >= used);
      ASSERT_EQ(out, length >= used ? used : length);
      IPEndpoint back;
      EXPECT_FALSE(SockAddrToEndpoint(address, used - 1, back));
      ASSERT_EQ(SockAddrToEndpoint(address, out, back), length >= used);
      EXPECT_TRUE(length < used || (back.address == endpoint.address && back.port == 0x1234));
    }
  }
  EXPECT_EQ(storage.ss_family, AF_INET6);
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(&storage)[2], 0x12) << "network order";
  socklen_t length = sizeof(storage);
  EXPECT_FALSE(EndpointToSockAddr({{1, 2, 3}, 4}, address, length));
}

}  // namespace
}  // namespace net
