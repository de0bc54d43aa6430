// The log under a failing disk, damaged buffer files and a process that dies at any file call.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>

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

TEST_F(LogDamageTest, ABufferFileCutAtAnyLengthIsUsableOrEmpty) {
  ASSERT_TRUE(CreateFolders(folder_.File("logs")));
  const std::string text(kBuffer / 2, 't');
  std::string whole = std::string("\x7f\0\0\0", 4) + text;
  whole.resize(kBuffer + 4, 's');
  for (size_t length = 0; length <= whole.size(); ++length) {
    RemoveFile(path_);
    ASSERT_TRUE(WriteWholeFile(buffer_path_, whole.substr(0, length)));
    ExpectNextStartWorks();
    const std::string log = LogLines(path_).Text();
    EXPECT_EQ(std::count(log.begin(), log.end(), 't'),
              std::count(log.begin(), log.begin() + 1, '\r') *
                  static_cast<ptrdiff_t>(std::clamp<size_t>(length, 4, 4 + 0x7f) - 4))
        << length;
  }
}

TEST_F(LogDamageTest, AnyByteOfTheHeaderCanBeAnything) {
  ASSERT_TRUE(CreateFolders(folder_.File("logs")));
  for (size_t at = 0; at < MappedLogBuffer::kHeaderBytes; ++at) {
    for (int value = 0; value < 256; value += 15) {
      for (const size_t length : {kBuffer, kBuffer - 1}) {
        std::string bytes = std::string("\x10\0\0\0", 4) + std::string(length - 4, 't');
        bytes[at] = static_cast<char>(value);
        RemoveFile(path_);
        ASSERT_TRUE(WriteWholeFile(buffer_path_, bytes));
        ExpectNextStartWorks();
      }
    }
  }
}

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
      if (!fired) {
        EXPECT_GT(n, kLines) << "too few calls for a flush, a cut and a start";
      }
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
      while (*written < kLines) {
        WriteLine(logger, *written);
        ++*written;
      }
      return 0;
    });
    killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(killed || status == 0) << status;
    const LogLines log(path_);
    std::set<int> numbers;
    for (const std::string& text : log.With("line ")) {
      if (text.starts_with("line ")) {
        numbers.insert(std::stoi(text.substr(5)));
      }
    }
    const int last = numbers.empty() ? -1 : *numbers.rbegin();
    EXPECT_GE(last, *written - 1);
    EXPECT_EQ(numbers.size(), static_cast<size_t>(last + 1 - (last < 0 ? 0 : *numbers.begin())));
    if (FileSize(path_).value_or(0) < kLimit / 2) {
      EXPECT_TRUE(numbers.empty() || *numbers.begin() == 0);
    }
    const bool left_text = !log.Text().empty() && log.Text() != ReadWholeFile(path_, kLimit * 2);
    ExpectNextStartWorks();
    const std::vector<LogMessage> after = log.All();
    ASSERT_GE(after.size(), left_text ? 3U : 1U);
    EXPECT_EQ(after.size() > 1 && after[after.size() - 2].text == "load from mmap file end",
              left_text);
  }
  ::munmap(written, sizeof(std::atomic<int>));
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
