#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "base/platform/file.h"
#include "base/platform/thread_for_test.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "tests/src/sturdy_lbs/lbs_fixture.h"
#include "tests/support/wait_until.h"

namespace zo_sturdy {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

const std::string kNew = TestDocument({"a:1", "1.2.3.4:2", "[::1]:3"}, {"http://n/"}).Text();
const std::string kInvoke = "[count timer invoker] Invoke immediately";
const std::string kForced = "[lbs]UpdateLBS force = true";
const std::string kUnforced = "[lbs]UpdateLBS force = false";
const std::string kAsked = "[lbs] Fetch asked for by ";
const std::string kBusy = "[lbs]UpdateLBS updatting_lbs_ = true,return";

// The log of a whole fetch is tested with servers, in tests/system.
class LBSServiceTest : public LbsTest {
 protected:
  ~LBSServiceTest() override { service->Stop(); }

  // Starts with a token. The first fetch is request 0.
  void StartWithToken(const _ZOSturdyLBSSettings& record = Record()) {
    SetToken("key");
    ASSERT_TRUE(service->Start(record));
    first = Request(0);
    log.StartHere();
  }
  bool Apply(const lab::LbsDocument& document) {
    return service->ParseLBSResponse(document.Text(), "0");
  }
  Messages Lines() const { return log.Tagged({"[lbs]", "[count timer invoker]"}); }
  std::string CacheText() const { return zo_base::ReadFilePrefix(cache, 1 << 20); }

  const std::string cache = folder.path() + "/lbs/lbs.data";
  std::shared_ptr<ZOSturdyLBSServiceImpl> service = MakeService();
  MultipleURLHttpRequest first;
};

TEST_F(LBSServiceTest, NextFetchUsesTheUrlsOfTheDocument) {
  StartWithToken();
  EXPECT_THAT(log.Text(), HasSubstr("[lbs] Start enable:true address_family:0 "
                                    "lbs_url:http://root.example/lbs default_link_v4:10.0.0.9:9 "
                                    "default_link_v6:localhost:8080 backup_urls:0"));
  service->Update(net::kIPFamilyAny);  // dropped while one runs
  EXPECT_EQ(Lines(),
            (Messages{"[lbs]Call Update", kInvoke, kAsked + "update number:2", kUnforced, kBusy}));
  EXPECT_FALSE(Answer(first, 500, kNew)) << "the body is good, the status isn't";
  service->Update(net::kIPFamilyAny);
  const std::string long_one = "http://h/" + std::string(kMaxLbsUrlBytes - 9, 'h');
  std::vector<std::string> urls = {"http://next/", long_one, "", "http://1.1.1.1/", long_one + "h"};
  urls.resize(1000, "http://2.2.2.2/");
  const std::string document = TestDocument({"a:1"}, urls).Text();
  const auto answer = std::async(std::launch::async, [&] { Answer(Request(1), 200, document); });
  EXPECT_EQ(Document(*service, false), document);  // waits for it
  service->Update(net::kIPFamilyAny);
  const std::vector<URLItem> asked = Request(2).urls;
  EXPECT_THAT(asked, SizeIs(64));
  EXPECT_EQ(asked[0].host + " " + asked[1].host + " " + asked[3].host, "next h next");
  EXPECT_EQ(asked[2].host, "") << "the empty URL";
  EXPECT_THAT(asked[4].url, HasSubstr("http://2.2.2.2/?"));
  // A document without backups keeps those of the last one.
  Answer(Request(2), 200, TestDocument({"a:1"}, {"http://last/"}).Text());
  service->Update(net::kIPFamilyAny);
  EXPECT_THAT(Request(3).urls, SizeIs(64));

  // The next run serves from the cache, until its settings change or the file is damaged.
  const auto changed = [](net::AddressFamily family) {
    auto record = Record("http://changed/");
    record.address_family = family;
    Fill(record.default_link_v6, kDefaultV4);
    return record;
  };
  const std::string incomplete =
      R"({"lbs_rsp": "{}", "root_lbs_addr": "http://changed/", "runntime_lbs": "u"})";
  const struct {
    _ZOSturdyLBSSettings record;
    std::string link, origin, file;
  } cases[] = {
      {Record(), "a:1", "[lbs] First document from cache fetched:5 ms ago", ""},
      {changed(net::kIPFamilyV6), kDefaultV4, "[lbs] First document from settings cache:other_url",
       ""},
      {changed(net::kIPFamilyAny), kDefaultV4, "[lbs] First document from cache fetched:never", ""},
      {changed(net::kIPFamilyV4), kDefaultV4,
       "[lbs] First document from settings cache:other_family", ""},
      {changed(net::kIPFamilyAny), kDefaultV4,
       "[lbs] First document from settings cache:incomplete", incomplete},
      {Record(), kDefaultV4, "[lbs] First document from settings cache:damaged", "{"}};
  clock.Advance(5);
  for (const auto& run : cases) {
    service->Stop();
    if (!run.file.empty()) {
      std::ofstream(cache) << run.file;
    }
    service = MakeService();
    ASSERT_TRUE(service->Start(run.record));
    EXPECT_EQ(Link(*service), run.link);
    EXPECT_EQ(log.With("First document").back(), run.origin);
  }
}

TEST_F(LBSServiceTest, TokenAndFamilyChangesForceAFetch) {
  std::tie(config->sv, config->pv, config->tp) = std::tuple(1, 2, 3);
  StartWithToken();
  SetToken("");
  EXPECT_THAT(Request(1).urls[0].url, HasSubstr("lbs?sv=1&pv=2&tp=3&"));
  EXPECT_TRUE(Answer(first, 500, kNew)) << "the token has changed, so the answer isn't judged";
  EXPECT_TRUE(service->IsUpdatingForTest());
  EXPECT_FALSE(Answer(Request(1), 500, ""));
  EXPECT_FALSE(service->IsUpdatingForTest());
  EXPECT_EQ(service->GetLinkHostCount(), 2) << "neither answer is applied";
  NotifyNetwork(net::kIPFamilyV6);  // without a token: stored, not fetched
  EXPECT_FALSE(service->IsUpdatingForTest());
  SetToken("next");
  EXPECT_THAT(Request(2).urls[0].url, HasSubstr("networkType=1"));  // IPv6
  log.StartHere();
  NotifyNetwork(net::kIPFamilyV6);
  NotifyNetwork(net::kIPFamilyV4);
  EXPECT_EQ(Request(3).ip_family, net::kIPFamilyV4);
  EXPECT_EQ(Lines(),
            (Messages{kInvoke, kAsked + "network number:4", kUnforced, kBusy, kInvoke,
                      kAsked + "network number:5", kForced, "[lbs]UpdateLBS set updatting = true",
                      "[lbs] Fetch begins number:5", "[lbs] Begin update LBS"}));
  // The answer of the fetch before the change is dropped, and doesn't end the newer fetch.
  EXPECT_TRUE(Answer(Request(2), 500, kNew));
  EXPECT_THAT(log.With("superseded"),
              testing::ElementsAre("[lbs] Check response superseded by a forced fetch",
                                   "[lbs] Update LBS complete superseded by a forced fetch"));
  EXPECT_TRUE(service->IsUpdatingForTest());
  Answer(Request(3), 200, kNew);
  EXPECT_FALSE(service->IsUpdatingForTest());
}

TEST_F(LBSServiceTest, UpdateInTheCallbackAlwaysFetches) {
  static IZOSturdyLBSService* asking;
  asking = service.get();
  service->SetUpdateCallback([](int, const char*) { asking->Update(net::kIPFamilyAny); });
  StartWithToken();
  for (size_t fetch = 0; fetch < 500; ++fetch) {
    Answer(Request(fetch), 500, "");
  }
  Request(500);
}

TEST_F(LBSServiceTest, ServesTheFamilyOfItsSettings) {
  auto record = Record();
  record.address_family = net::kIPFamilyV6;
  Fill(record.default_link_v6, "[::9]:9");
  StartWithToken(record);
  EXPECT_EQ(config->address_family, net::kIPFamilyV6);
  EXPECT_EQ(Link(*service), "[::9]:9");
  EXPECT_EQ(first.ip_family, net::kIPFamilyV6);
  Answer(first, 200,
         TestDocument({"a:1"}, {"http://n/"}).LinkDefault({"1.2.3.4:5", "[::8]:8"}).Text());
  EXPECT_EQ(Link(*service), "a:1");
  EXPECT_EQ(Link(*service, net::kIPFamilyV6), "[::8]:8");
  service->Update(net::kIPFamilyV4);
  EXPECT_EQ(Request(1).ip_family, net::kIPFamilyV4);
  // 1 is IPv6: the family of the settings, not of the call.
  EXPECT_THAT(Request(1).urls[0].url, HasSubstr("&networkType=1"));
  Answer(Request(1), 200, kNew);
  EXPECT_THAT(CacheText(), HasSubstr(R"("lbs_ip_version": "1")"));
}

TEST_F(LBSServiceTest, WithoutAUrlOfTheFamilyOnlyAForcedFetchIsSent) {
  ASSERT_TRUE(service->Start(Record("http://[::1]/lbs")));
  service->Update(net::kIPFamilyV4);
  ASSERT_TRUE(log.WaitFor("[lbs] LBS addr url list empty!"));
  // Without a URL the fetch never ends, so an unforced one is dropped.
  service->Update(net::kIPFamilyAny);
  ASSERT_TRUE(log.WaitFor(kBusy));
  SetToken("key");
  Answer(Request(0), 500, "");
  EXPECT_FALSE(service->IsUpdatingForTest());
}

TEST_F(LBSServiceTest, LinksRotateAndThirdDefaultFetches) {
  ASSERT_TRUE(service->Start(Record()));
  ASSERT_TRUE(Apply(TestDocument({"a:1", "1.2.3.4:2", "[::1]:3"})));
  EXPECT_EQ(Link(*service), "a:1");
  EXPECT_EQ(Link(*service), "1.2.3.4:2");
  service->HoldLinkAddress("1.2.3.4", 2);
  const std::string list = "\r\na:1\r\n1.2.3.4:2\r\n[::1]:3\r\n" + std::string(34, '-');
  EXPECT_EQ(log.With("Hosts size :3"),
            (Messages{"Reset Hosts size :3current index :0" + list,
                      "GetHost Hosts size :3 current index :0" + list,
                      "GetHost Hosts size :3 current index :1" + list,
                      "HoldHost ip:1.2.3.4 port:2\r\nin host list = true\r\n Hosts size :3"
                      "  current index :1" +
                          list}));
  service->HoldLinkAddress("1.2.3.4", 3);
  service->HoldLinkAddress("1.2.3.4", 2);
  EXPECT_EQ(log.With("[lbs] Hold link address 1.2.3.4:").size(), 3U);
  EXPECT_EQ(log.With("[lbs] Hold").at(1), "[lbs] Hold link address 1.2.3.4:3 found:false");
  EXPECT_EQ(Peek(*service), "1.2.3.4:2");                  // the hold goes back to it
  EXPECT_EQ(Link(*service, net::kIPFamilyV6), "[::1]:3");  // not the held one: it is IPv4
  EXPECT_EQ(Peek(*service), "");
  log.StartHere();
  EXPECT_EQ(Link(*service), "spare.example:9");
  EXPECT_EQ(Peek(*service), "a:1");
  EXPECT_EQ(Lines(), (Messages{"[lbs] Get link address addr_family = 0",
                               "[lbs] Get link address spare.example:9 use default:true",
                               "[lbs] Addr may be domain spare.example:9",
                               "[lbs] Use default link addr,need update lbs "}));
  // Each round has three links and a default. The default above is the first of three, and the
  // eighth call from here returns the third.
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(log.With("[times]"), Messages{});
    Link(*service);
  }
  EXPECT_EQ(Request(0).ip_family, net::kIPFamilyAny);
  EXPECT_EQ(log.With(kAsked), (Messages{kAsked + "third_default number:1"}));
  // For 1200 ms after the end of that fetch, defaults cause no other one; an update does.
  const auto last_line_of_three_defaults = [this] {
    for (int i = 0; i < 12; ++i) {
      Link(*service);
    }
    return log.With("]UpdateLBS").back();
  };
  const std::string paused = "[lbs]UpdateLBS less than 1200ms after a fetch for defaults,return";
  Answer(Request(0), 500, "");
  EXPECT_EQ(last_line_of_three_defaults(), paused);
  service->Update(net::kIPFamilyAny);
  Answer(Request(1), 500, "");
  clock.Advance(1199);
  EXPECT_EQ(last_line_of_three_defaults(), paused);
  clock.Advance(1);
  EXPECT_EQ(last_line_of_three_defaults(), "[lbs]UpdateLBS set updatting = true");
  // Those that are dropped during another fetch cause no pause.
  Answer(Request(2), 500, "");
  clock.Advance(1200);
  service->Update(net::kIPFamilyAny);
  EXPECT_EQ(last_line_of_three_defaults(), kBusy);
  Answer(Request(3), 500, "");
  EXPECT_EQ(last_line_of_three_defaults(), "[lbs]UpdateLBS set updatting = true");
  const char* const odd[][3] = {
      {"[fe80::1]:65535", "[fe80::1]:65535", "[lbs] Addr may be ipv6 [fe80::1]:65535"},
      {":80", ":80", "[lbs] Addr may be domain empty string !:80"},
      {"1.2.3.4", "1.2.3.4:0", "[lbs] Addr may be ipv4 1.2.3.4:0"}};
  for (const auto& [text, link, line] : odd) {
    ASSERT_TRUE(Apply(TestDocument({text})));
    EXPECT_EQ(Link(*service), link);
    EXPECT_EQ(log.With("Addr may be").back(), line);
  }
}

TEST_F(LBSServiceTest, DocumentFillsGettersStatisticsAndCache) {
  const auto values = [this] {
    std::string texts;
    for (auto getter : {&IZOSturdyLBSService::GetVltDL, &IZOSturdyLBSService::GetVltDLList,
                        &IZOSturdyLBSService::GetVltList, &IZOSturdyLBSService::GetName,
                        &IZOSturdyLBSService::GetDesc}) {
      std::vector<char> out(kVltListBufferSize);
      (service.get()->*getter)(out.data());
      texts += std::string(out.data()) + "|";
    }
    _ZOSturdyMsgStatInfo info;
    service->GetMsgStatInfo(reinterpret_cast<char*>(&info));
    return texts + std::to_string(info.enable) + info.host + info.api + "|" + info.desc;
  };
  const auto rules = [this] {
    const StatisticSettings now = *config->statistic_settings.Get();
    return std::tuple(now.enable, now.host, now.count, now.time, now.min_delay);
  };
  const std::string api = "/statics/report/im/sdk/msgreceived|";
  const std::string off = "|0" + std::string(kDefaultStatisticsHost) + api;
  EXPECT_THAT(values(), HasSubstr(off));
  ASSERT_TRUE(service->Start(Record()));
  EXPECT_THAT(values(), HasSubstr(off));
  const std::string host(600, 'h');
  ASSERT_TRUE(
      Apply(TestDocument()
                .Download("v")
                .Set("vltdls", R"([1,{"b":0.5}])")
                .Set("vlt", "null")
                .Name("n")
                .Desc("what")
                .MsgStatEnable(true)
                .Report({.host = host, .on = false, .count = 3, .time = 20, .min_delay_s = 30})));
  EXPECT_EQ(values(),
            R"(v|[1, {"b": 0.5}]|null|n|what|1https://)" + std::string(503, 'h') + api + "what");
  EXPECT_EQ(rules(), std::tuple(false, "https://" + host, 3, 20, 30000));
  EXPECT_THAT(CacheText(), HasSubstr(R"("def_link_addr": "spare.example:9")"));
  // A document may say nothing of it, also in the next run.
  ASSERT_TRUE(Apply(TestDocument({"a:1"}).Set("report", R"({"host":"/"})")));
  EXPECT_EQ(std::get<1>(rules()), kDefaultStatisticsHost) << "a report needs a host";
  const std::string before = values();
  service->Stop();
  service = MakeService();
  ASSERT_TRUE(service->Start(Record()));
  EXPECT_EQ(values(), before);
  // Without rules in a document the defaults apply; the values stay. An address that is too long
  // for the buffer, or has too large a port, is skipped; a value that is too long isn't written.
  ASSERT_TRUE(Apply(TestDocument({std::string(512, 'h'), "b:99999", "a:1"})
                        .Name(std::string(kNameBufferSize, 'n'))));
  EXPECT_EQ(rules(), std::tuple(true, kDefaultStatisticsHost, 10, 60000, 10000));
  EXPECT_THAT(values(), HasSubstr("|null||what|"));
  EXPECT_EQ(log.Texts().back(), "[lbs] Value too long for the client :name size :1048577");
  EXPECT_EQ(service->GetLinkHostCount(), 1);
  ASSERT_TRUE(Apply(TestDocument({"a:1"}).Set("msg.stat.enable", "1")));
  EXPECT_THAT(values(), HasSubstr(off)) << "only true switches them on";
  // Accepted: a `common` of the wrong type.
  ASSERT_TRUE(service->ParseLBSResponse(R"({"common":1})", "1"));
  EXPECT_FALSE(service->ParseLBSResponse(R"({"other":{}})", "1"));
  EXPECT_EQ(log.Texts().back(),
            "[lbs]ParseLBSResponse parsel result = false,use old rsp as active lbs");
  EXPECT_EQ(Document(*service), R"({"common":1})");
}

TEST_F(LBSServiceTest, CallsOutOfOrderAndNullPointersDoNothing) {
  std::vector<char> out(kMsgStatInfoBufferSize, 'x');
  service->GetLBSResponse(false, out.data());
  service->GetName(out.data());
  service->HoldLinkAddress("a", 1);
  EXPECT_THAT(out, testing::Each('x'));
  EXPECT_EQ(Link(*service) + Peek(*service), "");
  EXPECT_EQ(service->GetLinkHostCount(), 0);
  service->Update(net::kIPFamilyAny);
  EXPECT_FALSE(service->IsUpdatingForTest());
  StartWithToken();
  uint16_t port = 0;
  auto family = net::kIPFamilyAny;
  EXPECT_FALSE(service->GetLinkAddress(nullptr, &port, &family));
  EXPECT_FALSE(service->PeekLinkAddress(out.data(), &port, nullptr));
  service->HoldLinkAddress(nullptr, 1);
  service->GetLBSResponse(false, nullptr);
  service->GetMsgStatInfo(nullptr);
  EXPECT_EQ(log.Texts(), Messages{});
  EXPECT_TRUE(service->GetLinkAddress(out.data(), &port, &family));
  EXPECT_EQ(family, net::kIPFamilyV4);
  // After the stop no call waits for a fetch, no fetch begins, and the first answer, whatever it
  // is, ends the one under way without being applied.
  service->Stop();
  Document(*service, false);
  service->Update(net::kIPFamilyAny);
  EXPECT_FALSE(service->IsUpdatingForTest());
  EXPECT_TRUE(Answer(first, 500, kNew));
  EXPECT_EQ(service->GetLinkHostCount(), 2);
  service = MakeService();
  EXPECT_TRUE(Answer(first, 500, kNew));
}

// The last of the waiting callers may be the last owner of the service.
TEST_F(LBSServiceTest, MayBeReleasedWhileCallersWait) {
  constexpr int kCallers = 16;
  StartWithToken();  // the fetch is never answered
  std::vector<std::thread> callers;
  for (int i = 0; i < kCallers; ++i) {
    callers.emplace_back([waiting = service.get()] { EXPECT_EQ(Document(*waiting, false), ""); });
  }
  ASSERT_TRUE(WaitUntil([&] { return service.use_count() == 1 + kCallers; }));
  service->Stop();
  service = MakeService();
  for (std::thread& caller : callers) {
    caller.join();
  }
}

TEST_F(LBSServiceTest, FailedStartCanBeRepeated) {
  EXPECT_FALSE(std::make_shared<ZOSturdyLBSServiceImpl>()->Start(Record()));  // no configuration
  SetToken("key");
  zo_base::FailThreadStartForTest(1);
  EXPECT_THROW(service->Start(Record()), std::system_error);
  EXPECT_EQ(Link(*service), "");
  NotifyNetwork(net::kIPFamilyV6);
  ASSERT_TRUE(service->Start(Record()));
  EXPECT_EQ(Request(0).ip_family, net::kIPFamilyAny);
  EXPECT_THAT(log.With(kUnforced), SizeIs(1));
}

}  // namespace
}  // namespace zo_sturdy
