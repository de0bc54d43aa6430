#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/test_document.h"

namespace {

using testing::HasSubstr;

constexpr std::time_t kHour = 3600;

// Returns a time as the log writes it.
std::string At(std::time_t seconds_from_now) {
  const std::time_t time = std::time(nullptr) + seconds_from_now;
  std::tm local = {};
  localtime_r(&time, &local);
  std::array<char, 32> text = {};
  std::strftime(text.data(), text.size(), "%m-%d %H:%M:%S.500", &local);
  return text.data();
}

std::string Line(std::time_t seconds_from_now, const std::string& text) {
  return At(seconds_from_now) + " 4-8 [LV_APP] " + text + "\n";
}

class LogCommand : public testing::Test {
 protected:
  // A time zone whose clock never changes, for this process and its children.
  LogCommand() {
    setenv("TZ", "TEST-5", 1);
    tzset();
  }

  // Returns the output of a shell command, followed by its exit code.
  static std::string Run(const std::string& command) {
    lab::Child child({"/bin/sh", "-c", std::string(STURDYCTL) + " " + command});
    const std::string output = child.ReadRest();
    return output + std::to_string(child.Wait());
  }
  void Write(const std::string& folder, const std::string& text) const {
    std::filesystem::create_directories(folder_.File(folder));
    std::ofstream(folder_.File(folder) + "/sturdy_comp.log", std::ios::app) << text;
  }

  const lab::TempFolder folder_;
};

TEST_F(LogCommand, FiltersByTagAndTime) {
  const std::string old = Line(-300 * 24 * kHour, "[lbs] old\r\nbody\r\n");  // perhaps of last year
  const std::string hours = Line(-2 * kHour, "[multiple][rsp]two hours");
  const std::string back = Line(-3 * kHour, "[lbs] after the clock was set back");
  const std::string now = Line(0, "banner");
  Write("sturdy_comp/0123", old + hours + back + now);
  const std::string log = folder_.File("sturdy_comp/0123/sturdy_comp.log");
  const struct {
    std::vector<std::string> arguments;
    std::string shown;
  } cases[] = {
      {{folder_.path()}, old + hours + back + now},
      {{folder_.File("sturdy_comp")}, old + hours + back + now},
      {{folder_.File("sturdy_comp/0123")}, old + hours + back + now},
      {{log, "--tag", "lbs"}, old + back},
      {{log, "--tag", "[rsp]", "--tag", "lbs"}, old + hours + back},
      {{log, "--since", "150m"}, hours + back + now},
      {{log, "--since", "1d", "--tag", "lbs"}, back},
      {{log, "--since", "3600s"}, now},
      {{log, "--since", "365d"}, old + hours + back + now},
      {{log, "--since", At(-2 * kHour - 60)}, hours + back + now},
      {{log, "--since", At(-2 * kHour + 60).substr(0, 14)}, now},
      {{log, "--until", "3600s", "--tag", "rsp", "--tag", "misspelt"},
       "sturdyctl: no message has the tag misspelt; the tags are: lbs, multiple, rsp.\n" + hours},
      {{log, "--since", "150m", "--until", "3600s", "--follow"}, hours + back},
  };
  for (const auto& show : cases) {
    std::vector<std::string> command = {STURDYCTL, "log"};
    command.insert(command.end(), show.arguments.begin(), show.arguments.end());
    lab::Child child(command);
    EXPECT_EQ(child.ReadRest(), show.shown) << testing::PrintToString(show.arguments);
    EXPECT_EQ(child.Wait(), 0);
  }
  for (const char* way : {"", " --follow"}) {  // which would run forever
    EXPECT_EQ(Run("log " + log + way + " >/dev/full"),
              "sturdyctl: the output can't be written.\n1");
  }
  Write("sturdy_comp/4567", now);
  lab::Child child({STURDYCTL, "log", folder_.path()});
  EXPECT_THAT(child.ReadRest(), testing::AllOf(HasSubstr("several logs"), HasSubstr(log)));
  EXPECT_EQ(child.Wait(), 2);
}

// The client's newest lines are in its buffer.
TEST_F(LogCommand, FollowsARunningClientUntilCtrlC) {
  lab::WriteServerCache(lab::DataFolder(folder_.path()));
  lab::Lab lab(
      {lab::HttpServer("lbs").On(kLbsPath, lab::Answer(TestDocument().Text()).HeldAt("gate"))});
  lab::Child watch({STURDYCTL, "watch", "--data", folder_.path(), "--token", "t", "--lbs",
                    lab.Url("lbs", kLbsPath)});
  ASSERT_TRUE(lab.gates().WaitForHeld("gate", 1, std::chrono::seconds(30)));
  for (const int signal : {SIGINT, SIGTERM}) {
    lab::Child log({STURDYCTL, "log", "--follow", "--tag", "lbs", folder_.path()});
    EXPECT_NE(log.ReadLineWith("] [lbs] Begin update LBS"), "");
    lab.gates().Open("gate");
    EXPECT_THAT(log.ReadLineWith("set updatting = false"), HasSubstr("] [lbs]UpdateLBS"));
    kill(log.id(), signal);
    EXPECT_EQ(log.ReadRest().find("[multiple]"), std::string::npos);
    EXPECT_EQ(log.Wait(), 0);
  }
}

}  // namespace
