#include "net/ip_address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstring>
#include <map>
#include <string>
#include <utility>
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

TEST(IPLiteral, Refused) {
  std::vector<std::string> texts = Words(
      ". 1.. 1..2 .1 1.2.3.4.. 1.2.3.4.5 256.1.1.1 1.2.3.256 08 0xx1 x1 4294967296 1.16777216 "
      "18446744073709551617 cafe.bad -1 1.2.3.\xb4 [1.2.3.4] example.org "
      "99999999999999999999999999999999 [[::1]] : ::: []: 1::2::3 1::2: 1:2:3:4:5:6:7:8:9 "
      ":1::2 12345:: 1:2:3:4:5:6:7:8:: g:: ::1.2.3.256 1:2:3:4:5:6:7:1.2.3.4 "
      "1:2:3:4:5:6::1.2.3.4 ::1.2:3 1.2.3.4:: fe80::1%1");
  texts.insert(texts.end(), {"", "1.2.3.4 ", " 1.2.3.4", "::1 ", std::string("1.2.3.4\0", 8)});
  for (const std::string& text : texts) {
    auto family = static_cast<AddressFamily>(7);
    EXPECT_EQ(Normal(text), "-") << text;
    EXPECT_FALSE(IsIPLiteral(text) || GetIPFamily(text, family) || FillIPFamily(text, family));
    EXPECT_EQ(family, 7);
  }
}

TEST(IPLiteral, Accepted) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> kForms = {
      {"0.0.0.0", {"0", "00", "0x", "0.0x0.00", "0.0.0.0."}},
      {"0.0.0.1", {"1", "1.", "0x00000000000000000000000001"}},
      {"1.2.3.4", {"1.2.3.4", "1.2.3.4.", "1.2.772", "1.0x2.03.4", "001.2.3.4"}},
      {"1.2.0.3", {"1.2.3."}},
      {"127.0.0.1", {"127.1", "2130706433", "0x7f.0.0.1", "0X7F.1", "0177.0.0.1"}},
      {"1.255.255.255", {"1.16777215", "1.255.65535"}},
      {"255.255.255.255", {"4294967295", "0xFFFFFFFF", "255.255.255.255"}},
      {"::1", {"::1", "[::1]", "[::1", "::1]", "0::0:1", "::0.0.0.1"}},
      {"::", {"::", "[::]", "0::"}},
      {"1:2:3:4:5:6:7:8", {"1:2:3:4:5:6:7:8", "0001:2:3:4:5:6:7:8"}},
      {"abcd::1", {"ABCD::0001"}},
      {"1:2:3:4:5:6:7:0", {"1:2:3:4:5:6:7::"}},
      {"0:2:3:4:5:6:7:8", {"::2:3:4:5:6:7:8"}},
      {"::ffff:102:304", {"::ffff:1.2.3.4", "::FFFF:0x1.0x20304", "::ffff:1.2.772."}},
      {"1:2:3:4:5:6:102:304", {"1:2:3:4:5:6:1.2.3.4"}},
      {"1:2:3:4:5:0:102:304", {"1:2:3:4:5::1.2.3.4"}}};
  for (const auto& [normal, texts] : kForms) {
    const AddressFamily expected = normal.find(':') == normal.npos ? kIPFamilyV4 : kIPFamilyV6;
    for (const std::string& text : texts) {
      AddressFamily family = kIPFamilyAny;
      AddressFamily filled = kIPFamilyAny;
      EXPECT_EQ(Normal(text), normal) << text;
      EXPECT_TRUE(IsIPLiteral(text) && GetIPFamily(text, family)) << text;
      EXPECT_FALSE(FillIPFamily(text, filled));
      EXPECT_TRUE(family == expected && filled == expected) << text;
    }
  }
}

TEST(Ranges, TellBrokenFromForeignAndCount) {
  uint8_t v4[4] = {};
  uint8_t v6[16] = {};
  const auto judge = [&v4](const std::string& text) {
    int count = 0;
    const auto result =
        ParseIPv4Text(("9" + text + "9").data(), {1, static_cast<int32_t>(text.size())}, v4, count);
    return static_cast<int>(result) * 10 + count;
  };
  for (const auto& [texts, expected] : std::map<std::vector<std::string>, int>{
           {{"1.2.3.4", "1.2.3.4."}, 24},
           {{"1.2.3", "1.2.3."}, 23},
           {{"7"}, 21},
           {{"256.1", "1.1.65536", "4294967296"}, 10},
           {{"", "4294967296.g", "4294967296.08", "256..1"}, 0}}) {
    for (const std::string& text : texts) {
      EXPECT_EQ(judge(text), expected) << text;
    }
  }
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

// Left out: octal numbers in a tail, which only ours takes, and texts that the system prints with a
// tail.
TEST(IPLiteral, AgreesWithInetPton) {
  ForAllTexts({":", "0", "abcd", "1:2:3", "1.2.3.4"}, 8, [](const std::string& text) {
    if (text.find("01.2.3") != std::string::npos || text.find(':') == std::string::npos) {
      return;
    }
    in6_addr system{};
    const bool valid = inet_pton(AF_INET6, text.c_str(), &system) == 1;
    ASSERT_EQ(IsIPLiteral(text), valid) << text;
    char printed[INET6_ADDRSTRLEN] = "-";
    if (valid && inet_ntop(AF_INET6, &system, printed, sizeof(printed)) != nullptr &&
        std::strchr(printed, '.') == nullptr) {
      ASSERT_EQ(Normal(text), printed);
    }
  });
}

TEST(Printing, ContractsTheFirstOfTheLongestRuns) {
  const IPBytes address = {0, 1, 0, 0, 0, 0, 0, 2, 0, 3, 0, 0, 0, 0, 0xab, 0xcd};
  EXPECT_EQ(EndpointToText({address, 65535}), "[1::2:3:0:0:abcd]:65535");
  EXPECT_EQ(EndpointToText({{255, 0, 10, 9}, 0}), "255.0.10.9:0");
  for (const size_t size : {0, 3, 5, 15, 17}) {
    EXPECT_EQ(EndpointToText({IPBytes(size, 1), 8}), ":8");
    EXPECT_EQ(AddressFamilyOf(IPBytes(size, 1)), kIPFamilyAny);
  }
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
