// Clients that are killed with SIGKILL at a random moment, and what the next one finds.
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
#include <vector>

#include "base/log/log_format.h"
#include "lab/child.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/service_table.h"
#include "tests/faults/left_files.h"
#include "tests/faults/numbered_lines.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_document.h"

namespace {

constexpr char kFromCache[] = "link one.example:1";
constexpr char kFromDefaults[] = "link default.example:9";
constexpr char kNewerHalf[] = "sturdy_comp.log.tmp";  // of a log that is being cut

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
                   lab::Answer(
                       lab::ServiceTable().Domain("localhost").V4({"${endpoint:dns}"}).Text()))}};
}

// Clients on one data folder, one at a time. Each finds the files of the one before, and kills
// itself at a moment that the seed chooses.
class Killed : public testing::Test {
 protected:
  Killed() {
    lab::WriteServerCache(left_.folder(), {.ipv4 = {{"127.0.0.1", lab_.Port("dns"), false}},
                                           .expires_in = std::chrono::milliseconds(0)});
  }

  // Returns what the log will be after the next start.
  [[nodiscard]] std::string LogToCome() const {
    const std::string log = left_.LogText();
    const std::string buffer = left_.BufferText();
    return buffer.empty() ? log
                          : log + std::string(zo_base::kOldTextBegin) + buffer +
                                std::string(zo_base::kOldTextEnd);
  }

  // Starts a client that kills itself at a random moment. CTest's time limit ends one that hangs.
  void Spawn(const std::string& killed_at, unsigned most_ms) {
    child_.emplace(std::vector<std::string>{FAULT_HOST, folder_.path(), lab_.Url("lbs", kLbsPath),
                                            killed_at,
                                            std::to_string(random_() % (most_ms * 1000))});
  }
  void ExpectKill() { EXPECT_EQ(child_->Wait(), -SIGKILL); }

  // Starts a client that finds all that the one before has left.
  void ExpectAGoodStart() {
    const std::string log = LogToCome();
    const bool has_document = left_.Document().find("one.example") != std::string::npos;
    from_defaults_ += !has_document;
    Spawn("work", 15);
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

  void ExpectGoodFiles() {
    left_.ExpectCachesUsableOrEmpty();
    EXPECT_TRUE(!std::filesystem::exists(left_.folder() + kNewerHalf) ||
                left_.LogText().size() >= kLogBytes / 2)
        << "the log has lost more than the older half, which a cut takes";
    ExpectWholeLines(LogToCome());
  }
  // The text has every line of the last victim, except those that were cut off with the older half
  // of the log. The line that it was writing is there whole or not at all.
  void ExpectWholeLines(const std::string& text);

  const lab::Lab lab_{Servers()};
  const ClientFolder folder_;
  const LeftFiles left_{folder_.path()};
  const LogLines log_{folder_.path()};
  SharedCounts counts_{folder_.path()};
  std::optional<lab::Child> child_;
  pid_t victim_ = 0;
  int from_defaults_ = 0;
  int most_copies_ = 2;  // of a line: in the log, in the buffer, 1 more per client killed at start
  const unsigned seed_ = std::random_device()();
  std::mt19937 random_{seed_};
};

void Killed::ExpectWholeLines(const std::string& text) {
  // Check that lines are whole, and count their copies. Skip line 1: the log may be cut inside it.
  std::map<int, int> copies[kWritingThreads];
  std::istringstream stream(text.substr(std::min(text.find('\n'), text.size())));
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
      // A flush was torn in this line; the buffer's text after it has the whole line.
      EXPECT_TRUE(line.ends_with("\r") && next.find("file begin--") != next.npos) << line;
    } else if (process == victim_) {
      EXPECT_LE(++copies[thread][number], most_copies_) << line;
    }
  }
  // Compare them with the number that each thread has written.
  for (int thread = 0; thread < kWritingThreads; ++thread) {
    const int written = counts_[thread];
    const auto& seen = copies[thread];
    const int first = seen.empty() ? written : seen.begin()->first;
    const int end = seen.empty() ? written : seen.rbegin()->first + 1;
    EXPECT_EQ(static_cast<int>(seen.size()), end - first) << "lines are missing in between";
    EXPECT_TRUE(end == written || end == written + 1) << end << " of " << written;
    EXPECT_TRUE(first == 0 || left_.LogText().size() >= kLogBytes / 2)
        << "lost from line 0 to " << first;
  }
}

TEST_F(Killed, AtAnyMomentTheNextOneAnswersAndHasTheWholeLog) {
  SCOPED_TRACE("seed " + std::to_string(seed_));
  for (int round = 0; round < 350 && !HasFailure(); ++round) {
    if (round % 5 == 4) {
      Spawn("start", 20);
      ExpectKill();
      ++most_copies_;
      ExpectGoodFiles();
    }
    ExpectAGoodStart();
    most_copies_ = 2;
    child_->Signal();
    ExpectKill();
    ExpectGoodFiles();
  }
  std::printf("%d starts from the defaults\n", from_defaults_);
}

}  // namespace
