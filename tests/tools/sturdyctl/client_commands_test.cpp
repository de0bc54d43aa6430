#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/service_table.h"
#include "lab/temp_folder.h"
#include "tests/support/test_document.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::HasSubstr;

constexpr auto kLimit = 30s;

lab::Behaviour Document(const lab::LbsReport& report = {}) {
  return lab::Answer(TestDocument({"192.0.2.1:1"}).Report(report).Text());
}

class SturdyctlTest : public testing::Test {
 protected:
  SturdyctlTest() { lab::WriteServerCache(lab::DataFolder(folder_.path())); }

  std::vector<std::string> Command(const std::string& name, std::vector<std::string> more) const {
    std::vector<std::string> command = {STURDYCTL, name, "--data", folder_.path()};
    command.insert(command.end(), more.begin(), more.end());
    return command;
  }

  // A command that fetches from the server "lbs".
  std::vector<std::string> Fetching(const std::string& name, const lab::Lab& lab,
                                    std::vector<std::string> more = {}) const {
    more.insert(more.end(), {"--token", "t", "--lbs", lab.Url("lbs", kLbsPath)});
    return Command(name, more);
  }

  // Runs a command to its end. Returns the JSON that it printed; its exit code must be `code`.
  json JsonOf(const std::string& name, std::vector<std::string> arguments, int code = 0) const {
    arguments.push_back("--json");
    lab::Child child(Command(name, arguments));
    json output = json::parse(child.ReadRest(), nullptr, false);
    EXPECT_EQ(child.Wait(), code);
    return output;
  }

  // Reads events until one of this name.
  static json WaitForEvent(lab::Child& watch, const std::string& name) {
    json event = json::parse(watch.ReadLineWith("\"event\":\"" + name + "\""), nullptr, false);
    EXPECT_TRUE(event.is_object()) << "the output ended without " << name;
    return event;
  }

  const lab::TempFolder folder_;
};

TEST_F(SturdyctlTest, CtrlCExitsCleanly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, Document().HeldAt("gate"))});
    lab::Child watch(Fetching("watch", lab));
    EXPECT_THAT(watch.ReadLine(),
                testing::AllOf(HasSubstr("log: " + folder_.path()), HasSubstr("sturdy_comp.log")));
    EXPECT_EQ(watch.ReadLine(), "Press Ctrl-C to exit.");
    EXPECT_TRUE(lab.gates().WaitForHeld("gate", 1, kLimit));
    lab.gates().Release("gate");
    EXPECT_NE(watch.ReadLineWith("link servers: 192.0.2.1:1"), "");
    kill(watch.id(), signal);
    const std::string rest = watch.ReadRest();
    EXPECT_THAT(rest, testing::ContainsRegex(
                          "  exiting \\(press Ctrl-C again to end at once\\)\n[^\n]*  exited\n$"));
    EXPECT_EQ(watch.Wait(), 0);
  }
}

// The endpoints expire after a second. Each update first tries the service's domain, which refuses:
// a failure to report.
TEST_F(SturdyctlTest, WatchShowsReportsAndServiceUpdates) {
  const lab::LbsReport each{"${url:reports}", true, 1, 60000, 0};
  const auto table = lab::ServiceTable().Domain("localhost").V4({"${endpoint:dns}"}).Ttl(1).Text();
  lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, Document(each)),
                lab::HttpServer("dns").On(lab::kServiceTablePath, lab::Answer(table)),
                lab::HttpServer("reports").On(
                    lab::kReportPath, {lab::Answer(200), lab::Answer(500), lab::Answer(200)})});
  lab::WriteServerCache(lab::DataFolder(folder_.path()),
                        {.ipv4 = {{"127.0.0.1", lab.Port("dns"), false}},
                         .expires_in = std::chrono::milliseconds(0)});
  lab::Child watch(Fetching("watch", lab, {"--json", "--sdk-version", "v7"}));
  WaitForEvent(watch, "service_update_begun");
  const json records = WaitForEvent(watch, "report_sent").at("records");
  EXPECT_EQ(records.at(0).at("request_url"), "https://localhost/httpdns/v2/s");
  EXPECT_TRUE(WaitForEvent(watch, "report_done").at("success"));
  ASSERT_TRUE(lab.journal().WaitForRequestsFor(lab::kReportPath, 1, kLimit));
  EXPECT_EQ(json::parse(lab.journal().RequestsFor(lab::kReportPath).at(0).body), records);
  EXPECT_TRUE(WaitForEvent(watch, "service_update_done").at("success"));
  const std::vector<lab::Request> updates = lab.journal().RequestsFor(lab::kServiceTablePath);
  ASSERT_NE(updates.at(0).Header("X-QORVIN-SDKVER"), nullptr);
  EXPECT_THAT(*updates.at(0).Header("X-QORVIN-SDKVER"), testing::StartsWith("v7_"));
  EXPECT_FALSE(WaitForEvent(watch, "report_done").at("success"));
  lab.StopListening("dns");
  while (WaitForEvent(watch, "service_update_done").value("success", false)) {
  }
}

TEST_F(SturdyctlTest, QueryHostFailsIfANameHasNoAddress) {
  const lab::HostBook book{{{"a.test", {{{"192.0.2.1", "192.0.2.2"}}, {{"2001:db8::1"}}, 60}}}};
  const lab::Lab lab({lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Answer(book))});
  lab::WriteServerCache(lab::DataFolder(folder_.path()),
                        {.ipv4 = {{"127.0.0.1", lab.Port("dns"), false}}});
  const struct {
    std::vector<std::string> arguments;
    int code;
    std::string hosts;
  } cases[] = {
      {{"a.test"},
       0,
       R"([{"code":200,"host":"a.test","ipv4":["192.0.2.1","192.0.2.2"],"ipv6":["[2001:db8::1]"]}])"},
      {{"--family", "v6", "a.test", "b.test", "::1"},
       1,
       R"([{"code":200,"host":"a.test","ipv4":[],"ipv6":["[2001:db8::1]"]},)"
       R"({"code":1,"host":"b.test","ipv4":[],"ipv6":[]},{"code":1,"host":"::1","ipv4":[],"ipv6":[]}])"},
  };
  for (const auto& [arguments, code, hosts] : cases) {
    EXPECT_EQ(JsonOf("query-host", arguments, code).at("hosts").dump(), hosts);
  }
  lab::Child text(Command("query-host", {"a.test", "b.test", "::1"}));
  EXPECT_THAT(text.ReadRest(),
              testing::ContainsRegex(
                  "^a.test +192.0.2.1 192.0.2.2 \\[2001:db8::1\\]\nb.test +not resolved\n"
                  "::1 +is an address, so there is nothing to resolve\nlog: "));
  EXPECT_EQ(text.Wait(), 1);
}

TEST_F(SturdyctlTest, LinkOptionsReachTheSettings) {
  const std::pair<std::vector<std::string>, std::vector<std::string>> cases[] = {
      {{"--default-link", "a:1", "b:2", "--count", "2"}, {"settings a:1", "settings b:2"}},
      // From the cache, which the run before has made of its settings.
      {{"--default-link", "c:3", "--count", "3"},
       {"settings a:1", "settings b:2", "default localhost:8080"}},
      {{"--lbs", "http://new/", "--default-v4", "192.0.2.1:4", "--default-v6", "[::1]:6",
        "--family", "v6"},
       {"settings [::1]:6"}},
  };
  for (const auto& [arguments, expected] : cases) {
    const json output = JsonOf("link", arguments);
    std::vector<std::string> links;
    for (const json& link : output.at("links")) {
      links.push_back(link.at("source").get<std::string>() + " " +
                      link.at("host").get<std::string>() + ":" + link.at("port").dump());
    }
    EXPECT_EQ(links, expected);
  }
}

TEST_F(SturdyctlTest, BytesThatAreNotUtf8ShowAsReplacementCharacters) {
  const auto document = TestDocument().Set("link", "[\"\xff:1\"]").Text();
  const lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, lab::Answer(document))});
  lab::Child watch(Fetching("watch", lab, {"--json"}));
  WaitForEvent(watch, "update");
  EXPECT_EQ(WaitForEvent(watch, "list").at("links"), json::array({"\ufffd:1"}));
}

TEST_F(SturdyctlTest, TlsKeysGoToNoFile) {
  const lab::Lab lab({lab::HttpsServer("lbs").On(kLbsPath, Document())});
  const std::string keys = folder_.File("keys");
  std::vector<std::string> link = Fetching("link", lab, {"--wait"});
  link.insert(link.begin(), {"/usr/bin/env", "SSLKEYLOGFILE=" + keys});
  lab::Child child(link);
  EXPECT_THAT(child.ReadRest(),
              HasSubstr("192.0.2.1:1                              v4   from list"));
  std::ifstream in(keys);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "");
}

TEST_F(SturdyctlTest, BundleWithoutALogExplainsNothing) {
  lab::Child bundle({STURDYCTL, "bundle", folder_.path(), "--output", folder_.File("bundle")});
  EXPECT_THAT(bundle.ReadRest(),
              testing::ContainsRegex("bundle\n  http_dns/http_server_cache.data\n  state.txt\n"
                                     "  versions.txt\nThere is no line of a client's log, so "));
  EXPECT_EQ(bundle.Wait(), 0);
}

// The endless answer keeps the exit waiting.
TEST_F(SturdyctlTest, SecondCtrlCEndsAtOnce) {
  const lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, lab::Endless(500))});
  lab::Child watch(Fetching("watch", lab, {"--json"}));
  ASSERT_TRUE(lab.journal().WaitForRequests(1, kLimit));
  kill(watch.id(), SIGINT);
  WaitForEvent(watch, "exiting");
  kill(watch.id(), SIGINT);
  EXPECT_EQ(watch.ReadRest(), "");
  EXPECT_EQ(watch.Wait(), -SIGINT);
}

}  // namespace
