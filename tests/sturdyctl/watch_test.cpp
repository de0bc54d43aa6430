#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "lab/paths.h"
#include "tests/support/child.h"
#include "tests/support/server_cache.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::HasSubstr;

constexpr auto kLimit = 30s;
constexpr char kPath[] = "/lbs/conf.jsp";

lab::Behaviour Document(const lab::LbsReport& report = {}) {
  return lab::Answer(lab::LbsDocument()
                         .Link({"192.0.2.1:1"})
                         .LinkDefault({"192.0.2.2:2"})
                         .Lbs(std::string("${url:lbs}") + kPath)
                         .Report(report)
                         .Text());
}

class WatchTest : public testing::Test {
 protected:
  WatchTest() { WriteServerCache(FinalDataFolder(folder_.path())); }

  std::vector<std::string> Command(const std::string& name, std::vector<std::string> more) const {
    std::vector<std::string> command = {STURDYCTL, name, "--data", folder_.path()};
    command.insert(command.end(), more.begin(), more.end());
    return command;
  }

  // Reads events until one of that name has come.
  static json WaitForEvent(Child& watch, const std::string& name) {
    for (std::string line = watch.ReadLine(); !line.empty(); line = watch.ReadLine()) {
      const json event = json::parse(line, nullptr, false);
      if (event.is_object() && event.at("event") == name) {
        return event;
      }
    }
    ADD_FAILURE() << "the output ended without " << name;
    return {};
  }

  const TempFolder folder_;
};

TEST_F(WatchTest, CtrlCExitsInOrder) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const lab::Lab lab({lab::HttpServer("lbs").On(kPath, Document())});
    Child watch(Command("watch", {"--token", "t", "--lbs", lab.Url("lbs", kPath)}));
    EXPECT_THAT(watch.ReadLine(),
                testing::AllOf(HasSubstr("log: " + folder_.path()), HasSubstr("sturdy_comp.log")));
    EXPECT_EQ(watch.ReadLine(), "Ctrl-C ends.");
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

// The exit waits for the transfer, which the silent server keeps open; a second one doesn't.
TEST_F(WatchTest, ASecondCtrlCEndsAtOnce) {
  const lab::Lab lab({lab::HttpServer("lbs").On(kPath, lab::Silent())});
  Child watch(Command("watch", {"--json", "--token", "t", "--lbs", lab.Url("lbs", kPath)}));
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
