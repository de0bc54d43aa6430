#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/test_document.h"
#include "tests/tools/run_sturdyctl.h"

namespace {

using nlohmann::json;

void AddKeys(const json& value, std::set<std::string>& keys) {
  if (value.is_object()) {
    for (const auto& [key, member] : value.items()) {
      keys.insert(key);
    }
  }
  for (const json& member : value) {
    if (member.is_structured()) {
      AddKeys(member, keys);
    }
  }
}

// The client is refused by the first URL, which the log shows in another form, and gets a list of
// two and a default.
TEST(WhyCommand, AgreesWithStatsAndABundle) {
  const lab::TempFolder folder;
  const lab::Lab lab(
      {lab::HttpServer("dead").Listens(lab::Listening::kRefuse),
       lab::HttpServer("lbs").On(
           kLbsPath, lab::Answer(TestDocument({"192.0.2.1:1", "192.0.2.2:2"}).Text()))});
  lab::WriteServerCache(lab::DataFolder(folder.path()));
  const std::string dead = "http://u@LocalHost:0" + std::to_string(lab.Port("dead")) + "/\u00e4";
  RunSturdyctl({"link", "--wait", "--count", "3", "--token", "secret", "--data", folder.path(),
                "--lbs", dead, "--lbs", lab.Url("lbs", kLbsPath)});

  // The data has the keys that the help names, and no others.
  const json all = json::parse(RunSturdyctl({"why", folder.path(), "--all", "--json"}));
  std::set<std::string> keys;
  AddKeys(all, keys);
  const std::string help = RunSturdyctl({"why", "--help"});
  const std::regex quoted("\"(\\w+)\"");
  std::set<std::string> named;
  for (std::sregex_iterator it(help.begin(), help.end(), quoted), end; it != end; ++it) {
    named.insert((*it)[1]);
  }
  EXPECT_EQ(named.erase("silent_ms") + named.erase("unsure"), 2u) << "only of some tries";
  EXPECT_EQ(keys, named);

  // The answers, and the fetch of their list.
  ASSERT_EQ(all["answers"].size(), 3u);
  EXPECT_EQ(all["answers"][1]["port"], 2);
  EXPECT_EQ(all["answers"][2]["source"], "default");
  const json& fetch = all["fetches"][all["answers"][2]["document"]["fetch"].get<size_t>()];
  EXPECT_EQ(fetch["taken_from"]["index"], 1);
  EXPECT_EQ(fetch["tries"][0]["cause"], "refused");
  EXPECT_EQ(json::parse(RunSturdyctl({"why", folder.path(), "--json"}))["answers"].size(), 1u);

  // The same in words.
  EXPECT_THAT(
      RunSturdyctl({"why", folder.path()}),
      testing::AllOf(testing::ContainsRegex("^[^ ]+  a default that came with the list\n"),
                     testing::HasSubstr("had got 192.0.2.1:1, 192.0.2.2:2"),
                     testing::HasSubstr("taken from " + lab.Url("lbs", kLbsPath) + " (URL 1), "),
                     testing::ContainsRegex("URL 0 .* the server refused the connection"),
                     testing::HasSubstr("because the service started"),
                     testing::Not(testing::HasSubstr("secret"))));

  // In numbers.
  EXPECT_THAT(RunSturdyctl({"stats", folder.path()}),
              testing::AllOf(testing::HasSubstr("fetches, reason       start: 1\n"),
                             testing::HasSubstr("fetches, outcome      taken: 1\n"),
                             testing::HasSubstr("fetches, tries        2 tries: 1\n"),
                             testing::HasSubstr("answers               3, 1 of them a default\n"),
                             testing::HasSubstr(lab.Url("lbs", kLbsPath) + "  tries 1, wins 1\n"),
                             testing::HasSubstr("cache at a start      not used, missing\n")));

  // A bundle says the same, and so does the command that reads it.
  const lab::TempFolder written;
  const std::string bundle = written.File("bundle");
  RunSturdyctl({"bundle", folder.path(), "--output", bundle});
  const std::string words = RunSturdyctl({"why", folder.path(), "--all", "--redact"});
  EXPECT_EQ(RunSturdyctl({"why", bundle, "--all"}), words);
  std::ifstream why(bundle + "/why.txt");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(why), {}), words);
}

}  // namespace
