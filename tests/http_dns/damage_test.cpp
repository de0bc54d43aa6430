#include <sstream>

#include "tests/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using zo_base::json11::Json;

// What servers and disks can bring: the process stays alive, and what is saved loads again.
class DamageTest : public DnsTest {
 protected:
  std::vector<std::string> Reloaded() {
    NewManager();
    manager_->LoadServerCache();
    manager_->InitInterfaceAddress();
    return Table();
  }
  std::map<std::string, HostEntry> ReloadedHosts() {
    NewManager();
    manager_->LoadHostCache();
    return manager_->HostsForTest().GetEntries();
  }
  // Calls `visit` with a text cut at each byte, and with each byte changed in one way of four.
  template <class Visit>
  static void ForEachDamage(const std::string& text, const Visit& visit) {
    for (size_t i = 0; i < text.size(); ++i) {
      visit(text.substr(0, i));
      std::string changed = text;
      changed[i] = static_cast<char>(changed[i] ^ "\x01\x10\x20\x80"[i % 4]);
      visit(changed);
    }
  }
};

TEST_F(DamageTest, AServiceMayAnswerAnything) {
  std::istringstream values(
      "null 0 -1 1e999 -1e300 true \"\" \"a,b:c\\\"d\\u0000e\\r\\n\" \"\xff\xfe\x80\" [] {} "
      R"([[],{},1,null,"x"] [{"host":{},"port":"x","https":3}] [{"host":"\"],\u0000","port":1e99}] )" +
      std::string(199, '[') + std::string(199, ']'));
  const std::vector<std::string> all{std::istream_iterator<std::string>(values), {}};
  for (const std::string& value : all) {
    for (const char* key : {"host", "ipv4", "ipv6", "ttl"}) {
      Json::object members{{"host", "h"}, {"ipv4", 0}, {"ipv6", 0}, {"ttl", 0}};
      members[key] = Parsed(value);
      Reloaded();
      manager_->UpdateServerCache(members);
      const std::string domain = Table().front();
      EXPECT_EQ(Reloaded().front(), domain == ":443" ? "localhost:443" : domain) << key << value;
    }
  }
  for (const std::string& value : all) {
    for (const std::string& data :
         {value, R"({"h": )" + value + "}", R"({"h": {"ip": )" + value + "}}",
          R"({"\u0000\":,\n": {"ipv6": )" + value + R"(, "ttl": )" + value + "}}"}) {
      const bool good = manager_->ApplyHostResponse("", R"({"code": 200, "data": )" + data + "}");
      const auto before = manager_->HostsForTest().GetEntries();
      const auto after = ReloadedHosts();
      ASSERT_EQ(before.size(), after.size()) << data;
      for (const auto& [host, entry] : before) {
        EXPECT_EQ(std::tie(entry.ipv4, entry.ipv6),
                  std::tie(after.at(host).ipv4, after.at(host).ipv6));
      }
      EXPECT_LE(good, !before.empty());
    }
  }
  EXPECT_FALSE(manager_->ApplyHostResponse("", "\x80{"));
}

TEST_F(DamageTest, ADamagedServerCacheLoadsToATable) {
  manager_->LoadServerCache();
  const std::string text = ReadCache("http_server_cache.data");
  ForEachDamage(R"({"host": "h", "ipv4": "[{\"host\": \"1.1.1.1\", \"port\": 1}]", )"
                R"("ipv6": "[{\"https\": true}]", "expired_time": "9"})",
                [&](const std::string& damaged) {
                  WriteCache("http_server_cache.data", damaged);
                  EXPECT_NE(Reloaded().front(), ":443") << damaged;
                });
  for (const std::string unusable :
       {"", "{}", "[1]", R"({"host": "h"})", R"({"host": "h", "ipv4": []})",
        R"({"host": " h", "ipv4": "[]"})", R"({"host": 5, "ipv4": "[]"})",
        R"({"host": "h", "ipv6": "[{\"host\": \"[::9]\"}]"})", R"({"host": "h", "ipv4": 5})"}) {
    WriteCache("http_server_cache.data", unusable);
    EXPECT_EQ(Reloaded().size(), 8U) << unusable;
    EXPECT_EQ(ReadCache("http_server_cache.data").size(), text.size()) << unusable;
  }
  const std::string usable = R"({"host": "h", "ipv4": "{}", "ipv6": "[{\"host\": \"[::9]\"}]"})";
  WriteCache("http_server_cache.data", usable);
  EXPECT_THAT(Reloaded(), testing::ElementsAre("h:443", "[::9]:0"));
  EXPECT_EQ(ReadCache("http_server_cache.data"), usable);
}

TEST_F(DamageTest, ADamagedHostCacheLoadsToShortLeases) {
  manager_->LoadHostCache();
  manager_->ApplyHostResponse("", R"({"code": 200, "data": {}})");
  EXPECT_EQ(ReadCache("http_dns_cache.data"), "{}");
  manager_->ApplyHostResponse("", R"({"code": 200, "data": {"a": {"ip": ["1.1.1.1"]}, )"
                                  R"("b\"": {"ipv6": ["::1"], "ttl": 60}}})");
  ForEachDamage(ReadCache("http_dns_cache.data"), [&](const std::string& damaged) {
    WriteCache("http_dns_cache.data", damaged);
    for (const auto& [host, entry] : ReloadedHosts()) {
      EXPECT_LE(entry.cache_expired_time, now_ + 270000) << damaged;
    }
  });
}

}  // namespace
}  // namespace zo_sturdy
