#include "base/log/tqlog.h"

#include <gmock/gmock.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <utility>

#include "base/log/log.h"
#include "base/platform/file.h"
#include "base/platform/thread.h"
#include "base/process/at_exit.h"
#include "base/thread/clock_for_test.h"
#include "base/thread/thread_info.h"
#include "lab/temp_folder.h"
#include "tests/support/log_lines.h"

namespace zo_base {
namespace {

using testing::ElementsAre;

using Logger = TQLogImplBase<SturdyObject>;
using Helper = TQLogHelper<SturdyObject>;

class Keeper : public Logger {
 public:
  void Write(int level, const std::string& text) override { lines.emplace_back(level, text); }
  std::vector<std::pair<int, std::string>> lines;
};

TQLogImpl<SturdyObject>* TheLogger() {
  return TQLogImpl<SturdyObject>::Instance();
}

TEST(TqlogTest, ALineHasTimeIdsAndLevelAndIfSevereItsPlace) {
  ScopedTestClock clock;
  constexpr int64_t kWallMs = 1700000000007;
  clock.SetWall(kWallMs);
  const std::time_t second = kWallMs / 1000;
  std::tm parts{};
  ::localtime_r(&second, &parts);
  std::array<char, 32> time{};
  std::strftime(time.data(), time.size(), "%m-%d %H:%M:%S.007 ", &parts);
  const std::string process = time.data() + std::to_string(CurrentProcessId());
  const std::string prefix = process + "-" + std::to_string(CurrentThreadId()) + " ";
  const struct {
    int level;
    SourceLocation location;
    std::string rest;
  } cases[] = {
      {LV_INT, {"f.cpp", 3, "f"}, "[LV_INT] m1true\n"},
      {LV_PRO, {"f.cpp", 3, "f"}, "[LV_PRO] m1true\n"},
      {LV_WAR, {"f.cpp", 3, "f"}, "[LV_WAR] f.cpp:3\nm1true\n"},
      {LV_KER, {"f.cpp", -1, "f"}, "[LV_KER] \nm1true\n"},
      {LV_ERR, {"f.cpp", 3, ""}, "[LV_ERR] \nm1true\n"},
      {7, {"f.cpp", 3, "f"}, "[] m1true\n"},
      {-1, {"f.cpp", 3, "f"}, "[] f.cpp:3\nm1true\n"},
  };
  for (const auto& each : cases) {
    Keeper keeper;
    Helper(each.level, each.location, &keeper) << std::string("m") << 1 << true;
    EXPECT_THAT(keeper.lines, ElementsAre(std::pair(each.level, prefix + each.rest)));
  }
  clock.SetWall(kWallMs + 1000);
  Keeper keeper;
  Helper(LV_APP, {}, &keeper) << "x";
  std::strftime(time.data(), time.size(), "%m-%d %H:%M:", &parts);
  EXPECT_EQ(keeper.lines.back().second.substr(0, 18), time.data() + std::string("21.007"));
  clock.SetWall(kWallMs);
  keeper.lines.clear();
  SetCurrentThreadInfo({"worker", nullptr, 77});
  Helper(LV_APP, {}, &keeper) << "x";
  ClearCurrentThreadInfo();
  EXPECT_THAT(keeper.lines, ElementsAre(std::pair(LV_APP, process + "-77 [LV_APP] x\n")));
}

TEST(TqlogTest, FiltersByLevelOnceThereIsAPath) {
  const lab::TempFolder folder;
  const std::string path = folder.File("a/b/x.log");
  Logger logger;
  logger.Write(LV_KER, "before\n");
  EXPECT_EQ(logger.GetLevel(), LV_KER);
  logger.SetLogFile(path, 0, 0);
  logger.SetLevel(LV_APP);
  logger.Write(LV_PRO, "too low\n");
  logger.Write(LV_APP, "kept\n");
  logger.Flush();
  EXPECT_EQ(ReadFilePrefix(path, 100), "kept\n");
  EXPECT_EQ(logger.GetLogFile(), path);
  EXPECT_EQ(std::filesystem::file_size(path + ".qel_mmap"), 65536u);
  logger.Close();
  logger.Write(LV_APP, "closed\n");
  EXPECT_EQ(ReadFilePrefix(path, 100), "kept\n");
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(path).permissions(), perms(0600));
  EXPECT_EQ(std::filesystem::status(path + ".qel_mmap").permissions(), perms(0600));
  EXPECT_EQ(std::filesystem::status(folder.File("a")).permissions(), perms(0700));
}

TEST(TqlogTest, DropsStatementsOutsideAnEnvironmentUnevaluated) {
  const lab::TempFolder folder;
  const auto evaluated = [] {
    ADD_FAILURE() << "an operand of a dropped line is evaluated";
    return "";
  };
  ZO_LOG(LV_KER) << evaluated();
  for (const char* run : {"first", "second"}) {
    const auto manager = IAtExitManager<SturdyObject>::Get();
    EXPECT_EQ(TheLogger()->GetLevel(), LV_KER);
    EXPECT_EQ(TheLogger()->GetLogFile(), "");
    TheLogger()->SetLogFile(folder.File("x.log"), 0, 0);
    TheLogger()->SetLevel(LV_APP);
    ZO_LOG(LV_APP) << run;
    ZO_LOG(LV_ERR) << "severe";
    ZO_LOG(LV_PRO) << evaluated();
  }
  ZO_LOG(LV_KER) << evaluated();
  EXPECT_NE(TheLogger(), nullptr);
  const LogLines log(folder.path() + "/x.log");
  EXPECT_THAT(log.Texts(), ElementsAre("load from mmap file begin", "first", "severe",
                                       "load from mmap file end", "second", "severe"));
  EXPECT_THAT(log.All()[2].location, testing::StartsWith("tqlog_test.cpp:"));
}

}  // namespace
}  // namespace zo_base
