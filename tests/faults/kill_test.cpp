// Processes that are killed with SIGKILL, and what the next one finds.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "lab/child.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/service_table.h"
#include "tests/faults/left_files.h"
#include "tests/faults/numbered_lines.h"
#include "tests/support/log_lines.h"
#include "tests/support/sanitizers.h"
#include "tests/support/test_document.h"

namespace {

constexpr char kFromCache[] = "link one.example:1";
constexpr char kFromDefaults[] = "link default.example:9";
constexpr char kCut[] = "sturdy_comp.log.tmp";
constexpr char kBegin[] =
    "\r\n -----------------------load from mmap file begin-----------------------\r\n";
constexpr char kEnd[] =
    "\r\n -----------------------load from mmap file end-----------------------\r\n";

lab::Scenario Servers() {
  lab::HostBook book;
  for (int i = 0; i < kQueriedNames; ++i) {
    book.hosts["name" + std::to_string(i)] = {.ip = {{"192.0.2.1"}}, .ttl_s = 0};
  }
  return {{lab::HttpServer("lbs").On(
               kLbsPath, lab::Answer(TestDocument().Desc(std::string(20000, 'x')).Text())),
           lab::HttpServer("dns")
               .On(lab::kHostQueryPath, lab::Answer(book))
               .On(lab::kServiceTablePath,
                   lab::Answer(lab::ServiceTable().Domain("localhost").V4({"dns"}).Text()))}};
}

class Killed : public testing::Test {
 protected:
  Killed() {
    lab::WriteServerCache(remains_.folder(), {.ipv4 = {{"127.0.0.1", lab_.Port("dns"), false}},
                                              .expires_in = std::chrono::milliseconds(0)});
  }

  // The log as the next start makes it of what a dead process has left.
  [[nodiscard]] std::string LogToCome() const {
    const std::string log = remains_.LogText();
    const std::string buffer = remains_.BufferText();
    return log + (buffer.empty() ? "" : kBegin + buffer + kEnd);
  }

  void Spawn(const std::string& work, int nth_call = 0) {
    limit_ = LogBytes(work);
    std::vector<std::string> command = {FAULT_HOST, folder_.path(), lab_.Url("lbs", kLbsPath),
                                        work};
    if (nth_call > 0) {
      command.push_back(std::to_string(nth_call));
    }
    child_.emplace(command);
  }

  // A start that finds all that the one before has left.
  void ExpectAGoodStart(const std::string& work, int nth_call = 0) {
    const std::string log = LogToCome();
    const bool has_document = remains_.Document().find("one.example") != std::string::npos;
    from_defaults_ += !has_document;
    Spawn(work, nth_call);
    victim_ = child_->id();
    const std::string link = child_->ReadLine();
    ASSERT_TRUE(link == kFromCache || (link == kFromDefaults && !has_document)) << link;
    const std::string now = log_.Text();
    if (!now.starts_with(log)) {
      const size_t same =
          std::mismatch(now.begin(), now.end(), log.begin(), log.end()).first - now.begin();
      FAIL() << "from byte " << same << " on the log isn't " << log.substr(same, 500) << "\n---but "
             << now.substr(same, 500);
    }
    for (int thread = 0; thread < kWritingThreads; ++thread) {
      counts_[thread] = 0;
    }
  }

  // At a moment that nobody can foresee.
  void KillWithin(int most_ms) {
    std::this_thread::sleep_for(std::chrono::microseconds(random_() % (most_ms * 1000u)));
    child_->Kill();
  }

  void ExpectGoodRemains() {
    remains_.ExpectCachesUsableOrEmpty();
    EXPECT_TRUE(!std::filesystem::exists(remains_.folder() + kCut) ||
                remains_.LogText().size() >= limit_ / 2)
        << "a cut that has begun has cost more than the older half";
    ExpectWholeLines(LogToCome());
  }

  // Nothing is missing that the last victim had written but what a cut took from the front, and
  // the line that it was writing is there whole or not at all.
  void ExpectWholeLines(const std::string& text);

  const lab::Lab lab_{Servers()};
  const ClientFolder folder_;
  const Remains remains_{folder_.path()};
  const LogLines log_{folder_.path()};
  SharedCounts counts_{folder_.path()};
  std::optional<lab::Child> child_;
  pid_t victim_ = 0;
  uint32_t limit_ = 0;
  int from_defaults_ = 0;
  int most_copies_ = 2;  // of a line, which a process has left in the log and in the buffer
  const unsigned seed_ = std::random_device()();
  std::mt19937 random_{seed_};
};

void Killed::ExpectWholeLines(const std::string& text) {
  std::map<int, int> copies[kWritingThreads];
  std::istringstream stream(text.substr(std::min(text.find('\n'), text.size())));  // cut anywhere
  std::string line;
  std::getline(stream, line);
  for (std::string next; !line.empty() || stream; line = next) {
    next.clear();
    std::getline(stream, next);
    EXPECT_EQ(line.find("[LV_APP]"), line.rfind("[LV_APP]")) << line;
    int process = 0;
    int thread = 0;
    int number = 0;
    if (std::sscanf(line.c_str(), "%*s %*s %d-%*d [LV_APP] [numbered] %d %d", &process, &thread,
                    &number) < 3) {
      continue;
    }
    if (thread >= kWritingThreads || !line.ends_with("] " + NumberedLine(thread, number))) {
      // The first half of a flush, before the buffer's text that has it as a whole.
      EXPECT_TRUE(line.ends_with("\r") && next.find("file begin--") != next.npos) << line;
    } else if (process == victim_) {
      EXPECT_LE(++copies[thread][number], most_copies_) << line;
    }
  }
  for (int thread = 0; thread < kWritingThreads; ++thread) {
    const int written = counts_[thread];
    const auto& seen = copies[thread];
    const int first = seen.empty() ? written : seen.begin()->first;
    const int end = seen.empty() ? written : seen.rbegin()->first + 1;
    EXPECT_EQ(static_cast<int>(seen.size()), end - first) << "lines are missing in between";
    EXPECT_TRUE(end == written || end == written + 1) << end << " of " << written;
    EXPECT_TRUE(first == 0 || remains_.LogText().size() >= limit_ / 2)
        << "lost from line 0 to " << first;
  }
}

TEST_F(Killed, AtAnyMomentTheNextOneAnswersAndHasTheWholeLog) {
  SCOPED_TRACE("seed " + std::to_string(seed_));
  for (int round = 0; round < (kSanitized ? 15 : 350) && !HasFailure(); ++round) {
    if (round % 5 == 4) {
      Spawn("busy");
      KillWithin(20);
      ++most_copies_;
      ExpectGoodRemains();
    }
    ExpectAGoodStart("busy");
    most_copies_ = 2;
    child_->Signal();
    KillWithin(15);
    ExpectGoodRemains();
  }
  std::printf("%d starts from the defaults\n", from_defaults_);
}

class KilledInFileCall : public Killed, public testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(Of, KilledInFileCall, testing::Values("save", "flush", "shrink"),
                         [](const auto& work) { return std::string(work.param); });

TEST_P(KilledInFileCall, TheNextOneAnswersAndHasTheWholeLog) {
  for (int call = 1; call <= 60 && !HasFailure(); call += kSanitized ? 7 : 1) {
    SCOPED_TRACE(call);
    // Lives that end in cuts make it grow, and then so many calls are none but copies.
    if (remains_.LogText().size() > LogBytes(GetParam()) / 2) {
      std::filesystem::remove(remains_.folder() + "sturdy_comp.log");
      std::filesystem::remove(remains_.folder() + kCut);
    }
    ExpectAGoodStart(GetParam(), call);
    child_->Signal();
    EXPECT_EQ(child_->Wait(), -SIGKILL);
    ExpectGoodRemains();
  }
  ExpectAGoodStart(GetParam());
  std::printf("%d starts from the defaults\n", from_defaults_);
}

}  // namespace
