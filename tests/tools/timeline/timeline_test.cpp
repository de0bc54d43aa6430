#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/test_document.h"
#include "tests/tools/run_sturdyctl.h"

namespace {

using nlohmann::json;

constexpr char kMarkup[] = "</script><!--<script>window.foreign = 1</script><img src=x>";
const std::string kAt = R"(, at \d\d-\d\d \d\d:\d\d:\d\d)";
constexpr int kSlowMs = 2600;  // for a whole answer: longer than the silence that the client bears

lab::Scenario Servers() {
  const std::string document =
      TestDocument({"192.0.2.1:1"}).Name(kMarkup).Lbs("${url:slow}/lbs/conf.jsp").Text();
  const lab::HostBook book{{{"localhost", {{{"127.0.0.2"}}, {}, 3600}}}};
  return {lab::HttpServer("lbs").On(kLbsPath, lab::Reset()),
          lab::HttpServer("reset").On(kLbsPath, lab::Reset()),
          lab::HttpServer("slow").On(kLbsPath, lab::Answer(document).InPieces(4, kSlowMs)),
          lab::HttpServer("silent").On(kLbsPath, lab::Silent()),
          lab::HttpServer("broken").On(kLbsPath, lab::Answer(503)),
          lab::HttpServer("alive")
              .At("127.0.0.2")
              .OnPortOf("broken")
              .On(kLbsPath, lab::Answer(document)),
          lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Answer(book))};
}

// Adds the lines of another process in the folder, from the first fetch to the last. It asks the
// cache of HTTP DNS for 16 hosts.
std::string WithProcessBeside(std::string log) {
  const std::string level = "[LV_APP] ";
  const size_t first_text = log.find(level) + level.size();
  const std::string banner = log.substr(first_text, log.find("-\n") + 2 - first_text);
  const auto insert = [&](size_t fetch, const std::vector<std::string>& texts) {
    const size_t at = log.rfind('\n', fetch) + 1;
    const std::string time = log.substr(at, std::string("03-14 15:09:26.535").size());
    std::string lines;
    for (const std::string& text : texts) {
      lines += time + " 1-1 " + level + text;
    }
    log.insert(at, lines);
  };
  std::vector<std::string> texts = {banner};
  for (int i = 0; i < 16; ++i) {
    texts.push_back("[http dns] Check cached host: h" + std::to_string(i) + " res: 3 ret:|\n");
  }
  const std::string fetch = "[lbs] Begin update LBS";
  insert(log.rfind(fetch), {"[environment] Exit\n", banner});
  insert(log.find(fetch), texts);
  return log;
}

// Two lives of a client: in the first, a late answer is taken; in the second, that of a second
// pass.
class Timeline : public testing::Test {
 protected:
  Timeline() : lab_(Servers()) {
    lab::WriteServerCache(lab::DataFolder(folder_.path()),
                          {.ipv4 = {{"127.0.0.1", lab_.Port("dns"), false}}});
    RunSturdyctl({"link", "--wait", "--data", folder_.path(), "--token", "t", "--family", "v4",
                  "--lbs", lab_.Url("lbs", kLbsPath), lab_.Url("reset", kLbsPath),
                  lab_.Url("slow", kLbsPath), lab_.Url("silent", kLbsPath)});
    RunSturdyctl({"link", "--wait", "--data", folder_.path(), "--token", "t", "--family", "v4",
                  "--lbs", "http://localhost:" + std::to_string(lab_.Port("broken")) + kLbsPath});
    const std::string log = folder_.File("all.log");
    std::ofstream(log) << WithProcessBeside(RunSturdyctl({"log", folder_.path()}));
    RunSturdyctl({"timeline", log, "--output", page_, "--trace", trace_});
  }

  const lab::TempFolder folder_;
  const lab::Lab lab_;
  const std::string page_ = folder_.File("page.html");
  const std::string trace_ = folder_.File("trace.json");
};

TEST_F(Timeline, ABrowserDrawsEachRequestAndAsksNobody) {
  const int requests = lab_.journal().Count();
  ASSERT_EQ(requests, 4 + 3);
  const json expected = {
      {"headline",
       "The client got 192.0.2.1:1 from the list that " + lab_.Url("alive", kLbsPath) +
           " (URL 0 of the second pass) sent, after all URLs of the first pass had failed."},
      {"bars", requests + 1},  // HTTP DNS refuses at its name and answers at its address
      {"late_winners", 1},
      {"starts", 3},
      {"exits", 3},
      {"openers", {"2 URLs failed at once", "3 more hosts"}},
      {"folded", 2},
      {"table",
       {lab_.Url("lbs", kLbsPath) + " document 1 0 – reset" + kAt,
        lab_.Url("reset", kLbsPath) + " document 1 0 – reset" + kAt,
        lab_.Url("slow", kLbsPath) + " document 1 1 [\\d.]+ s none",
        lab_.Url("silent", kLbsPath) + " document 1 0 – (none|(head_timeout|shut_down)" + kAt + ")",
        "http://localhost:\\d+/lbs/conf.jsp document 1 0 [\\d.]+ m?s bad status 503" + kAt,
        lab_.Url("alive", kLbsPath) + " as localhost document 1 1 [\\d.]+ m?s none",
        "https://localhost/httpdns/v2/d HTTP DNS 1 0 – refused" + kAt,
        lab_.Url("dns", lab::kHostQueryPath) + " HTTP DNS 1 1 [\\d.]+ m?s none"}},
      {"hover", "the server closed the connection without an answer (reset)"},
      {"clicked", {"1 link server: 192.0.2.1:1", kMarkup}}};
  lab::Child check({"/usr/bin/env", "python3", PAGE_CHECK, page_, expected.dump()});
  EXPECT_EQ(check.ReadRest(), "");
  EXPECT_EQ(check.Wait(), 0);
  EXPECT_EQ(lab_.journal().Count(), requests);
}

// The log, whose key they show, is private too.
TEST(TimelineFiles, OnlyTheUserMayReadThem) {
  const lab::TempFolder folder;
  const std::string page = folder.File("page.html"), trace = folder.File("trace.json");
  RunSturdyctl({"link", "--data", folder.path()});
  RunSturdyctl({"timeline", folder.path(), "--output", page, "--trace", trace});
  using std::filesystem::perms;
  for (const std::string& file : {page, trace}) {
    EXPECT_EQ(std::filesystem::status(file).permissions(), perms::owner_read | perms::owner_write);
  }
}

TEST(TimelineHeadline, DefaultOfAnEmptyListIsNotOneAfterItsServers) {
  const lab::TempFolder folder;
  RunSturdyctl({"link", "--data", folder.path()});
  RunSturdyctl({"timeline", folder.path(), "--output", folder.File("page.html")});
  std::ifstream page(folder.File("page.html"));
  const std::string text{std::istreambuf_iterator<char>(page), {}};
  EXPECT_THAT(text, testing::HasSubstr(", a default, since its list is empty."));
}

TEST_F(Timeline, TraceHasAnEventForEachRequestAndAFlowForEachCause) {
  std::ifstream file(trace_);
  std::map<std::string, std::map<json, json>> by_phase;  // and id: an id is there once
  std::map<std::string, size_t> counts;
  const json trace = json::parse(file);
  for (const json& event : trace.at("traceEvents")) {
    by_phase[event.at("ph")][event.value("id", json())] = event;
    ++counts[event.at("ph")];
  }
  const size_t requests = lab_.journal().Requests().size() + 1;  // as above
  EXPECT_EQ(counts["b"], requests);
  EXPECT_EQ(by_phase["b"].size(), requests);
  EXPECT_EQ(counts["e"], requests);
  for (const auto& [id, begin] : by_phase["b"]) {
    EXPECT_LE(begin.at("ts"), by_phase["e"].at(id).at("ts"));
  }
  EXPECT_EQ(counts["i"], 2U + 2U);  // an answer and a wish for a fetch in each life
  EXPECT_EQ(counts["s"], 3U + 1U);  // three more URLs in the first life, the address in the second
  for (const auto& [id, flow] : by_phase["s"]) {
    EXPECT_LE(flow.at("ts"), by_phase["f"].at(id).at("ts"));
  }
}

}  // namespace
