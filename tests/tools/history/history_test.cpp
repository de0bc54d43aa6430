// Logs that a living client seldom leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/log/log_format.h"
#include "tools/history/history_json.h"
#include "tools/history/read_history.h"
#include "tools/history/try_words.h"
#include "tools/history/why_words.h"
#include "tools/timeline/headline.h"

namespace history {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int kClient = 1;
constexpr int kAgent = 2;
constexpr int kManager = 3;
constexpr int kWorker = 4;
const std::string kBanner =
    "\r\n----------------------------------------------------- start "
    "-----------------------------------------------------";
const std::string kDashes = "-----------------------";

// Writes a log. The time advances by 1 ms a line.
class Log {
 public:
  Log& Say(int thread, const std::string& text) {
    char prefix[64];
    std::snprintf(prefix, sizeof prefix, "12-31 23:59:%02d.%03d %d-%d [LV_APP] ", now_ms_ / 1000,
                  now_ms_ % 1000, process_, thread);
    text_ += prefix + text + "\n";
    ++now_ms_;
    return *this;
  }
  Log& Wait(int ms) {
    now_ms_ += ms;
    return *this;
  }
  Log& As(int process) {
    process_ = process;
    return *this;
  }
  Log& Raw(std::string_view text) {
    text_ += text;
    return *this;
  }
  Log& Document(const std::string& links) {
    return Say(kAgent, "[lbs]ParseLBSResponse rsp:\r\n---" + kDashes +
                           "\r\n{\"common\":{\"link\":[" + links + "]}}\r\n---" + kDashes)
        .Say(kAgent, "[lbs]ParseLBSResponse parsel result = true,update active lbs");
  }
  Log& Request(int thread, const std::vector<std::string>& urls) {
    std::string list;
    for (const std::string& url : urls) {
      list += "host: url:" + url + "\r\n";
    }
    return Say(thread,
               "[multiple]Invoke send multiple_time_out:2000 time_out:7000 use http dns:false")
        .Say(thread, "[multiple]Invoke send multiple url\r\n" + kDashes + "\r\nurl list:\r\n" +
                         list + kDashes)
        .Say(thread, "[multiple]Send sub url request:" + urls.front())
        .Say(thread, "[multiple]Start timer index:0");
  }
  Log& Ask(const std::string& reason) {
    return Say(kClient, "[lbs] Fetch asked for by " + reason + " number:1")
        .Say(kClient, "[lbs]UpdateLBS set updatting = true");
  }
  Log& Begin(const std::string& url) {
    return Say(kManager, "[lbs] Fetch begins number:1")
        .Say(kManager, "[lbs] Begin update LBS")
        .Request(kManager, {url});
  }
  Log& Succeed(const std::string& check = "[lbs] Check response index:0 code:200") {
    return Say(kManager, "[multiple][rsp]Index:0 code :200")
        .Say(kManager, check)
        .Say(kManager, "[multiple][rsp]Business check response true,index :0");
  }
  Log& Fail() {
    return Say(kManager, "[multiple][rsp]Index:0 code :503")
        .Say(kManager, "[multiple][rsp]All sub url has been requested");
  }
  Log& Answer(const std::string& address, bool is_default) {
    return Say(kClient, "[lbs] Get link address addr_family = 2")
        .Say(kClient, "[lbs] Get link address " + address +
                          " use default:" + (is_default ? "true" : "false"))
        .Say(kClient, "[lbs] Addr may be ipv6 " + address);
  }

  [[nodiscard]] History Read() const { return ReadHistory(log_reader::ParseMessages(text_)); }
  [[nodiscard]] std::string Why() const { return WhyWords(Read()).Last(); }
  [[nodiscard]] std::string WhyAll() const { return WhyWords(Read()).All(); }

 private:
  std::string text_;
  int now_ms_ = 0;
  int process_ = 7;
};

// A process that was killed, its successor with the same number, and one beside it; the first lines
// are lost, and the log crosses New Year.
TEST(HistoryTest, DividesALogIntoRuns) {
  const History history =
      Log()
          .Raw("torn line\n")
          .Say(kClient, "[environment] Token changed key:set")
          .Say(kClient, kBanner)
          .Say(kClient, "[environment] Start version:1 business:b")
          .As(8)
          .Say(kClient, kBanner)
          .Say(kClient, "[environment] Start version:1 business:c")
          .As(7)
          .Say(kClient, "[environment] Exit")
          .Say(kClient, kBanner)
          .Raw("01-01 00:00:00.000 8-1 [LV_APP] [lbs] Hold link address [::1]:80 found:true\n")
          .Raw("12-31 23:59:59.999 8-2 [LV_APP] [lbs] Hold link address b:80 found:true\n")
          .Raw("01-01 00:00:00.000 8-1 [LV_APP] [lbs] Hold link address c:80 found:true\n")
          .Read();
  ASSERT_EQ(history.runs.size(), 3u);
  EXPECT_FALSE(history.runs[0].begin_ms || history.runs[0].exit_ms);
  EXPECT_EQ(history.changes.back().run, 0u);
  EXPECT_TRUE(history.runs[1].begin_ms && history.runs[1].exit_ms);
  EXPECT_EQ(history.runs[1].settings, "version:1 business:b");
  EXPECT_FALSE(history.runs[2].exit_ms.has_value());
  ASSERT_EQ(history.holds.size(), 3u);
  EXPECT_EQ(history.holds[1].at_ms, history.holds[0].at_ms - 1);
  EXPECT_EQ(history.holds[2].at_ms, history.holds[0].at_ms);
  EXPECT_TRUE(history.holds[0].is_found && history.holds[0].run == 2u);
  EXPECT_EQ(history.holds[0].address, "[::1]:80");
  EXPECT_GT(history.runs[2].last_ms, *history.runs[2].begin_ms);
  EXPECT_EQ(TimeText(history.runs[2].last_ms), "01-01 00:00:00.000");
}

// Banners alone, and once the text of a run that was killed: an older log.
TEST(HistoryTest, TakesTheBannerWithinARunOfAnOlderLogAsAnExit) {
  const History history = Log()
                              .Say(kClient, kBanner)
                              .Raw(zo_base::kOldTextBegin)
                              .Raw(zo_base::kOldTextEnd)
                              .Say(kClient, kBanner)
                              .Say(kClient, kBanner)
                              .Say(kClient, kBanner)
                              .Read();
  ASSERT_EQ(history.runs.size(), 3u);
  EXPECT_FALSE(history.runs[0].exit_ms || history.runs[2].exit_ms);
  EXPECT_TRUE(history.runs[1].exit_ms.has_value());
}

// Two host queries at once: their answers name neither host nor URL. A text isn't UTF-8.
TEST(HistoryTest, MarksWhatFitsTwoRequestsAsUnsure) {
  const std::string url = "http://d/httpdns/v2/d?domain=";
  const auto answer = [](Log log, int code) {
    return log.Say(kManager, "[multiple][rsp]Index:0 code :" + std::to_string(code))
        .Say(kManager, "[multiple][rsp]All url requested :true")
        .Say(kManager, "[multiple][rsp]Business check response true,index :0")
        .Say(kManager,
             "[http dns] Query hosts`s ip success = true\r\n" + kDashes +
                 "\r\n{\"x\":\"\xff\",\"data\":{\"a\":{\"ip\":[\"1.1.1.1\"],\"ttl\":60}}}\r\n" +
                 kDashes);
  };
  Log log;
  log.Say(kAgent, "[multiple]Use http dns,host:")
      .Say(kAgent, "[http dns] Check cached host: a res: 3")
      .Say(kAgent, "[http dns] Check cached need update type = sync host list : a")
      .Say(kClient, "[http dns] Check cached need update type = sync host list : b|c")
      .Request(kManager, {url + "a"});
  const Log both = Log(log).Request(kManager, {url + "b,c"});
  const History sure = answer(log, 200).Read();
  EXPECT_FALSE(sure.fetches.at(0).tries.at(0).is_unsure);
  EXPECT_EQ(sure.fetches[0].asked_because, AskedBecause::kSecondPass);
  EXPECT_EQ(sure.leases.at(0).ttl_ms, 60000);
  EXPECT_THAT(sure.leases[0].addresses, ElementsAre("1.1.1.1"));
  EXPECT_EQ(sure.host_looks.at(0).state, HostLook::State::kMissing);
  const History unsure = answer(both, 200).Read();
  EXPECT_TRUE(unsure.fetches.at(0).tries.at(0).is_unsure);
  EXPECT_TRUE(unsure.fetches.at(1).tries.at(0).is_unsure);
  EXPECT_EQ(unsure.fetches[1].asked_because, AskedBecause::kOther);
  EXPECT_TRUE(ToJson(unsure.fetches[1], 1)["tries"][0]["unsure"]);
}

// Requests of two services end with the same index. Only one URL has failed, and an older failure
// of it has another cause.
TEST(HistoryTest, GivesAFailureToTheTryThatBeganWithIt) {
  const History history =
      Log()
          .Say(kWorker, "[transfer] http://a:80/x/ failed: refused after 0 ms (name -)")
          .Wait(3000)
          .Request(kManager, {"http://u:p@a/x/httpdns/v2/d?domain=a#f"})
          .Request(kManager, {"http://a/x/?httpdns/v2/d?domain=b"})
          .Wait(2000)
          .Say(kWorker, "[transfer] http://a:80/x/ failed: reset after 2000 ms (name 1 ms)")
          .Say(kManager, "[multiple][rsp]Index:0 code :0")
          .Say(kManager, "[multiple][rsp]All url requested :true")
          .Say(kManager, "[multiple][rsp]Business check response false,index :0")
          .Say(kManager, "[multiple][rsp]Stop timer index :0")
          .Say(kManager, "[multiple][rsp]All sub url has been requested")
          .Read();
  ASSERT_EQ(history.fetches.size(), 2u);
  EXPECT_EQ(history.fetches[0].tries.at(0).outcome, TryOutcome::kUnderWay);
  const Try& failed = history.fetches[1].tries.at(0);
  EXPECT_EQ(failed.outcome, TryOutcome::kFailed);
  EXPECT_EQ(failed.cause, "reset");
  EXPECT_FALSE(failed.is_unsure);
  EXPECT_EQ(history.fetches[1].outcome, FetchOutcome::kFailed);
}

TEST(HistoryTest, ReadsWhyFetchesWereDropped) {
  const History history =
      Log()
          .Say(kClient, "[lbs]Call Update")
          .Say(kClient, "[lbs]UpdateLBS force = false")
          .Say(kClient, "[lbs]UpdateLBS updatting_lbs_ = true,return")
          .Say(kClient, "[lbs] Fetch asked for by third_default number:4")
          .Say(kClient, "[lbs]UpdateLBS force = false")
          .Say(kClient, "[lbs]UpdateLBS less than 1200ms after a fetch for defaults,return")
          .Say(kClient, "[lbs] Fetch asked for by network number:5")
          .Say(kClient, "[lbs]UpdateLBS force = true")
          .Say(kClient, "[lbs]UpdateLBS set updatting = true")
          .Say(kAgent, "[lbs] LBS addr url list empty!")
          .Read();
  std::vector<std::pair<AskedBecause, Ask::Fate>> asks;
  for (const Ask& ask : history.asks) {
    asks.emplace_back(ask.because, ask.fate);
  }
  EXPECT_THAT(asks, ElementsAre(std::pair(AskedBecause::kUpdate, Ask::Fate::kUnderWay),
                                std::pair(AskedBecause::kThirdDefault, Ask::Fate::kTooSoon),
                                std::pair(AskedBecause::kNetwork, Ask::Fate::kNoUrl)));
}

// The client skips a server with a port that is too large, and keeps one that isn't UTF-8.
TEST(WhyWordsTest, ExplainsServersHoldsAndDefaults) {
  Log log;
  log.Say(kAgent, "[lbs] First document from cache fetched:90000000 ms ago")
      .Document("\"[::1]:80\",\"a:65536\",\"[::2]:80\",\"\xff:1\"")
      .Answer("[::1]:80", false)
      .Answer("[::2]:80", false);
  EXPECT_THAT(
      log.Why(),
      AllOf(testing::StartsWith("[::2]:80  from the list, in use since 12-31 23:59:00.002\n"),
            HasSubstr("server 2 of 3 in the list: the client had got [::1]:80"),
            HasSubstr("an earlier run of the client fetched it 1 d 1 h before")));
  EXPECT_THAT(log.Answer("[::9]:80", true).Why(),
              AllOf(testing::StartsWith("[::9]:80  a default of the client's settings\n"),
                    HasSubstr("the client had got [::1]:80, [::2]:80")));
  EXPECT_THAT(log.Answer("[::1]:80", false).Why(), HasSubstr("default, the list begins again"));
  log.Say(kClient, "[lbs] Hold link address [::2]:80 found:true").Answer("[::2]:80", false);
  EXPECT_THAT(log.Why(), HasSubstr("the client had held [::2]:80 at"));
  log.Say(kClient, "[lbs] Hold link address a:-25536 found:false").Answer("[::1]:80", false);
  EXPECT_THAT(log.Why(),
              testing::ContainsRegex("hold a:40000 at .* above 32767, .* the list began again"));
  log.Say(kAgent, "[lbs] First document from settings cache:other_url")
      .Document("")
      .Answer("d:1", true);
  EXPECT_THAT(log.Why(),
              AllOf(HasSubstr("a default because the list is empty"),
                    HasSubstr("since the cache was fetched with another first LBS URL")));
  log.Document("\"1.1.1.1:1\"").Answer("d:1", true);
  EXPECT_THAT(log.Why(), HasSubstr("the list has no server of IPv6."));
  EXPECT_THAT(log.WhyAll(), AllOf(HasSubstr("1 d 1 h before"), HasSubstr("other first")));
  EXPECT_THAT(Log().Why(), HasSubstr("has asked for no address"));
  EXPECT_THAT(Log().Say(kClient, "[lbs]").Why(), HasSubstr("begin is lost"));
  EXPECT_THAT(Log().Answer("d:1", true).Why(),
              HasSubstr("was used up, or has no server of IPv6.\n  The log doesn't say where"));
}

// The list of the cache stays, for another reason each time.
TEST(WhyWordsTest, SaysWhyNoNewerListHadArrived) {
  Log log;
  log.Say(kClient, kBanner)
      .Say(kClient, "[environment] Start version:1 key:none data_path:/d")
      .Say(kAgent, "[lbs] First document from cache fetched:1 ms ago")
      .Document("\"a:1\",\"b:2\"");
  EXPECT_THAT(Log(log).Answer("a:1", false).Why(), HasSubstr("has no token"));
  Log none = Log(log).Ask("update");
  EXPECT_THAT(Log(none).Answer("a:1", false).Why(),
              HasSubstr("the client called Update, but no request had been sent yet"));
  none.Say(kManager, "[lbs] LBS addr url list empty!").Answer("a:1", false);
  EXPECT_THAT(none.Why(), HasSubstr("but no URL is of the wanted family"));
  // A fetch that fails after the first answer, and is asked for before it.
  log.Say(kClient, "[environment] Token changed key:set");
  EXPECT_THAT(Log(log).Answer("a:1", false).Why(), HasSubstr("asked for yet"));
  log.Ask("token").Answer("a:1", false).Begin("http://a/lbs");
  EXPECT_THAT(Log(log).Succeed().Why(),
              HasSubstr("the token changed, but it hadn't arrived yet: it came at 12-31"));
  Log left = log;
  left.Say(kWorker, "[transfer] http://a:80/lbs failed: refused after 2 ms (name -)")
      .Say(kClient, kBanner);
  EXPECT_THAT(
      left.Why(),
      AllOf(HasSubstr("arrived yet, and the client exited at 12-31 "),
            HasSubstr(" before it came.\n  URL 0 http://a/lbs failed after 2 ms: the server ")));
  left.Say(kClient, kBanner)
      .Say(kClient, "[environment] Start version:1")
      .Say(kManager, "[lbs] Begin update LBS")
      .Request(kManager, {"http://again/"});
  EXPECT_THAT(left.Why(), AllOf(HasSubstr("started again since then"),
                                HasSubstr("URL 0 http://again/ had given")));
  log.Fail().Answer("b:2", false);
  EXPECT_THAT(log.WhyAll(),
              AllOf(HasSubstr("it hadn't arrived yet."), HasSubstr("no URL gave one")));
  // The page's sentence goes by the order of the lines: the clock may be set back.
  EXPECT_THAT(timeline::Headline(log.Read()), HasSubstr("; no URL has sent a newer list."));
  log.Wait(-20).Document("\"c:1\"").Wait(20).Answer("c:1", false);
  EXPECT_THAT(timeline::Headline(log.Read()), Not(HasSubstr("newer list")));
}

TEST(HeadlineTest, SaysOfAClientWithoutAnswerHowItsFetchEnded) {
  const auto headline = [](const Log& log) { return timeline::Headline(log.Read()); };
  EXPECT_THAT(headline(Log().Say(kClient, "[lbs]")), HasSubstr("its begin is lost"));
  Log log;
  log.Say(kClient, kBanner).Say(kClient, "[environment] Start version:1");
  EXPECT_THAT(headline(log), HasSubstr("has fetched no list"));
  EXPECT_THAT(headline(log.Begin("http://a/lbs")), HasSubstr("has no end in the log"));
  EXPECT_THAT(headline(log.Fail()), HasSubstr("its last fetch failed"));
}

// Two fetches fail between two answers, and the second goes on to HTTP DNS.
TEST(WhyWordsTest, TellsEachFetchOnce) {
  Log log;
  log.Say(kAgent, "[lbs] First document from cache fetched:1 ms ago").Document("\"a:1\",\"b:2\"");
  log.Answer("a:1", false);
  for (const std::string url : {"http://one/", "http://two/"}) {
    log.Ask("update").Begin(url).Fail();
  }
  log.Say(kManager, "[multiple]Use http dns,host:").Say(kManager, "[multiple] -- two");
  Log unasked = log;
  unasked.Say(kManager, "[multiple]User http dns,query host fail").Answer("b:2", false);
  EXPECT_THAT(unasked.Why(),
              AllOf(HasSubstr("The only URL had failed, and HTTP DNS gave no addresses of two"),
                    HasSubstr("An earlier fetch had failed too")));
  for (int i = 0; i < 3; ++i) {
    unasked.Answer("a:1", false);
  }
  const std::string all = unasked.WhyAll();
  for (const std::string text : {"URL 0 http://one/ ", "URL 0 http://two/ ", "comes from the cache",
                                 "Whether the client could"}) {
    EXPECT_NE(all.find(text), std::string::npos) << text;
    EXPECT_EQ(all.find(text), all.rfind(text)) << text;
  }
}

// A redacted log doesn't show whether the tokens of these lines differ.
TEST(HistoryTest, ReadsWhatBecomesOfAnAnswer) {
  const std::string tokens =
      " current business token :[redacted] request business token:[redacted]";
  const auto end_of = [](const Log& log) {
    const Fetch fetch = log.Read().fetches.at(0);
    EXPECT_EQ(fetch.taken.has_value(), fetch.outcome == FetchOutcome::kTaken);
    return std::pair(fetch.outcome, fetch.tries.at(0).outcome);
  };
  const std::pair unusable(FetchOutcome::kFailed, TryOutcome::kBadDocument);
  const std::pair ignored(FetchOutcome::kSuperseded, TryOutcome::kDropped);
  Log log = Log().Begin("http://a/");
  EXPECT_EQ(end_of(Log(log).Succeed("[lbs] Check response" + tokens)), ignored);
  log.Succeed();
  EXPECT_EQ(end_of(Log(log).Say(kManager, "[lbs] Update LBS success = false")), unusable);
  EXPECT_EQ(end_of(Log(log).Say(kManager, "[lbs]ParseLBSResponse parsel result = false")),
            unusable);
  log.Say(kManager, "[lbs] Update LBS complete" + tokens);
  EXPECT_EQ(end_of(log), ignored);
  EXPECT_EQ(end_of(log.Say(kManager, "[lbs] Update LBS success = true")).first,
            FetchOutcome::kTaken);
}

TEST(WhyWordsTest, TellsOfHttpDnsAndOfAnExit) {
  Try second;
  second.pass = 2;
  second.host = "h";
  EXPECT_THAT(TryWords(second), HasSubstr("(an address of h from HTTP DNS)"));
  // An exit ends a fetch that stays under way.
  Fetch fetch;
  fetch.end_ms = 1;
  EXPECT_TRUE(ToJson(fetch, 0)["end"].is_null());
  // HTTP DNS was asked for the host of a fetch that failed.
  fetch.outcome = FetchOutcome::kFailed;
  fetch.has_no_addresses = true;
  fetch.hosts_fetch = 1;
  Fetch hosts;
  hosts.kind = Kind::kHosts;
  History history;
  history.runs.emplace_back();
  history.fetches = {fetch, hosts};
  EXPECT_THAT(WhyWords(history).Last(), HasSubstr("it hadn't answered"));
  history.fetches[1].outcome = FetchOutcome::kFailed;
  EXPECT_THAT(WhyWords(history).Last(), HasSubstr("its request failed"));
  history.fetches[1].outcome = FetchOutcome::kTaken;
  EXPECT_THAT(WhyWords(history).Last(), HasSubstr("it had none"));
}

}  // namespace
}  // namespace history
