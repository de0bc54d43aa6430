#include "base/log/log_file.h"

#include <gtest/gtest.h>

#include <cstring>

#include "base/log/tqlog.h"
#include "base/platform/file.h"
#include "base/platform/file_faults_for_test.h"
#include "tests/support/temp_folder.h"

namespace zo_base {
namespace {

constexpr uint32_t kBuffer = 64;
constexpr uint32_t kRoom = kBuffer - MappedLogBuffer::kHeaderBytes;
constexpr uint32_t kNoLimit = 1 << 20;
constexpr char kBegin[] =
    "\r\n -----------------------load from mmap file begin-----------------------\r\n";
constexpr char kEnd[] =
    "\r\n -----------------------load from mmap file end-----------------------\r\n";

std::string Framed(const std::string& text) {
  return kBegin + text + kEnd;
}

std::string BufferBytes(int32_t header, const std::string& text, size_t size) {
  std::string bytes(size, '\0');
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes.replace(sizeof header, text.size(), text);
}

class LogFileTest : public testing::Test {
 protected:
  std::string Log() const { return ReadWholeFile(path_, kNoLimit); }
  std::string Buffer() const { return ReadWholeFile(buffer_path_, kNoLimit); }
  int32_t Header() const {
    int32_t header = -1;
    std::memcpy(&header, Buffer().data(), sizeof header);
    return header;
  }

  const TempFolder folder_;
  const std::string path_ = folder_.File("x.log");
  const std::string buffer_path_ = path_ + ".qel_mmap";
};

TEST_F(LogFileTest, TakesOverWhatAFormerRunLeft) {
  const std::string full(kRoom, 'f');
  const struct {
    const char* what;
    std::string old_buffer;
    std::string log;
  } cases[] = {
      {"text", BufferBytes(5, "12345678", kBuffer), Framed("12345")},
      {"none", BufferBytes(0, "stale", kBuffer), ""},
      {"to the last byte", BufferBytes(kRoom, full, kBuffer), Framed(full)},
      {"a header one too high", BufferBytes(kRoom + 1, full, kBuffer), Framed(full)},
      {"a header far too high", BufferBytes(0x7fffffff, full, kBuffer), Framed(full)},
      {"a negative header", BufferBytes(-5, full, kBuffer), ""},
      {"a longer file", BufferBytes(5, "12345678", kBuffer * 3), Framed("12345")},
      {"a shorter file, header too high", BufferBytes(99, "12345678", 12), Framed("12345678")},
      {"a file of nothing", "", ""},
      {"a cut header", std::string("\x05\0\0", 3), ""},
      {"a shorter file, negative header", BufferBytes(-1, "12345678", 12), ""},
  };
  for (const auto& each : cases) {
    RemoveFile(path_);
    ASSERT_TRUE(WriteWholeFile(buffer_path_, each.old_buffer));
    TQLogImplBase<SturdyObject> logger;
    logger.SetLogFile(path_, 0, kBuffer);
    EXPECT_EQ(Log(), each.log) << each.what;
    EXPECT_EQ(FileSize(buffer_path_), kBuffer) << each.what;
    logger.Write(LV_KER, "new\n");
    EXPECT_EQ(Buffer().substr(0, 8), BufferBytes(4, "new\n", 8)) << each.what;
  }
}

TEST_F(LogFileTest, ABufferOfAnotherSizeThatCanNotBeReadIsTakenOverAllTheSame) {
  const std::string text(100000, 't');   // more than one read brings
  for (const int call : {2, 3, 4, 5}) {  // after the look at its size: the open and three reads
    SCOPED_TRACE(call);
    RemoveFile(path_);
    ASSERT_TRUE(WriteWholeFile(buffer_path_, BufferBytes(100000, text, 100000 + 4)));
    LogFile log;
    const ScopedFileFault failing(call, FileFault::kFailOnce);
    EXPECT_TRUE(log.Init(path_, kNoLimit, kBuffer));
    EXPECT_TRUE(Log() == Framed(text)) << "a part of it is lost";
  }
}

TEST_F(LogFileTest, AFullBufferGoesToTheLogWithTheNewLineLast) {
  LogFile log;
  ASSERT_TRUE(log.Init(path_, 0, kBuffer));
  const std::string most(kRoom - 1, 'm');
  log.Write(most);
  EXPECT_EQ(Header(), static_cast<int32_t>(kRoom - 1));
  EXPECT_EQ(Log(), "");
  log.Write("1");
  EXPECT_EQ(Log(), most + "1");
  EXPECT_EQ(Buffer(), std::string(kBuffer, '\0'));
  const std::string longer(kBuffer * 2, 'l');
  log.Write("2");
  log.Write(longer);
  EXPECT_EQ(Log(), most + "12" + longer);
  log.Write("3");
  EXPECT_TRUE(log.Flush());
  log.Write("4");
  EXPECT_TRUE(log.Close());
  log.Write("5");
  EXPECT_EQ(Log(), most + "12" + longer + "34");
}

TEST_F(LogFileTest, ALogAtItsLimitLosesItsOlderHalf) {
  for (const uint32_t limit : {16385U, 20000U, 3U, 1U}) {
    for (const uint32_t missing : {1U, 0U}) {
      std::string text(limit - missing, '\0');
      for (size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char>('a' + i % 26);
      }
      RemoveFile(path_);
      LogFile log;
      ASSERT_TRUE(log.Init(path_, limit, kBuffer));
      EXPECT_TRUE(log.WriteToFile(text));
      EXPECT_EQ(Log(), missing != 0 ? text : text.substr(limit / 2)) << limit;
      EXPECT_FALSE(FileExists(path_ + ".tmp"));
    }
  }
}

TEST_F(LogFileTest, ACutThatFailsLeavesTheLogWholeAndTheNextOneMakesUpForIt) {
  constexpr uint32_t kLimit = 8;
  constexpr int kAppendCalls = 2;
  std::string text(20000, '.');
  text.back() = '!';
  int calls = kAppendCalls;
  for (bool fired = true; fired;) {
    SCOPED_TRACE(++calls);
    RemoveFile(path_);
    LogFile log;
    ASSERT_TRUE(log.Init(path_, kLimit, kBuffer));
    {
      const ScopedFileFault failing(calls, FileFault::kFailOnce);
      EXPECT_TRUE(log.WriteToFile(text));
      fired = ScopedFileFault::Fired();
    }
    EXPECT_EQ(Log(), fired ? text : text.substr(kLimit / 2));
    EXPECT_FALSE(FileExists(path_ + ".tmp"));
    const std::string before = Log();
    EXPECT_TRUE(log.WriteToFile("new"));
    EXPECT_EQ(Log(), (before + "new").substr(kLimit / 2));
  }
  EXPECT_GT(calls, kAppendCalls + 10) << "too few for the whole of a cut";
}

TEST_F(LogFileTest, AFolderInAFilesPlaceCostsNoMoreThanThatFile) {
  ASSERT_TRUE(CreateFolders(path_ + ".tmp"));
  LogFile log;
  ASSERT_TRUE(log.Init(path_, 4, kBuffer));
  EXPECT_TRUE(log.WriteToFile("not cut"));
  EXPECT_EQ(Log(), "not cut");
  RemoveFile(path_);
  ASSERT_TRUE(CreateFolders(path_));
  log.Write(std::string(kBuffer, 'x'));
  log.Write("kept");
  EXPECT_EQ(Header(), 4);
  LogFile without_buffer;
  EXPECT_FALSE(without_buffer.Init(folder_.path(), 0, 3));
  without_buffer.Write("lost");
  EXPECT_FALSE(without_buffer.Flush() || without_buffer.Close());
}

}  // namespace
}  // namespace zo_base
