// The log under a failing disk.
#include <gtest/gtest.h>

#include <filesystem>

#include "base/log/tqlog.h"
#include "base/platform/file_faults_for_test.h"
#include "tests/support/log_lines.h"
#include "tests/support/temp_folder.h"

namespace zo_base {
namespace {

constexpr uint32_t kBuffer = 256;
constexpr uint32_t kLimit = 1024;
constexpr int kLines = 60;  // fill the buffer often enough to cut the log twice
constexpr int kNextStart = 1000;

using Logger = TQLogImplBase<SturdyObject>;

void WriteLine(Logger& logger, int number) {
  TQLogHelper<SturdyObject>(LV_KER, {}, &logger) << "line " << number;
}

class LogDamageTest : public testing::Test {
 protected:
  // The next start works, and its line is the last one of the log.
  void ExpectNextStartWorks() const {
    Logger next;
    next.SetLogFile(path_, kLimit, kBuffer);
    WriteLine(next, kNextStart);
    const Messages texts = LogLines(path_).Texts();
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back(), "line " + std::to_string(kNextStart));
  }

  const TempFolder folder_;
  const std::string path_ = folder_.File("logs/x.log");
  const std::string buffer_path_ = path_ + ".qel_mmap";
};

TEST_F(LogDamageTest, AnyFileCallCanFail) {
  for (const FileFault fault : {FileFault::kFailOnce, FileFault::kFailOn}) {
    bool fired = true;
    for (int n = 1; fired; ++n) {
      SCOPED_TRACE(n);
      std::filesystem::remove_all(folder_.File("logs"));
      Logger logger;
      {
        const ScopedFileFault failing(n, fault);
        logger.SetLogFile(path_, kLimit, kBuffer);
        for (int i = 0; i < kLines; ++i) {
          WriteLine(logger, i);
        }
        logger.Flush();
        fired = ScopedFileFault::Fired();
      }
      logger.SetLogFile(path_, kLimit, kBuffer);  // a start that failed can be tried again
      WriteLine(logger, kLines);
      EXPECT_TRUE(LogLines(path_).WaitFor("line " + std::to_string(kLines)));
      ExpectNextStartWorks();
      EXPECT_TRUE(fired || n > kLines) << "too few calls for a start, flushes and cuts";
    }
  }
}

}  // namespace
}  // namespace zo_base
