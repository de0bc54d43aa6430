#include "tests/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using zo_base::json11::Json;

// What servers and disks can bring: the process stays alive, and what is saved loads again.
class DamageTest : public DnsTest {
 protected:
  // As one run leaves it and the next one finds it.
  void Apply(const std::string& answer) {
    std::string error;
    manager->LoadServerCache();
    manager->InitInterfaceAddress();
    manager->UpdateServerCache(Json::parse(answer, error));
    const std::vector<std::string> table = Table();
    EXPECT_LE(table.size(), 1 + 2 * kMaxEndpoints);
    EXPECT_EQ(Reloaded().front(), table.front() == ":443" ? "localhost:443" : table.front())
        << answer.substr(0, 200);
  }
  std::vector<std::string> Reloaded() {
    NewManager();
    manager->LoadServerCache();
    manager->InitInterfaceAddress();
    return Table();
  }
  std::map<std::string, HostEntry> ReloadedHosts() {
    NewManager();
    manager->LoadHostCache();
    return manager->HostsForTest().GetEntries();
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

std::string Repeated(const std::string& part, size_t bytes) {
  std::string text = part;
  while (text.size() + part.size() < bytes) {
    text += "," + part;
  }
  return text;
}

TEST_F(DamageTest, AServiceMayAnswerAnything) {
  const std::vector<std::string> values = {"null",
                                           "0",
                                           "-1",
                                           "1e999",
                                           "-1e300",
                                           "true",
                                           R"("")",
                                           R"("a,b:c\"d\u0000e\r\n")",
                                           "\"\xff\xfe\x80\"",
                                           "[]",
                                           "{}",
                                           "[[],{},1,null,\"x\"]",
                                           R"([{"host": {}, "port": "x", "https": 3}])",
                                           R"([{"host": "\"],\u0000", "port": 1e99}])",
                                           "[" + Repeated("{}", 30000) + "]",
                                           std::string(199, '[') + std::string(199, ']')};
  for (const char* key : {"host", "ipv4", "ipv6", "ttl"}) {
    for (const std::string& value : values) {
      std::string members;
      for (const std::string other : {"host", "ipv4", "ipv6", "ttl"}) {
        members += (members.empty() ? "\"" : ",\"") + other + "\":" +
                   (other == key      ? value
                    : other == "host" ? "\"h\""
                                      : "0");
      }
      Apply("{" + members + "}");
    }
  }
  for (const std::string& value : values) {
    for (const std::string& data :
         {value, R"({"h": )" + value + "}", R"({"h": {"ip": )" + value + "}}",
          R"({"\u0000\":,\n": {"ipv6": )" + value + R"(, "ttl": )" + value + "}}"}) {
      const bool good = manager->ApplyHostResponse("", R"({"code": 200, "data": )" + data + "}");
      const auto before = manager->HostsForTest().GetEntries();
      const auto after = ReloadedHosts();
      ASSERT_EQ(before.size(), after.size()) << data.substr(0, 200);
      for (const auto& [host, entry] : before) {
        EXPECT_EQ(entry.ipv4, after.at(host).ipv4);
        EXPECT_EQ(entry.ipv6, after.at(host).ipv6);
      }
      EXPECT_LE(good, !before.empty());
    }
  }
  EXPECT_FALSE(manager->ApplyHostResponse("", "\x80{"));
}

TEST_F(DamageTest, ADamagedServerCacheLoadsToATable) {
  manager->LoadServerCache();
  const std::string text = ReadCache("http_server_cache.data");
  const std::string small = R"({"host": "h", "ipv4": "[{\"host\": \"1.1.1.1\", \"port\": 1}]", )"
                            R"("ipv6": "[{\"https\": true}]", "expired_time": "9"})";
  ForEachDamage(small, [&](const std::string& damaged) {
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
  const std::string usable = R"({"host": "h", "ipv4": "{}", "ipv6": "[{\"host\": \"[::9]\"}]", )"
                             R"("expired_time": "9999999999999"})";
  WriteCache("http_server_cache.data", usable);
  EXPECT_THAT(Reloaded(), testing::ElementsAre("h:443", "[::9]:0"));
  EXPECT_EQ(ReadCache("http_server_cache.data"), usable);
}

TEST_F(DamageTest, ADamagedHostCacheLoadsToShortLeases) {
  manager->LoadHostCache();
  EXPECT_EQ(ReadCache("http_dns_cache.data"), "");
  manager->ApplyHostResponse("", R"({"code": 200, "data": {}})");
  EXPECT_EQ(ReadCache("http_dns_cache.data"), "{}");
  manager->ApplyHostResponse("", R"({"code": 200, "data": {"a": {"ip": ["1.1.1.1"]}, )"
                                 R"("b\"": {"ipv6": ["::1"], "ttl": 60}}})");
  const std::string text = ReadCache("http_dns_cache.data");
  ForEachDamage(text, [&](const std::string& damaged) {
    WriteCache("http_dns_cache.data", damaged);
    for (const auto& [host, entry] : ReloadedHosts()) {
      EXPECT_LE(entry.cache_expired_time, now + 270000) << damaged;
    }
  });
}

}  // namespace
}  // namespace zo_sturdy
