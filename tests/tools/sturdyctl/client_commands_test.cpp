#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
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

  // Reads events until one of that name has come.
  static json WaitForEvent(lab::Child& watch, const std::string& name) {
    for (std::string line = watch.ReadLine(); !line.empty(); line = watch.ReadLine()) {
      const json event = json::parse(line, nullptr, false);
      if (event.is_object() && event.at("event") == name) {
        return event;
      }
    }
    ADD_FAILURE() << "the output ended without " << name;
    return {};
  }

  const lab::TempFolder folder_;
};

TEST_F(SturdyctlTest, CtrlCExitsInOrder) {
  for (const int signal : {SIGINT, SIGTERM}) {
    lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, Document().HeldAt("gate"))});
    lab::Child watch(Command("watch", {"--token", "t", "--lbs", lab.Url("lbs", kLbsPath)}));
    EXPECT_THAT(watch.ReadLine(),
                testing::AllOf(HasSubstr("log: " + folder_.path()), HasSubstr("sturdy_comp.log")));
    EXPECT_EQ(watch.ReadLine(), "Ctrl-C ends.");
    EXPECT_TRUE(lab.WaitForHeld("gate", 1, kLimit));
    lab.Release("gate");
    std::string line = watch.ReadLine();
    while (line.find("link servers: 192.0.2.1:1") == std::string::npos && !line.empty()) {
      line = watch.ReadLine();
    }
    kill(watch.id(), signal);
    const std::string rest = watch.ReadRest();
    EXPECT_THAT(rest, testing::ContainsRegex(
                          "  exit begins \\(a second Ctrl-C ends at once\\)\n[^\n]*  exited\n$"));
    EXPECT_EQ(watch.Wait(), 0);
  }
}

// The table is good for a second. Each update begins with the service's domain, whose refusal is a
// failure to be reported.
TEST_F(SturdyctlTest, ShowsReportsAndServiceUpdates) {
  const lab::LbsReport each{"${url:reports}", true, 1, 60000, 0};
  const auto table = lab::ServiceTable().Domain("localhost").V4({"dns"}).Ttl(1).Text();
  lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, Document(each)),
                lab::HttpServer("dns").On(lab::kServiceTablePath, lab::Answer(table)),
                lab::HttpServer("reports").On(
                    lab::kReportPath, {lab::Answer(200), lab::Answer(500), lab::Answer(200)})});
  lab::WriteServerCache(lab::DataFolder(folder_.path()),
                        {.ipv4 = {{"127.0.0.1", lab.Port("dns"), false}},
                         .expires_in = std::chrono::milliseconds(0)});
  lab::Child watch(Command("watch", {"--json", "--token", "t", "--lbs", lab.Url("lbs", kLbsPath)}));
  WaitForEvent(watch, "service_update_begun");
  const json records = WaitForEvent(watch, "report_sent").at("records");
  EXPECT_EQ(records.at(0).at("request_url"), "https://localhost/httpdns/v2/s");
  EXPECT_TRUE(WaitForEvent(watch, "report_done").at("success"));
  ASSERT_TRUE(lab.WaitForRequestsFor(lab::kReportPath, 1, kLimit));
  EXPECT_EQ(json::parse(lab.RequestsFor(lab::kReportPath).at(0).body), records);
  EXPECT_TRUE(WaitForEvent(watch, "service_update_done").at("success"));
  EXPECT_FALSE(WaitForEvent(watch, "report_done").at("success"));
  lab.StopListening("dns");
  while (WaitForEvent(watch, "service_update_done").value("success", false)) {
  }
}

TEST_F(SturdyctlTest, QueryHostTellsWhatItHasAndWhetherThatIsAll) {
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
  for (const auto& query : cases) {
    std::vector<std::string> arguments = query.arguments;
    arguments.push_back("--json");
    lab::Child child(Command("query-host", arguments));
    EXPECT_EQ(json::parse(child.ReadRest()).at("hosts").dump(), query.hosts);
    EXPECT_EQ(child.Wait(), query.code);
  }
  lab::Child text(Command("query-host", {"a.test", "b.test"}));
  EXPECT_THAT(text.ReadRest(),
              testing::ContainsRegex(
                  "^a.test +192.0.2.1 192.0.2.2 \\[2001:db8::1\\]\nb.test +not resolved\nlog: "));
  EXPECT_EQ(text.Wait(), 1);
}

// What a host process gives to the programs that it starts, and what it makes of TLS keys.
TEST_F(SturdyctlTest, KeepsItsDescriptorsAndTellsKeysWhereTheHostWantsThem) {
  const lab::Lab lab(
      {lab::HttpServer("silent").On(kLbsPath, lab::Silent()),
       lab::HttpsServer("lbs", lab::Certificate::kSelfSigned).On(kLbsPath, Document())});
  lab::Child watch(Command("watch", {"--token", "t", "--lbs", lab.Url("silent", kLbsPath)}));
  ASSERT_TRUE(lab.WaitForRequests(1, kLimit));
  namespace fs = std::filesystem;
  std::set<fs::path> others;  // the lab leaves its sockets to the child
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    others.insert(fs::read_symlink(entry.path(), gone));
  }
  std::ifstream pairs("/proc/net/unix");  // by which libcurl wakes its own waits
  for (std::string line, word; std::getline(pairs, line);) {
    std::istringstream words(line);
    for (int i = 0; i < 7 && words >> word; ++i) {
    }
    others.insert("socket:[" + word + "]");
  }
  int descriptors = 0;
  const fs::path process = "/proc/" + std::to_string(watch.id());
  for (const auto& entry : fs::directory_iterator(process / "fd")) {
    const fs::path number = entry.path().filename();
    std::ifstream info(process / "fdinfo" / number);
    std::string key;
    unsigned flags = 0;
    while (info >> key && key != "flags:") {
    }
    if (std::stoi(number) > 2 && others.count(fs::read_symlink(entry.path())) == 0) {
      info >> std::oct >> flags;
      EXPECT_NE(flags & O_CLOEXEC, 0U) << fs::read_symlink(entry.path());
      ++descriptors;
    }
  }
  EXPECT_GT(descriptors, 0) << "the transfer has one";

  const std::string keys = folder_.File("keys");
  std::vector<std::string> link = Command("link", {"--wait", "--token", "t", "--lbs"});
  link.insert(link.begin(), {"/usr/bin/env", "SSLKEYLOGFILE=" + keys});
  link.push_back(lab.Url("lbs", kLbsPath));
  lab::Child child(link);
  EXPECT_THAT(child.ReadRest(), HasSubstr("192.0.2.1:1"));
  std::ifstream in(keys);
  EXPECT_THAT(std::string(std::istreambuf_iterator<char>(in), {}), HasSubstr("CLIENT_"));
}

// The exit waits for the transfer, which the silent server keeps open; a second one doesn't.
TEST_F(SturdyctlTest, ASecondCtrlCEndsAtOnce) {
  const lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, lab::Silent())});
  lab::Child watch(Command("watch", {"--json", "--token", "t", "--lbs", lab.Url("lbs", kLbsPath)}));
  ASSERT_TRUE(lab.WaitForRequests(1, kLimit));
  kill(watch.id(), SIGINT);
  WaitForEvent(watch, "exiting");
  const auto begin = std::chrono::steady_clock::now();
  kill(watch.id(), SIGINT);
  EXPECT_EQ(watch.ReadRest(), "");
  EXPECT_EQ(watch.Wait(), -SIGINT);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
}

}  // namespace
