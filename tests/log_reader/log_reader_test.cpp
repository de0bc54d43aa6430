#include "tools/log_reader/log_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/log/tqlog.h"
#include "tests/support/temp_folder.h"

namespace log_reader {
namespace {

using testing::ElementsAre;

constexpr size_t kCapacity = 400;
const std::string kBegin(kOldTextBegin);
const std::string kEnd(kOldTextEnd);

// A line as the log has it; the number is in its time too, so that lines differ from the first.
std::string Line(int number) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "03-14 15:09:%02d.%03d 4-8 [LV_APP] line %d\n",
                number / 1000 % 60, number % 1000, number);
  return text.data();
}

std::string Lines(int first, int end) {
  std::string text;
  for (; first < end; ++first) {
    text += Line(first);
  }
  return text;
}

// The files of a log, to be set to any moment of the writer's steps.
class LogReaderTest : public testing::Test {
 protected:
  void Append(const std::string& text) const {
    std::ofstream(path_, std::ios::binary | std::ios::app) << text;
  }
  void SetLog(const std::string& text) const {
    std::filesystem::remove(path_);
    Append(text);
  }
  // By renaming, as a cut does.
  void Cut(const std::string& text) const {
    std::ofstream(path_ + ".tmp", std::ios::binary) << text;
    std::filesystem::rename(path_ + ".tmp", path_);
  }
  void SetBuffer(const std::string& text, int32_t count) const {
    std::string bytes(kCapacity + sizeof count, '\0');
    std::memcpy(bytes.data(), &count, sizeof count);
    bytes.replace(sizeof count, text.size(), text);
    std::ofstream(path_ + ".qel_mmap", std::ios::binary) << bytes;
  }
  void SetBuffer(const std::string& text) const {
    SetBuffer(text, static_cast<int32_t>(text.size()));
  }

  const TempFolder folder_;
  const std::string path_ = folder_.File("sturdy_comp.log");
};

TEST_F(LogReaderTest, ReadsBothFilesAsOneTextAtEachOfTheWritersSteps) {
  const std::string old = Lines(0, 30);
  const std::string held = Lines(30, 39);  // 9 lines of 40 bytes: the next one finds no room
  const std::string moved = old + held + Line(39);
  const std::string twice = Line(50) + Line(50);
  const struct {
    const char* step;
    std::string log;
    std::string buffer;
    int32_t count;
    std::string text;
  } cases[] = {
      {"nothing yet", "", "", 0, ""},
      {"a buffer alone", "", held, -2, held},
      {"a line copied, not counted", old, held + Line(39), -3, old + held},
      {"appending has begun", old + held.substr(0, 100), held, -2, old + held},
      {"the first appending has come to a line's end", Lines(30, 32), held, -2, held},
      {"appended, not cleared", moved, held, -2, moved},
      {"cut, not cleared", moved.substr(700), held, -2, moved.substr(700)},
      {"the clearing has begun at the end", moved, held.substr(0, 300), 360, moved},
      {"the clearing has begun at the begin", moved, "\0\0\0" + held.substr(40), 0, moved},
      {"cleared", moved, held, 0, moved},
      {"a line like the last one of the log", old + Line(50), twice, -2, old + Line(50) + twice},
      {"a start has moved it, not cleared", old + kBegin + Line(40) + kEnd, Line(40), -2,
       old + kBegin + Line(40) + kEnd},
      {"died within an appending, and started again", old + Line(30).substr(0, 9) + kBegin + kEnd,
       Line(50), -2, old + Line(30).substr(0, 9) + kBegin + kEnd + Line(50)},
      {"a count below zero", old, held, -1, old},
      {"a count past the end", old, held, 100000, old + held},
  };
  for (const auto& moment : cases) {
    SCOPED_TRACE(moment.step);
    SetLog(moment.log);
    const size_t size = moment.buffer.size();
    SetBuffer(moment.buffer, moment.count == -2   ? static_cast<int32_t>(size)
                             : moment.count == -3 ? static_cast<int32_t>(size - Line(39).size())
                                                  : moment.count);
    EXPECT_EQ(LogReader(path_).ReadNewText(), moment.text);
  }
  std::filesystem::resize_file(path_ + ".qel_mmap", 3);
  EXPECT_EQ(LogReader(path_).ReadNewText(), cases[std::size(cases) - 1].log);
  EXPECT_EQ(LogReader(folder_.File("absent/x.log")).ReadNewText(), "");
  EXPECT_EQ(LogReader(folder_.path()).ReadNewText(), "") << "a folder is no log";
}

// One look after each step, and the sum of all looks is what was written.
TEST_F(LogReaderTest, FollowsThroughFlushCutRestartAndLoss) {
  LogReader log(path_);
  std::string came;
  const auto look = [&] { return came = log.ReadNewText(); };
  SetLog(Lines(0, 30));
  SetBuffer(Lines(30, 38));
  EXPECT_EQ(look(), Lines(0, 38));
  EXPECT_EQ(look(), "");
  SetBuffer(Lines(30, 39));
  EXPECT_EQ(look(), Line(38));
  Append(Lines(30, 34) + Line(34).substr(0, 7));  // in the middle of the appending
  EXPECT_EQ(look(), "");
  Append(Line(34).substr(7) + Lines(35, 40));
  EXPECT_EQ(look(), Line(39));
  EXPECT_EQ(look(), "") << "still not cleared";
  SetBuffer("");
  EXPECT_EQ(look(), "");
  SetBuffer(Lines(40, 42));
  EXPECT_EQ(look(), Lines(40, 42));

  Append(Lines(40, 50) + Lines(50, 60));  // two flushes between two looks
  SetBuffer(Lines(60, 62));
  EXPECT_EQ(look(), Lines(42, 62));

  Append(Lines(60, 70));
  Cut(Lines(0, 70).substr(Lines(0, 35).size() - 11));  // a cut goes through a line
  EXPECT_EQ(look(), Lines(62, 70)) << "not cleared";
  SetBuffer(Lines(70, 72));
  EXPECT_EQ(look(), Lines(70, 72));
  Append(kBegin + Lines(70, 72) + kEnd);
  SetBuffer(Lines(72, 73));
  EXPECT_EQ(look(), kEnd + Line(72)) << "another start of the client";

  SetBuffer(Lines(80, 82));  // on a full disk the text of a full buffer is lost
  EXPECT_EQ(look(), Lines(80, 82));
  std::filesystem::resize_file(path_, 0);
  SetBuffer(Lines(80, 83));
  EXPECT_EQ(look(), Line(82)) << "someone has emptied the log";
  std::filesystem::remove_all(folder_.path());
  EXPECT_EQ(look(), "");
  std::filesystem::create_directory(folder_.path());
  SetLog(Lines(90, 93));
  EXPECT_EQ(look(), Lines(90, 93));

  Cut(Line(96).substr(20) + Lines(97, 99));  // cut past what was known
  const auto messages = log.ReadNewMessages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].text, "line 97");
}

// The limit of the second log makes it lose its older half, again and again.
TEST_F(LogReaderTest, GivesNothingTwiceOrTornBesideABusyWriter) {
  constexpr int kLines = 20000;
  for (const uint32_t limit : {0x800000U, 0x20000U}) {
    const std::string path = folder_.File(std::to_string(limit));
    std::atomic<bool> done{false};
    LogReader log(path);
    log.SkipToEnd();
    std::thread writer([&] {
      zo_base::TQLogImplBase<zo_base::SturdyObject> logger;
      logger.SetLevel(zo_base::LV_APP);
      logger.SetLogFile(path, limit, 4096);
      for (int i = 0; i < kLines; ++i) {
        zo_base::TQLogHelper<zo_base::SturdyObject>(zo_base::LV_APP, {}, &logger)
            << "[a][b] line " << i << " of " << kLines;
      }
      done = true;
    });
    int next = 0;
    bool last_look = false;
    do {
      last_look = done;
      for (const LogMessage& message : log.ReadNewMessages()) {
        int number = -1;
        EXPECT_EQ(std::sscanf(message.text.c_str(), "[a][b] line %d of 20000", &number), 1)
            << message.bytes;
        EXPECT_TRUE(limit < 0x800000U ? number >= next : number == next) << number << " " << next;
        next = number + 1;
      }
    } while (!last_look);
    writer.join();
    EXPECT_EQ(next, kLines);
  }
}

TEST(LogMessageTest, TakesMessagesApart) {
  const std::string text =
      "of a cut line\n03-14 15:09:26.535 4321-8765 [LV_ERR] a.cpp:12\nsevere\n" + kBegin +
      "torn\n" + kEnd + "03-14 15:09:26.536 4321-8765 [LV_APP] [lbs][a b]more\r\nlines\r\n";
  const auto messages = ParseMessages(text);
  std::vector<std::string> texts;
  std::string bytes;
  for (const LogMessage& message : messages) {
    texts.push_back(message.level + ":" + message.text);
    bytes += message.bytes;
  }
  EXPECT_EQ(bytes, text);
  EXPECT_THAT(texts, ElementsAre("cut:of a cut line", "LV_ERR:severe", ":load from mmap file begin",
                                 "cut:torn", ":load from mmap file end",
                                 "LV_APP:[lbs][a b]more\r\nlines\r"));
  EXPECT_EQ(messages[1].location, "a.cpp:12");
  EXPECT_EQ(messages[5].time, "03-14 15:09:26.536");
  EXPECT_EQ(messages[5].process_id, 4321u);
  EXPECT_EQ(messages[5].thread_id, 8765u);
  const std::pair<const char*, bool> tags[] = {
      {"lbs", true}, {"a b", true}, {"lb", false}, {"more", false}, {"", false}};
  for (const auto& [tag, has] : tags) {
    EXPECT_EQ(messages[5].HasTag(tag), has) << tag;
  }
  LogMessage open;
  open.text = "[open";
  EXPECT_TRUE(open.HasTag("open")) << "a cut message";
}

}  // namespace
}  // namespace log_reader
