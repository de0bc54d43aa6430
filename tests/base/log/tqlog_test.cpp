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

TEST(TqlogTest, LineBeginsWithTimeIdsAndLevel) {
  ScopedTestClock clock;
  constexpr int64_t kWallMs = 1700000000007;
  clock.SetWall(kWallMs);
  const std::time_t second = kWallMs / 1000;
  std::array<char, 32> time{};
  std::strftime(time.data(), time.size(), "%m-%d %H:%M:%S.007 ", std::localtime(&second));
  const std::string process = time.data() + std::to_string(CurrentProcessId());
  const std::string prefix = process + "-" + std::to_string(CurrentThreadId()) + " ";
  const struct {
    int level;
    SourceLocation location;
    std::string rest;
  } cases[] = {
      {LV_INT, {"f.cpp", 3, "f"}, "[LV_INT] m1true\n"},
      {LV_WAR, {"f.cpp", 3, "f"}, "[LV_WAR] f.cpp:3\nm1true\n"},
      {LV_KER, {"f.cpp", -1, "f"}, "[LV_KER] \nm1true\n"},
      {7, {"f.cpp", 3, "f"}, "[] m1true\n"},
      {-1, {"f.cpp", 3, "f"}, "[] f.cpp:3\nm1true\n"},
  };
  Keeper keeper;
  for (const auto& each : cases) {
    Helper(each.level, each.location, &keeper) << std::string("m") << 1 << true;
    EXPECT_EQ(keeper.lines.back(), std::pair(each.level, prefix + each.rest));
  }
  SetCurrentThreadInfo({"worker", nullptr, 77});
  Helper(LV_APP, {}, &keeper) << "x";
  ClearCurrentThreadInfo();
  EXPECT_EQ(keeper.lines.back().second, process + "-77 [LV_APP] x\n");
  clock.SetWall(kWallMs + 1000);
  Helper(LV_APP, {}, &keeper) << "x";
  EXPECT_EQ(keeper.lines.back().second.substr(11, 8), ":21.007 ");
}

TEST(TqlogTest, WritesLinesOfItsLevel) {
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
  EXPECT_EQ(logger.GetLogFile(), path);
  EXPECT_EQ(std::filesystem::file_size(path + ".qel_mmap"), 65536u);
  logger.Close();
  logger.Write(LV_APP, "closed\n");
  EXPECT_EQ(ReadFilePrefix(path, 100), "kept\n");
}

TEST(TqlogTest, FilesAreForTheUserAlone) {
  const lab::TempFolder folder;
  const std::string path = folder.File("a/x.log");
  Logger logger;
  logger.SetLogFile(path, 0, 0);
  logger.Write(LV_KER, "x\n");
  logger.Flush();
  const std::pair<std::string, int> modes[] = {
      {path, 0600}, {path + ".qel_mmap", 0600}, {folder.File("a"), 0700}};
  for (const auto& [file, mode] : modes) {
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(mode)) << file;
  }
}

TEST(TqlogTest, StatementOutsideAnEnvironmentIsNotEvaluated) {
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
