#include "tools/log_reader/log_reader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>
#include <vector>

#include "base/log/log_format.h"
#include "base/log/tqlog.h"
#include "base/platform/mapped_file.h"
#include "lab/temp_folder.h"
#include "tools/log_reader/find_logs.h"
#include "tools/log_reader/text_search.h"

namespace log_reader {
namespace {

constexpr size_t kCapacity = 400;
const std::string kBegin(zo_base::kOldTextBegin);
const std::string kEnd(zo_base::kOldTextEnd);

// Returns a line of the log. Its time has the number too, so lines differ early.
std::string Line(int number) {
  const std::string digits = std::to_string(100000 + number);
  return "03-14 15:09:" + digits.substr(1, 2) + "." + digits.substr(3) + " 4-8 [LV_APP] line " +
         std::to_string(number) + "\n";
}

std::string Lines(int first, int end) {
  std::string text;
  for (; first < end; ++first) {
    text += Line(first);
  }
  return text;
}

// Sets the files of a log to any of the writer's steps.
class LogReaderTest : public testing::Test {
 protected:
  void Append(const std::string& text) const {
    std::ofstream(path_, std::ios::binary | std::ios::app) << text;
  }
  void SetLog(const std::string& text) const {
    std::filesystem::remove(path_);
    Append(text);
  }
  // Renames, as the writer's cut does.
  void Cut(const std::string& text) const {
    std::ofstream(path_ + ".tmp", std::ios::binary) << text;
    std::filesystem::rename(path_ + ".tmp", path_);
  }
  // Sets a count that is too high by `more`.
  void SetBuffer(const std::string& text, int32_t more = 0) const {
    const auto count = static_cast<int32_t>(text.size()) + more;
    std::string bytes(kCapacity + sizeof count, '\0');
    std::memcpy(bytes.data(), &count, sizeof count);
    bytes.replace(sizeof count, text.size(), text);
    std::ofstream(path_ + ".qel_mmap", std::ios::binary) << bytes;
  }

  const lab::TempFolder folder_;
  const std::string path_ = folder_.File("sturdy_comp.log");
};

TEST_F(LogReaderTest, ReadsBothFilesAsOneTextAtEachOfTheWritersSteps) {
  const std::string old = Lines(0, 30);
  const std::string held = Lines(30, 39);  // 9 lines of 40 bytes: the next one has no room
  const std::string moved = old + held + Line(39);
  const std::string twice = Line(50) + Line(50);
  const std::string moved_by_start = old + kBegin + Line(40) + kEnd;
  const std::string died = old + Line(30).substr(0, 9) + kBegin + kEnd;
  const struct {
    const char* step;
    std::string log;
    std::string buffer;
    std::string text;
    int32_t more = 0;
  } cases[] = {
      {"a buffer alone", "", held, held},
      {"appending has begun", old + held.substr(0, 100), held, old + held},
      {"clearing has begun", moved, std::string(3, '\0') + held.substr(3), moved, -360},
      {"a line like the last one of the log", old + Line(50), twice, old + Line(50) + twice},
      {"a start has moved it and not cleared", moved_by_start, Line(40), moved_by_start},
      {"died within an appending, and started again", died, Line(50), died + Line(50)},
      {"a count past the end", old, held, old + held, 100000},
      {"a count below zero", old, held, old, -361},
  };
  for (const auto& moment : cases) {
    SetLog(moment.log);
    SetBuffer(moment.buffer, moment.more);
    EXPECT_EQ(LogReader(path_).ReadNewText(), moment.text) << moment.step;
  }
  std::filesystem::resize_file(path_ + ".qel_mmap", 3);
  EXPECT_EQ(LogReader(path_).ReadNewText(), old) << "a cut count";
  EXPECT_EQ(LogReader(folder_.path()).ReadNewText(), "") << "a folder is no log";
}

TEST(TextSearch, FindsEachPlaceOfATextThatRepeatsItself) {
  const TextSearch search("aabaa");
  std::vector<size_t> places;
  EXPECT_EQ(search.Visit("aaabaabaaxaabaab", [&](size_t at) { places.push_back(at); }), 3);
  EXPECT_EQ(places, (std::vector<size_t>{1, 4, 10}));
  EXPECT_EQ(search.FindFirst("xaabaabaa"), 1);
  EXPECT_EQ(search.FindLast("xaabaabaa"), 4);
  EXPECT_EQ(search.FindLast("aabba"), std::string::npos);
  EXPECT_EQ(search.Border(5), 2);
}

// Looks after each step. The looks together return what was written.
TEST_F(LogReaderTest, FollowsThroughFlushCutRestartAndLoss) {
  LogReader log(path_);
  const auto look = [&] { return log.ReadNewText(); };
  SetLog(Lines(0, 30));
  SetBuffer(Lines(30, 39));
  EXPECT_EQ(look(), Lines(0, 39));
  Append(Lines(30, 34) + Line(34).substr(0, 7));  // in the middle of the appending
  EXPECT_EQ(look(), "");
  Append(Line(34).substr(7) + Lines(35, 40));
  EXPECT_EQ(look(), Line(39));
  EXPECT_EQ(look(), "") << "still not cleared";

  Append(Lines(40, 50) + Lines(50, 60));  // two flushes between two looks
  SetBuffer(Lines(60, 62));
  EXPECT_EQ(look(), Lines(40, 62));

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

  Cut(Line(96).substr(20) + Lines(97, 98));  // cut past the known text
  const auto messages = log.ReadNewMessages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].text, "line 97");
  // Two cuts have given it the same inode number.
  std::ofstream(path_, std::ios::binary) << Line(96).substr(10) << Lines(97, 99);
  EXPECT_EQ(look(), Line(98));
}

// This process maps the buffer, as a writer does, and stops within an append: of the buffer's text,
// of the line after it, and of a line that follows no text.
TEST_F(LogReaderTest, HoldsTheLineOfALivingWriterBack) {
  SetBuffer(Lines(30, 39));
  {
    zo_base::MappedFile writer;
    ASSERT_TRUE(writer.Map(path_ + ".qel_mmap", kCapacity + sizeof(int32_t)));
    SetLog(Lines(0, 39) + Line(39));  // "more" is to come
    auto whole = std::async(std::launch::async, [&] { return LogReader(path_).ReadNewText(); });
    EXPECT_EQ(whole.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    Append("more\n");
    SetBuffer("");
    EXPECT_EQ(whole.get(), Lines(0, 40) + "more\n");
    SetBuffer(Lines(30, 39));
    SetLog(Lines(0, 30) + Line(30).substr(0, 1));
    LogReader log(path_);
    EXPECT_EQ(log.ReadNewText(), Lines(0, 39));
    Append(Line(30).substr(1) + Lines(31, 39) + Line(39).substr(0, 1));
    EXPECT_EQ(log.ReadNewText(), "");
    SetBuffer("");
    EXPECT_EQ(log.ReadNewText(), "");
    Append(Line(39).substr(1) + Line(40) + "more\nto");
    EXPECT_EQ(log.ReadNewText(), Line(39));
    EXPECT_EQ(LogReader(path_).ReadNewText(), Lines(0, 40)) << "a first look";
  }
  EXPECT_EQ(LogReader(path_).ReadNewText(), Lines(0, 41) + "more\nto") << "died";
}

// The second log has a small limit, so it loses its older half again and again.
TEST_F(LogReaderTest, BusyWritersLinesComeOnceAndWhole) {
  constexpr int kLines = 20000;
  for (const bool is_cut : {false, true}) {
    const std::string path = folder_.File(is_cut ? "cut" : "whole");
    std::atomic<bool> done{false};
    LogReader log(path);
    log.SkipToEnd();
    std::thread writer([&] {
      zo_base::TQLogImplBase<zo_base::SturdyObject> logger;
      logger.SetLogFile(path, is_cut ? 0x20000 : 0, 4096);
      for (int i = 0; i < kLines; ++i) {
        logger.Write(zo_base::LV_KER, Line(i));
      }
      done = true;
    });
    int next = 0;
    for (bool last_look = false; !last_look;) {
      last_look = done;
      for (const LogMessage& message : log.ReadNewMessages()) {
        int number = -1;
        std::sscanf(message.text.c_str(), "line %d", &number);
        EXPECT_EQ(message.bytes, Line(number));
        EXPECT_TRUE(is_cut ? number >= next : number == next) << number << " " << next;
        next = number + 1;
      }
    }
    writer.join();
    EXPECT_EQ(next, kLines);
  }
}

TEST(LogMessageTest, SplitsATextIntoItsMessages) {
  const std::string text =
      "3-14 15:09:26.534 4-8 [LV_APP] cut\n03-14 15:09:26.535 4321-8765 [LV_ERR] "
      "a.cpp:12\nsevere\n" +
      kBegin + "torn\n" + kEnd +
      "03-14 15:09:26.536 4321-8765 [LV_APP] [lbs][a b]more\r\nlines\r\n";
  std::string parts;
  std::string bytes;
  for (const LogMessage& one : ParseMessages(text)) {
    parts += one.time + " " + std::to_string(one.process_id) + "-" + std::to_string(one.thread_id) +
             " " + one.level + " " + one.location + ":" + one.text + "|";
    bytes += one.bytes;
  }
  EXPECT_EQ(bytes, text);
  EXPECT_EQ(parts,
            " 0-0 cut :3-14 15:09:26.534 4-8 [LV_APP] cut|"
            "03-14 15:09:26.535 4321-8765 LV_ERR a.cpp:12:severe|"
            " 0-0  :load from mmap file begin| 0-0 cut :torn| 0-0  :load from mmap file end|"
            "03-14 15:09:26.536 4321-8765 LV_APP :[lbs][a b]more\r\nlines\r|");
  LogMessage last = ParseMessages(text).back();
  EXPECT_TRUE(last.HasTag("lbs") && last.HasTag("a b"));
  EXPECT_FALSE(last.HasTag("lb") || last.HasTag("more") || last.HasTag(""));
  last.text = "[open";
  EXPECT_TRUE(last.HasTag("open")) << "a cut message";
}

}  // namespace
}  // namespace log_reader
