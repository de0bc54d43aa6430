#include "src/sturdy/http_agent/http_dns/host_cache.h"

#include <limits>

#include "tests/src/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HostCacheTest : public DnsTest {
 protected:
  int Check(const std::string& host, int family = 0) {
    ips_.clear();
    return static_cast<int>(cache_.CheckHost(static_cast<net::AddressFamily>(family), host, ips_));
  }
  HostCache& cache_ = manager_->HostsForTest();
  std::vector<std::string> ips_;
};

TEST_F(HostCacheTest, AnEntryIsFreshThenStaleThenMissing) {
  cache_.UpdateHost("h", start_ms, 100000, {"1.1.1.1"}, {}, false);
  for (const auto& [offset_ms, state] :
       {std::pair(0, 1), {74999, 1}, {75000, 2}, {89999, 2}, {90000, 3}, {-1, 3}}) {
    clock.SetWall(start_ms + offset_ms);
    EXPECT_EQ(Check("h"), state) << offset_ms;
  }
  clock.SetWall(start_ms);
  for (const int ttl_ms : {0, 1, -1000, std::numeric_limits<int>::min()}) {
    cache_.UpdateHost("short", start_ms, ttl_ms, {"1.1.1.1"}, {}, false);
    EXPECT_EQ(Check("short"), 3) << ttl_ms;
  }
  constexpr int64_t kEnd = std::numeric_limits<int64_t>::max();
  cache_.UpdateHost("last", kEnd, std::numeric_limits<int>::max(), {"1.1.1.1"}, {}, false);
  EXPECT_EQ(cache_.GetEntries()["last"].refresh_time, kEnd);
}

TEST_F(HostCacheTest, AnEntryWithoutAddressesOfTheFamilyIsMissing) {
  cache_.UpdateHost("h", start_ms, 100000,
                    {"1.1.1.1", "", "2 2", "\xe2\x80\xa8", "\x7f", "/", "u@", "::", "2.2.2.2"}, {},
                    false);
  EXPECT_EQ(Check("h", net::kIPFamilyV6), 3);
  cache_.UpdateHost("h", start_ms + 5, 100000, {}, {"[::1]", std::string(65, '1')}, false);
  clock.Advance(5);
  EXPECT_EQ(Check("h", net::kIPFamilyV4), 1);
  EXPECT_THAT(ips_, ElementsAre("1.1.1.1", "::", "2.2.2.2"));
  EXPECT_EQ(Check("h", net::kIPFamilyV6), 1);
  EXPECT_THAT(ips_, ElementsAre("[::1]"));
  EXPECT_EQ(Check("h", 7), 1);
  EXPECT_THAT(ips_, ElementsAre("1.1.1.1", "::", "2.2.2.2", "[::1]"));
}

TEST_F(HostCacheTest, AddressesFitTheClientsBuffer) {
  using zo_base::json11::Json;
  for (const std::string text : {"1", R"("")"}) {
    cache_.UpdateHost("h", start_ms, 9, std::vector<std::string>(250000, text),
                      std::vector<std::string>(250000, "[" + text + "]"), false);
    const HostEntry entry = cache_.GetEntries()["h"];
    const Json::array ipv4(entry.ipv4.begin(), entry.ipv4.end());
    const Json::array ipv6(entry.ipv6.begin(), entry.ipv6.end());
    const Json json =
        Json::object{{"code", 200}, {"data", Json::object{{"ipv4", ipv4}, {"ipv6", ipv6}}}};
    EXPECT_LT(json.dump().size(), kQueryHostBufferSize);
    EXPECT_GT(json.dump().size(), kQueryHostBufferSize - 1000);
  }
}

TEST_F(HostCacheTest, TheFileStaysShortEnoughToLoad) {
  const auto answer = [&](const std::string& data) {
    manager_->ApplyHostResponse("", R"({"code": 200, "data": {)" + data + R"("": {}}})", {"new"});
  };
  manager_->LoadHostCache();
  answer(R"("k1": {"ip": ["1.1.1.1"]}, "k2": {"ip": ["1.1.1.1"]}, "k3": {"ip": ["1.1.1.1"]}, )"
         R"("k4": {"ip": ["1.1.1.1"]}, )");
  const std::string escaped(100, '\x01');
  for (int i = 0; i < 30000; ++i) {
    cache_.UpdateHost(std::to_string(i) + escaped, start_ms, 9000, {}, {}, false);
  }
  for (const char* known : {"k1", "k2", "k3", "k4"}) {
    const std::vector<std::string> long_list(7900, std::string(64, '"'));
    cache_.UpdateHost(known, start_ms, 9000, long_list, {}, false);
  }
  answer(R"("k4": {"ip": ["2.2.2.2"]}, )");
  EXPECT_GT(ReadCache("http_dns_cache.data").size(), kMaxNewHostsBytes);
  const size_t saved = cache_.GetEntries().size();
  NewManager();
  manager_->LoadHostCache();
  auto entries = manager_->HostsForTest().GetEntries();
  EXPECT_EQ(entries.size(), saved);
  EXPECT_EQ(entries.count("0" + escaped), 1U);
  EXPECT_THAT(entries["k4"].ipv4, ElementsAre("2.2.2.2"));
  clock.Advance(300000);
  answer(R"("new": {"ip": ["1.1.1.1"]}, )");
  EXPECT_EQ(manager_->HostsForTest().GetEntries().count("new"), 1U);
}

TEST_F(HostCacheTest, HostsThatWereNotAskedForLeaveRoom) {
  manager_->LoadHostCache();
  const auto answer = [&](const std::string& prefix, int count, const std::string& ip) {
    std::string body = R"({"code": 200, "data": {)";
    for (int i = 0; i < count; ++i) {
      body += '"' + prefix + std::to_string(i) + R"(": {"ttl": 100, "ip": [")" + ip + "\"]}, ";
    }
    manager_->ApplyHostResponse("", body + R"("~": {"ip": ["1"], "ttl": 300}}})", {"~"});
  };
  cache_.UpdateHost("kept", start_ms, 300000, {"1"}, {}, false);
  for (const std::string ip : {"1", "127.0.0.0000000000000000000000000000000000000000000001"}) {
    answer("a", 9000, ip);
    const size_t size = ReadCache("http_dns_cache.data").size();
    EXPECT_LE(size, kMaxUnaskedBytes + 150);
    EXPECT_GT(size, kMaxUnaskedBytes - 50000);
    EXPECT_EQ(Check("~"), 1);
  }
  const std::vector<std::string> too_long(9000, "1");
  EXPECT_FALSE(
      cache_.UpdateHost("a0", start_ms, 300000, too_long, {}, false, HostSource::kUnasked));
  clock.Advance(90000);
  answer("b", 10, "1");
  EXPECT_EQ(cache_.GetEntries().size(), 12U);
}

TEST_F(HostCacheTest, AnEntryFromTheDiskGetsAShortLease) {
  const auto expires = [&](int64_t ms) {
    return R"(\"cache_expired_time\": )" + std::to_string(start_ms + ms);
  };
  const struct {
    std::string member;
    int ttl, refresh_ms, expires_ms;
  } cases[] = {{expires(600000), 300000, 225000, 270000},
               {expires(3000), 3000, 2250, 2700},
               {expires(2999), 3000, 0, 2700},
               {R"(\"unstated\": 1)", 3000, 0, 2700},
               {R"(\"cache_expired_time\": -1e300)", 3000, 0, 2700},
               {R"(\"cache_expired_time\": 1e999)", 300000, 225000, 270000}};
  std::string text = R"({"no object": "[]", "no text": 5)";
  for (const auto& c : cases) {
    text += R"(, "h)" + std::to_string(&c - cases) + R"(": "{\"ttl\": 1, )" + c.member +
            R"(, \"ipv4\": [\"1.1.1.1\", 5], \"ipv6\": [\"::2\"]}")";
  }
  WriteCache("http_dns_cache.data", text + "}");
  EXPECT_TRUE(manager_->LoadHostCache());
  auto entries = cache_.GetEntries();
  ASSERT_EQ(entries.size(), std::size(cases) + 2);
  for (const auto& c : cases) {
    const HostEntry& entry = entries["h" + std::to_string(&c - cases)];
    EXPECT_EQ(std::make_tuple(entry.ttl, entry.refresh_time, entry.cache_expired_time),
              std::make_tuple(c.ttl, start_ms + c.refresh_ms, start_ms + c.expires_ms))
        << c.member;
    EXPECT_THAT(entry.ipv4, ElementsAre("1.1.1.1"));
    EXPECT_THAT(entry.ipv6, ElementsAre("::2"));
  }
  EXPECT_THAT(entries["no object"].ipv4, IsEmpty());
  EXPECT_EQ(Check("no text"), 3);
}

}  // namespace
}  // namespace zo_sturdy
