#include "src/sturdy/http_agent/http_dns/host_cache.h"

#include <limits>

#include "tests/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HostCacheTest : public DnsTest {
 protected:
  int Check(const std::string& host, int family = 0) {
    ips.clear();
    return static_cast<int>(cache.CheckHost(static_cast<net::AddressFamily>(family), host, ips));
  }
  HostCache cache;
  std::vector<std::string> ips;
};

TEST_F(HostCacheTest, AnEntryIsFreshThenStaleThenMissing) {
  cache.UpdateHost("h", now, 100000, {"1.1.1.1"}, {}, false);
  const std::vector<std::pair<int64_t, int>> states = {{0, 1},     {74999, 1}, {75000, 2},
                                                       {89999, 2}, {90000, 3}, {-1, 3}};
  for (const auto& [offset_ms, state] : states) {
    clock.SetWall(now + offset_ms);
    EXPECT_EQ(Check("h"), state) << offset_ms;
  }
  clock.SetWall(now);
  for (const int ttl_ms : {0, 1, -1000, std::numeric_limits<int>::min()}) {
    cache.UpdateHost("short", now, ttl_ms, {"1.1.1.1"}, {}, false);
    EXPECT_EQ(Check("short"), 3) << ttl_ms;
  }
  constexpr int64_t kEnd = std::numeric_limits<int64_t>::max();
  cache.UpdateHost("last", kEnd, std::numeric_limits<int>::max(), {"1.1.1.1"}, {}, false);
  EXPECT_EQ(cache.GetEntries()["last"].refresh_time, kEnd);
}

TEST_F(HostCacheTest, AnEntryWithoutAddressesOfTheFamilyIsMissing) {
  EXPECT_EQ(Check("h"), 3);
  cache.UpdateHost("h", now, 100000, {"1.1.1.1", "", "2 2", "\xe2\x80\xa8", "\x7f", "2.2.2.2"}, {},
                   false);
  EXPECT_EQ(Check("h", net::kIPFamilyV6), 3);
  cache.UpdateHost("h", now + 5, 100000, {}, {"[::1]", std::string(65, '1')}, false);
  EXPECT_EQ(cache.GetEntries()["h"].updated_at, now + 5);
  clock.Advance(5);
  EXPECT_EQ(Check("h", net::kIPFamilyV4), 1);
  EXPECT_THAT(ips, ElementsAre("1.1.1.1", "2.2.2.2"));
  EXPECT_EQ(Check("h", net::kIPFamilyV6), 1);
  EXPECT_THAT(ips, ElementsAre("[::1]"));
  EXPECT_EQ(Check("h", 7), 1);
  EXPECT_THAT(ips, ElementsAre("1.1.1.1", "2.2.2.2", "[::1]"));
}

TEST_F(HostCacheTest, AddressesFitTheClientsBuffer) {
  using zo_base::json11::Json;
  for (const std::string text : {"1", R"("\)"}) {
    cache.UpdateHost("h", now, 9, std::vector<std::string>(250000, text), {}, false);
    cache.UpdateHost("h", now, 9, {}, std::vector<std::string>(250000, "[" + text + "]"), false);
    const HostEntry entry = cache.GetEntries()["h"];
    const Json::array ipv4(entry.ipv4.begin(), entry.ipv4.end());
    const Json::array ipv6(entry.ipv6.begin(), entry.ipv6.end());
    const Json json =
        Json::object{{"code", 200}, {"data", Json::object{{"ipv4", ipv4}, {"ipv6", ipv6}}}};
    EXPECT_LT(json.dump().size(), kQueryHostBufferSize);
    EXPECT_GT(json.dump().size(), kQueryHostBufferSize - 1000);
  }
}

TEST_F(HostCacheTest, TheFileStaysShortEnoughToLoad) {
  const auto apply = [&](const std::string& data) {
    manager->ApplyHostResponse("", R"({"code": 200, "data": {)" + data + R"("": {}}})");
  };
  manager->LoadHostCache();
  apply(R"("k1": {"ip": ["1.1.1.1"]}, "k2": {"ip": ["1.1.1.1"]}, "k3": {"ip": ["1.1.1.1"]}, )");
  std::string escaped;
  for (int i = 0; i < 100; ++i) {
    escaped += "\\u0001";
  }
  for (int answer = 0; answer < 3; ++answer) {
    std::string names;
    for (int i = 0; i < 10000; ++i) {
      names += "\"" + std::to_string(i) + "." + std::to_string(answer) + escaped + "\": {}, ";
    }
    apply(names);
  }
  for (const char* known : {"k1", "k2", "k3"}) {
    manager->HostsForTest().UpdateHost(
        known, now, 9000, std::vector<std::string>(7900, std::string(64, '"')), {}, false);
  }
  apply(R"("k3": {"ip": ["2.2.2.2"]}, )");
  EXPECT_GT(ReadCache("http_dns_cache.data").size(), kMaxNewHostsBytes);
  NewManager();
  manager->LoadHostCache();
  auto entries = manager->HostsForTest().GetEntries();
  EXPECT_EQ(entries.count("0.0" + std::string(100, '\x01')), 1U);
  EXPECT_THAT(entries["k3"].ipv4, ElementsAre("2.2.2.2"));
}

TEST_F(HostCacheTest, AnEntryFromTheDiskGetsAShortLease) {
  struct Case {
    const char* expired_time;  // relative to now; raw if it begins with a quote or is no number
    int ttl, refresh_ms, expires_ms;
  };
  const std::string list = R"(\"ipv4\": [\"1.1.1.1\", 5], \"ipv6\": [\"::2\"]}")";
  const std::vector<Case> cases = {
      {"600000", 300000, 225000, 270000}, {"300001", 300000, 225000, 270000},
      {"3000", 3000, 2250, 2700},         {"2999", 3000, 0, 2700},
      {"-999999", 3000, 0, 2700},         {"x", 3000, 0, 2700},
      {"-1e300", 3000, 0, 2700},          {"1e999", 300000, 225000, 270000}};
  std::string text = R"({"no object": "[]", "no text": 5)";
  for (const Case& one : cases) {
    const std::string stated = one.expired_time;
    const bool raw = stated.find('e') != std::string::npos;
    const std::string value = raw ? stated : std::to_string(now + std::atoll(stated.c_str()));
    text += R"(, ")" + stated + R"(": "{\"ttl\": 1, )" +
            (stated == "x" ? "" : R"(\"cache_expired_time\": )" + value + ", ") + list;
  }
  WriteCache("http_dns_cache.data", text + "}");
  EXPECT_TRUE(manager->LoadHostCache());
  auto entries = manager->HostsForTest().GetEntries();
  ASSERT_EQ(entries.size(), cases.size() + 2);
  for (const Case& one : cases) {
    const HostEntry& entry = entries[one.expired_time];
    EXPECT_EQ(entry.ttl, one.ttl) << one.expired_time;
    EXPECT_EQ(entry.refresh_time - now, one.refresh_ms) << one.expired_time;
    EXPECT_EQ(entry.cache_expired_time - now, one.expires_ms) << one.expired_time;
    EXPECT_THAT(entry.ipv4, ElementsAre("1.1.1.1"));
    EXPECT_THAT(entry.ipv6, ElementsAre("::2"));
  }
  EXPECT_THAT(entries["no object"].ipv4, IsEmpty());
  EXPECT_EQ(manager->HostsForTest().CheckHost(net::kIPFamilyAny, "no text", ips),
            CacheState::kCacheMissing);
}

}  // namespace
}  // namespace zo_sturdy
