// Processes that are killed with SIGKILL, and what the next one finds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tests/support/child.h"
#include "tests/support/log_lines.h"
#include "tests/support/sanitizers.h"
#include "tests/support/temp_folder.h"

namespace {

using testing::AnyOf;
using testing::ElementsAreArray;

constexpr std::chrono::seconds kLimit{30};
constexpr const char* kPath = "/lbs/conf.jsp";
constexpr const char* kFromCache = "link one.example:1";
constexpr const char* kFromDefaults = "link default.example:9";

Messages WithProcess(const std::vector<LogMessage>& messages) {
  Messages lines;
  for (const LogMessage& message : messages) {
    lines.push_back(std::to_string(message.process_id) + " " + message.text);
  }
  return lines;
}

class Killed : public testing::Test {
 protected:
  // A client whose first fetch is held until `Answer`.
  Child& Start(const std::string& way, size_t document_bytes = 0) {
    gate_ = "gate " + std::to_string(++starts_);
    const lab::Behaviour good = lab::Answer(lab::LbsDocument()
                                                .Link({"one.example:1", "two.example:2"})
                                                .LinkDefault({"three.example:3"})
                                                .Lbs("${url:lbs}/lbs/conf.jsp")
                                                .Desc(std::string(document_bytes, 'x'))
                                                .Text());
    lab_.SetBehaviours("lbs", kPath, {lab::Behaviour(good).HeldAt(gate_), good});
    lab_.ForgetRequests();
    return child_.emplace(
        std::vector<std::string>{LIFECYCLE_HOST, way, folder_.path(), lab_.Url("lbs", kPath)});
  }
  void Answer() { lab_.OpenGate(gate_); }

  [[nodiscard]] std::filesystem::path CacheFile() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
      if (entry.path().filename() == "lbs.data") {
        return entry.path();
      }
    }
    return {};
  }

  lab::Lab lab_{{lab::HttpServer("lbs").On(kPath, lab::Silent())}};
  const TempFolder folder_;
  const LogLines log_{folder_.path()};
  std::optional<Child> child_;
  std::string gate_;
  int starts_ = 0;
};

TEST_F(Killed, OutsideASaveTheNextOneHasCacheAndLog) {
  Child& first = Start("stay");
  EXPECT_EQ(first.ReadLine(), kFromDefaults);
  Answer();
  EXPECT_EQ(first.ReadLine(), "code 200");
  first.Kill();
  Messages expected = WithProcess(log_.All());
  expected.insert(expected.begin(), "0 load from mmap file begin");
  expected.emplace_back("0 load from mmap file end");

  EXPECT_EQ(Start("stay").ReadLine(), kFromCache);
  Messages came = WithProcess(log_.All());
  ASSERT_GT(came.size(), expected.size());
  came.resize(expected.size());
  EXPECT_THAT(came, ElementsAreArray(expected));
}

// Messages without the markers, which stand where the buffer of a dead process was taken over.
Messages WithoutMarkers(const std::vector<LogMessage>& messages) {
  Messages texts;
  for (const LogMessage& message : messages) {
    if (!message.IsMarker()) {
      texts.push_back(std::to_string(message.process_id) + " " + message.text);
    }
  }
  return texts;
}

TEST_F(Killed, AtAnyMomentTheNextOneHasTheWholeLog) {
  const unsigned seed = std::random_device()();
  std::mt19937 random(seed);
  Messages before;
  for (int round = 0; round < (kSanitized ? 12 : 30); ++round) {
    Child& child = Start("churn");
    EXPECT_THAT(child.ReadLine(), AnyOf(kFromCache, kFromDefaults)) << "seed " << seed;
    Messages after = WithoutMarkers(log_.All());
    ASSERT_GT(after.size(), before.size());
    after.resize(before.size());
    ASSERT_EQ(after, before) << "seed " << seed;
    Answer();
    EXPECT_TRUE(lab_.WaitForRequests(2 + random() % 4, kLimit));
    const auto moment =
        std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 3000);
    while (std::chrono::steady_clock::now() < moment) {
    }
    child.Kill();
    before = WithoutMarkers(log_.All());
  }
}

// The cache is written in place, so that a look at its length tells when a save is under way.
TEST_F(Killed, InsideASaveTheNextOneStartsFromCacheOrDefaults) {
  constexpr size_t kDocumentBytes = 400000;
  int from_defaults = 0;
  for (int round = 0; round < (kSanitized ? 6 : 12); ++round) {
    Child& child = Start("churn", kDocumentBytes);
    const std::string link = child.ReadLine();
    EXPECT_THAT(link, AnyOf(kFromCache, kFromDefaults));
    from_defaults += link == kFromDefaults;
    Answer();
    EXPECT_EQ(child.ReadLine(), "code 200");
    std::filesystem::directory_entry cache(CacheFile());
    do {
      cache.refresh();
    } while (cache.file_size() > kDocumentBytes);
    child.Kill();
  }
  std::printf("%d starts from the defaults\n", from_defaults);
}

}  // namespace
