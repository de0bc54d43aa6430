#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "base/platform/file.h"
#include "base/thread/clock_for_test.h"
#include "lab/temp_folder.h"
#include "tools/state/read_state.h"
#include "tools/state/state_json.h"
#include "tools/state/state_words.h"

namespace {

using nlohmann::json;

constexpr int64_t kNow = 1'800'000'000'000;
constexpr int64_t kMinute = 60'000;

class StateTest : public testing::Test {
 protected:
  StateTest() {
    clock_.SetWall(kNow);
    std::filesystem::create_directories(folder_.File("lbs"));
    std::filesystem::create_directories(folder_.File("http_dns"));
  }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_.File(name)) << text;
  }
  // The caches must stay as they are.
  client_state::ClientState Read() const {
    const auto before = Files();
    client_state::ClientState state = client_state::ReadState(folder_.path());
    EXPECT_EQ(Files(), before);
    return state;
  }
  // Returns the words without the time and the folder.
  std::string Words() const {
    std::string words = client_state::StateWords(Read());
    words.erase(0, words.find('\n'));
    for (size_t at = 0; (at = words.find(folder_.path())) != std::string::npos;) {
      words.erase(at, folder_.path().size());
    }
    return words;
  }
  // Returns the texts of all files, and an empty one for each folder.
  std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
      const std::string path = entry.path().string();
      files[path] = entry.is_directory() ? "" : zo_base::ReadFilePrefix(path, 4096);
    }
    return files;
  }
  // A host with a lifetime of 20 min, so fresh for 15 and served for 18.
  static std::string Host(int64_t since_answer_ms, const std::string& ipv4) {
    return json({{"ttl", 20 * kMinute},
                 {"cache_expired_time", kNow - since_answer_ms + 18 * kMinute},
                 {"ipv4", {ipv4}},
                 {"ipv6", {"[::1]"}}})
        .dump();
  }

  zo_base::ScopedTestClock clock_;
  const lab::TempFolder folder_;
};

TEST_F(StateTest, SaysWhatACacheHolds) {
  const json document = {
      {"link", {"a:1", "[::1]:2", "big:70000"}}, {"link.default", {"d:9"}}, {"lbs", "http://x/"}};
  Write("lbs/lbs.data",
        json({{"lbs_rsp", json({{"common", document}}).dump()},
              {"root_lbs_addr", "http://r/"},
              {"runntime_lbs", "http://x/"},
              {"lbs_backup_addr", json({"http://y/", std::string(2049, 'u')}).dump()},
              {"lbs_ip_version", "1"},
              {"fetched_at", std::to_string(kNow - 192 * kMinute)}})
            .dump());
  Write("http_dns/http_server_cache.data",
        json({{"host", "dns.test"},
              {"ipv4", R"([{"host": "10.0.0.1", "port": 80, "https": false}])"},
              {"ipv6", R"([{"host": "[::2]"}])"},
              {"ttl", "60000"},
              {"expired_time", std::to_string(kNow + 30'999)}})
            .dump());
  Write("http_dns/http_dns_cache.data", json({{"a.test", Host(15 * kMinute - 1, "1.1.1.1")},
                                              {"b.test", Host(15 * kMinute, "1.1.1.2")},
                                              {"c.test", Host(18 * kMinute, "1.1.1.3")}})
                                            .dump());
  EXPECT_EQ(Words(), R"(

Document  /lbs/lbs.data
  fetched        3 h 12 min ago
  counts for     first LBS URL http://r/, family v4
  link servers   a:1, [::1]:2
  defaults       d:9
  next fetch     http://x/
    then         http://y/

HTTP DNS endpoints  /http_dns/http_server_cache.data
  name           dns.test
  lifetime       1 min, 30 s left
  asks           https://dns.test
    then         http://10.0.0.1:80
    then         https://[::2]:443

Host names  /http_dns/http_dns_cache.data
  a.test  fresh for 0 s: 1.1.1.1, [::1]
  b.test  stale, served for 3 min and refreshed when asked for: 1.1.1.2, [::1]
  c.test  gone since 0 s: 1.1.1.3, [::1]
  A start serves each that has an address for 2.7 s at least, also if it is gone.
)");
  EXPECT_NE(client_state::StateWords(Read()).find("  read at 2027-01-1"), std::string::npos);
  const auto data = client_state::ToJson(Read());
  EXPECT_EQ(data["document"]["age_ms"], 192 * kMinute);
  EXPECT_EQ(data["endpoints"]["left_ms"], 30'999);
  EXPECT_EQ(data["hosts"]["hosts"][1]["left_ms"], 3 * kMinute);
  clock_.SetWall(kNow - 194 * kMinute);
  EXPECT_NE(Words().find("fetched        by a clock that was 2 min ahead"), std::string::npos);
}

TEST_F(StateTest, SaysWhatIsDamagedAndWhere) {
  Write("lbs/lbs.data", R"({"lbs_rsp": "{\"comm", "root_lbs_addr": "r", "name": 5})");
  Write("http_dns/http_server_cache.data", R"({"host": "dns.te)");
  Write("http_dns/http_dns_cache.data", R"({"a.test": "{"})");
  EXPECT_EQ(Words(), R"(

Document  /lbs/lbs.data
  name: not a text
  runntime_lbs: missing
  lbs_rsp is damaged at byte 6: unexpected end of input in string
  A start ignores it and uses the client's settings.
  fetched        never: built from settings, or of an older version
  counts for     first LBS URL r, family v4
  link servers   none
  defaults       none
  next fetch     none

HTTP DNS endpoints  /http_dns/http_server_cache.data
  The file is damaged and counts as empty.
  damaged at byte 16: unexpected end of input in string
  A start uses the built-in endpoints.

Host names  /http_dns/http_dns_cache.data
  a.test is damaged at byte 1: unexpected end of input
  a.test  gone since 0 s: none
  A start serves each that has an address for 2.7 s at least, also if it is gone.
)");
  Write("lbs/lbs.data",
        R"({"lbs_rsp": "{\"common\": {}}", "root_lbs_addr": "r", "runntime_lbs": "x"})");
  Write("http_dns/http_server_cache.data", R"({"host": "dns.test"})");
  Write("http_dns/http_dns_cache.data", "[]");
  const auto data = client_state::ToJson(Read());
  EXPECT_EQ(
      data["document"]["file"]["faults"].dump(),
      R"([{"member":"lbs_rsp","offset":null,"what":"a document without link, link.default or lbs"}])");
  EXPECT_EQ(data["document"]["usable"], false);
  EXPECT_EQ(data["endpoints"]["file"]["faults"][0]["member"], "ipv4");
  EXPECT_EQ(data["hosts"]["file"]["faults"].dump(),
            R"([{"member":"","offset":0,"what":"not a JSON object"}])");
}

TEST_F(StateTest, TakesAnyNumberAsATime) {
  Write("http_dns/http_server_cache.data", json({{"host", "dns.test"},
                                                 {"ipv4", R"([{"host": "10.0.0.1"}])"},
                                                 {"expired_time", "-9223372036854775808"}})
                                               .dump());
  Write("http_dns/http_dns_cache.data",
        json({{"a.test", R"({"cache_expired_time": -1e30})"}}).dump());
  const auto data = client_state::ToJson(Read());
  EXPECT_LT(data["endpoints"]["left_ms"], 0);
  EXPECT_LT(data["hosts"]["hosts"][0]["left_ms"], 0);
  EXPECT_NE(Words().find("a.test  gone"), std::string::npos);
}

TEST_F(StateTest, TakesAnEmptyFolder) {
  for (const char* name : {"lbs", "http_dns"}) {
    std::filesystem::remove_all(folder_.File(name));
  }
  const auto data = client_state::ToJson(Read());
  EXPECT_EQ(data["document"]["file"]["condition"], "missing");
  EXPECT_TRUE(data["document"]["origin"].is_null() && data["endpoints"]["left_ms"].is_null());
}

}  // namespace
