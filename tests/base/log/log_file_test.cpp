#include "base/log/log_file.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>

#include "base/log/log_format.h"
#include "base/log/tqlog.h"
#include "base/platform/file.h"
#include "base/platform/file_faults_for_test.h"
#include "lab/child.h"
#include "lab/temp_folder.h"

namespace zo_base {
namespace {

constexpr uint32_t kBuffer = 64;
constexpr uint32_t kRoom = kBuffer - kLogBufferHeaderBytes;
constexpr uint32_t kNoLimit = 16 << 20;

std::string Framed(const std::string& text) {
  const std::string dashes(23, '-');
  return "\r\n " + dashes + "load from mmap file begin" + dashes + "\r\n" + text + "\r\n " +
         dashes + "load from mmap file end" + dashes + "\r\n";
}

std::string BufferBytes(int32_t header, const std::string& text, size_t size) {
  std::string bytes(size, '\0');
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes.replace(sizeof header, text.size(), text);
}

class LogFileTest : public testing::Test {
 protected:
  std::string Log() const { return ReadFilePrefix(path_, kNoLimit); }
  // The begin of the file. Bytes after the text are never read.
  std::string Buffer(size_t text_bytes) const {
    return ReadFilePrefix(buffer_path_, kLogBufferHeaderBytes + text_bytes);
  }
  void SetBuffer(const std::string& bytes) const {
    RemoveFile(path_);
    ASSERT_TRUE(WriteWholeFile(buffer_path_, bytes));
  }

  const lab::TempFolder folder_;
  const std::string path_ = folder_.File("x.log");
  const std::string buffer_path_ = path_ + ".qel_mmap";
};

TEST_F(LogFileTest, FailedReadOfABufferOfOtherSizeLosesNoText) {
  const std::string text(100000, 't');   // takes more than one read
  for (const int call : {2, 3, 4, 5}) {  // after the size: the open and three reads
    SetBuffer(BufferBytes(100000, text, 100000 + 4));
    LogFile log;
    const ScopedFileFault failing(call, FileFault::kFailOnce);
    EXPECT_TRUE(log.Init(path_, kNoLimit, kBuffer));
    EXPECT_TRUE(Log() == Framed(text)) << "a part of it is lost, call " << call;
  }
}

// The process is killed in one file call after another: while a start takes over the buffer, or
// while a flush empties it. Both also cut the log.
TEST_F(LogFileTest, DeathInAnyFileCallLosesNoLine) {
  constexpr uint32_t kLimit = 64;
  for (const std::string moment : {"start", "flush"}) {
    int calls = 0;
    for (bool killed = true; killed;) {
      SCOPED_TRACE(moment + " " + std::to_string(++calls));
      SetBuffer(moment == "flush" ? "" : BufferBytes(3, "old", kBuffer));
      ASSERT_TRUE(WriteWholeFile(path_, std::string(kLimit - 2, '.')));
      lab::Child victim({LOG_VICTIM, path_, std::to_string(kLimit), std::to_string(kBuffer), moment,
                         std::to_string(calls)});
      const std::string end = victim.ReadRest();
      ASSERT_NE(victim.Wait(), -1) << "it can't be started";
      killed = end.empty();
      EXPECT_TRUE(killed || end.starts_with("done")) << end;
      LogFile next;
      EXPECT_TRUE(next.Init(path_, kNoLimit, kBuffer));
      EXPECT_THAT(Log(), testing::AllOf(testing::StartsWith(std::string(kLimit / 2 - 2, '.')),
                                        testing::HasSubstr("old")));
      next.Write("new");
      EXPECT_EQ(Buffer(3), BufferBytes(3, "new", 7));
    }
    EXPECT_GT(calls, 10) << "too few";
  }
}

TEST_F(LogFileTest, FullBufferMovesToTheLogBeforeTheNewLine) {
  LogFile log;
  ASSERT_TRUE(log.Init(path_, 0, kBuffer));
  const std::string most(kRoom - 1, 'm');
  const std::string longer(kBuffer * 2, 'l');
  log.Write(most);
  EXPECT_EQ(Buffer(0), BufferBytes(kRoom - 1, "", 4));
  EXPECT_EQ(Log(), "");
  log.Write("1");
  EXPECT_EQ(Log(), most + "1");
  EXPECT_EQ(Buffer(kBuffer), std::string(kBuffer, '\0'));
  log.Write("2");
  log.Write(longer);
  log.Write("3");
  EXPECT_EQ(Log(), most + "12" + longer);
  EXPECT_TRUE(log.Close());
  log.Write("lost");
  EXPECT_EQ(Log(), most + "12" + longer + "3");
}

TEST_F(LogFileTest, LogAtItsLimitLosesItsOlderHalf) {
  for (const uint32_t setting : {16385U, 20000U, 3U, 1U, 0U}) {
    const uint32_t limit = setting != 0 ? setting : 8 << 20;
    std::string text;
    for (uint32_t i = 0; i + 1 < limit; ++i) {
      text += static_cast<char>('a' + i % 26);
    }
    RemoveFile(path_);
    LogFile log;
    ASSERT_TRUE(log.Init(path_, setting, kBuffer));
    EXPECT_TRUE(log.WriteToFile(text));
    EXPECT_TRUE(Log() == text) << limit;
    EXPECT_TRUE(log.WriteToFile("!"));
    EXPECT_TRUE(Log() == (text + "!").substr(limit / 2)) << limit;
  }
}

TEST_F(LogFileTest, FailedCutLeavesTheLogWholeAndIsRepeated) {
  constexpr uint32_t kLimit = 8;
  const std::string text = std::string(20000, '.') + "!";
  int calls = 2;  // those of the appending
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
    const std::string before = fired ? text : text.substr(kLimit / 2);
    EXPECT_EQ(Log(), before);
    EXPECT_FALSE(std::filesystem::exists(path_ + ".tmp"));
    EXPECT_TRUE(log.WriteToFile("new"));
    EXPECT_EQ(Log(), (before + "new").substr(kLimit / 2));
  }
  EXPECT_GT(calls, 12) << "too few for the whole of a cut";
}

TEST_F(LogFileTest, FailedStartCanBeRepeated) {
  LogFile log;
  EXPECT_FALSE(log.Init(path_, 0, kLogBufferHeaderBytes - 1));
  log.Write("lost");
  EXPECT_FALSE(log.Flush() || log.Close());
  EXPECT_TRUE(log.Init(path_, 0, kBuffer));
  log.Write("kept");
  EXPECT_TRUE(log.Close());
  EXPECT_EQ(Log(), "kept");
}

}  // namespace
}  // namespace zo_base
