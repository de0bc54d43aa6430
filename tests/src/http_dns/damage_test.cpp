#include <sstream>

#include "tests/src/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using zo_base::json11::Json;

constexpr char kServers[] = "http_server_cache.data";
constexpr char kHosts[] = "http_dns_cache.data";

// What servers and disks can bring: the process stays alive, and what is saved loads again.
class DamageTest : public DnsTest {
 protected:
  std::vector<std::string> Reloaded() {
    NewManager();
    manager_->LoadServerCache();
    manager_->InitInterfaceAddress();
    manager_->LoadHostCache();
    return Table();
  }
  auto Hosts() { return manager_->HostsForTest().GetEntries(); }
  bool Apply(const std::string& data) {
    return manager_->ApplyHostResponse("", R"({"code": 200, "data": )" + data + "}");
  }
  // Calls `check` with this text in the file cut at each byte, and with each byte changed.
  void ForEachDamage(const char* file, const std::string& text,
                     const std::function<void(const std::string&)>& check) {
    for (size_t i = 0; i < text.size(); ++i) {
      std::string changed = text;
      changed[i] = static_cast<char>(changed[i] ^ "\x01\x10\x20\x80"[i % 4]);
      for (const std::string& damaged : {text.substr(0, i), changed}) {
        WriteCache(file, damaged);
        check(damaged);
      }
    }
  }
};

TEST_F(DamageTest, AServiceMayAnswerAnything) {
  std::istringstream values(
      "null 0 -1 1e999 -1e300 true \"\" \"a,b:c\\\"d\\u0000e\\r\\n\" \"\xff\xfe\x80\" [] {} "
      R"([[],{},1,null,"x"] [{"host":{},"port":"x","https":3}] [{"host":"\"],\u0000","port":1e99}] )" +
      std::string(199, '[') + std::string(199, ']'));
  for (std::string value; values >> value;) {
    for (const char* key : {"host", "ipv4", "ipv6", "ttl"}) {
      Json::object members{{"host", "h"}, {"ipv4", 0}, {"ipv6", 0}, {"ttl", 0}};
      members[key] = Parsed(value);
      Reloaded();
      manager_->UpdateServerCache(members);
      const std::string domain = Table().front();
      EXPECT_EQ(Reloaded().front(), domain == ":443" ? "localhost:443" : domain) << key << value;
    }
    for (const std::string& data :
         {value, R"({"h": )" + value + "}", R"({"h": {"ip": )" + value + "}}",
          R"({"\u0000\":,\n": {"ipv6": )" + value + R"(, "ttl": )" + value + "}}"}) {
      const bool good = Apply(data);
      const auto before = Hosts();
      EXPECT_LE(good, !before.empty());
      Reloaded();
      ASSERT_EQ(before.size(), Hosts().size()) << data;
      for (const auto& [host, entry] : Hosts()) {
        EXPECT_EQ(entry.ipv4, before.at(host).ipv4);
        EXPECT_EQ(entry.ipv6, before.at(host).ipv6);
      }
    }
  }
}

TEST_F(DamageTest, ADamagedServerCacheLoadsToATable) {
  manager_->LoadServerCache();
  const size_t built_in_bytes = ReadCache(kServers).size();
  ForEachDamage(kServers,
                R"({"host": "h", "ipv4": "[{\"host\": \"1.1.1.1\", \"port\": 1}]", )"
                R"("ipv6": "[{\"https\": true}]", "expired_time": "9"})",
                [&](const std::string& damaged) { EXPECT_NE(Reloaded()[0], ":443") << damaged; });
  for (const std::string unusable :
       {"", "{}", "[1]", R"({"host": "h"})", R"({"host": "h", "ipv4": []})",
        R"({"host": " h", "ipv4": "[]"})", R"({"host": 5, "ipv4": "[]"})",
        R"({"host": "h", "ipv6": "[{\"host\": \"[::9]\"}]"})", R"({"host": "h", "ipv4": 5})"}) {
    WriteCache(kServers, unusable);
    EXPECT_EQ(Reloaded().size(), 8U) << unusable;
    EXPECT_EQ(ReadCache(kServers).size(), built_in_bytes) << unusable;
  }
  const std::string usable = R"({"host": "h", "ipv4": "{}", "ipv6": "[{\"host\": \"[::9]\"}]"})";
  WriteCache(kServers, usable);
  EXPECT_THAT(Reloaded(), testing::ElementsAre("h:443", "[::9]:0"));
  EXPECT_EQ(ReadCache(kServers), usable);
}

TEST_F(DamageTest, ADamagedHostCacheLoadsToShortLeases) {
  manager_->LoadHostCache();
  Apply("{}");
  EXPECT_EQ(ReadCache(kHosts), "{}");
  Apply(R"({"a": {"ip": ["1.1.1.1"]}, "b\"": {"ipv6": ["::1"], "ttl": 60}})");
  ForEachDamage(kHosts, ReadCache(kHosts), [&](const std::string& damaged) {
    Reloaded();
    for (const auto& [host, entry] : Hosts()) {
      EXPECT_LE(entry.cache_expired_time, start_ms + 270000) << damaged;
    }
  });
}

}  // namespace
}  // namespace zo_sturdy
