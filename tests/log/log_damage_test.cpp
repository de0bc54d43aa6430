// The log under a failing disk, damaged buffer files and a process that dies at any file call.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>

#include "base/log/log_file.h"
#include "base/log/tqlog.h"
#include "base/platform/file.h"
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

// Runs `body` in a child process and returns its wait status.
int InChild(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(body());
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
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

// Whatever call it dies in, no line is lost but the one that was being written, and a cut keeps
// the newer half of the log.
TEST_F(LogDamageTest, AProcessCanDieInAnyFileCall) {
  auto* const written = static_cast<std::atomic<int>*>(::mmap(nullptr, sizeof(std::atomic<int>),
                                                              PROT_READ | PROT_WRITE,
                                                              MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(written, MAP_FAILED);
  bool killed = true;
  for (int n = 1; killed; ++n) {
    SCOPED_TRACE(n);
    std::filesystem::remove_all(folder_.File("logs"));
    *written = 0;
    const int status = InChild([&] {
      const ScopedFileFault fault(n, FileFault::kKill);
      Logger logger;
      logger.SetLogFile(path_, kLimit, kBuffer);
      for (; *written < kLines; ++*written) {
        WriteLine(logger, *written);
        if (*written % 10 == 5) {
          logger.Flush();
        }
      }
      return 0;
    });
    killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(killed || status == 0) << status;
    const LogLines log(path_);
    const std::string text = log.Text();
    const std::string count = ReadFilePrefix(buffer_path_, sizeof(int32_t));
    const bool buffer_has_text = count.find_first_not_of('\0') != count.npos;
    int first = *written;
    while (first > 0 && text.find("line " + std::to_string(first - 1) + "\n") != text.npos) {
      --first;
    }
    EXPECT_TRUE(first == 0 || (first < *written && text.size() >= kLimit / 2)) << text;
    ExpectNextStartWorks();
    const Messages after = log.Texts();
    EXPECT_EQ(after.size() > 1 && after[after.size() - 2] == "load from mmap file end",
              buffer_has_text);
  }
  ::munmap(written, sizeof(std::atomic<int>));
}

TEST_F(LogDamageTest, AProcessCanDieAsItTakesOverWhatAFormerOneLeft) {
  bool killed = true;
  for (int n = 1; killed; ++n) {
    SCOPED_TRACE(n);
    std::filesystem::remove_all(folder_.File("logs"));
    {
      Logger former;
      former.SetLogFile(path_, kLimit, kBuffer);
      WriteLine(former, 0);
    }
    const int status = InChild([&] {
      const ScopedFileFault fault(n, FileFault::kKill);
      Logger().SetLogFile(path_, kLimit, kBuffer);
      return 0;
    });
    killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(killed || (status == 0 && n > 10)) << status << ", or too few calls for a start";
    ExpectNextStartWorks();
    EXPECT_FALSE(LogLines(path_).With("line 0").empty());
  }
}

// It dies in mid-copy, of a line whose second half can't be read.
TEST_F(LogDamageTest, ALineCountsOnceAllOfItIsInTheBuffer) {
  const std::string path = folder_.File("x.log");
  const int status = InChild([&] {
    std::signal(SIGSEGV, [](int) { ::_exit(0); });
    const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    auto* const pages = static_cast<char*>(
        ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ::mprotect(pages + page, page, PROT_NONE);
    LogFile log;
    log.Init(path, kLimit, kBuffer);
    log.Write("whole\n");
    log.Write({pages + page - kBuffer / 4, kBuffer / 2});
    return 1;
  });
  EXPECT_EQ(status, 0);
  LogFile next;
  EXPECT_TRUE(next.Init(path, kLimit, kBuffer));
  EXPECT_EQ(LogLines(path).Texts(),
            (Messages{"load from mmap file begin", "whole", "load from mmap file end"}));
}

// On a real disk that is full: the start of the log fails, and a buffer that was made takes text
// though not a byte is left.
TEST_F(LogDamageTest, AFullDiskMakesTheStartFailAndKillsNobody) {
  constexpr int kNoNamespace = 77;
  constexpr uint32_t kDiskBytes = 64 * 1024;
  const int status = InChild([&] {
    if ((::unshare(CLONE_NEWNS) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", folder_.path().c_str(), "tmpfs", 0, "size=64k") != 0) {
      return kNoNamespace;
    }
    const std::string path = folder_.File("x.log");
    LogFile log;
    if (log.Init(path, 0, kDiskBytes * 2) || FileExists(path + ".qel_mmap")) {
      return 1;
    }
    log.Write("lost");
    if (!log.Init(path, 0, kDiskBytes / 2)) {
      return 2;
    }
    for (uint32_t bytes = 0; bytes < kDiskBytes * 4; bytes += 16) {
      log.Write("sixteen bytes..\n");
    }
    return 0;
  });
  ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  if (WEXITSTATUS(status) == kNoNamespace) {
    GTEST_SKIP() << "no mount namespace may be made here";
  }
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace zo_base
