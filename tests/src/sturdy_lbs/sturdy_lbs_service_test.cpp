#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

#include <sys/stat.h>

#include <filesystem>
#include <future>

#include "base/platform/file.h"
#include "base/platform/thread_for_test.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "tests/src/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

const std::string kNew = Document(R"("a:1","1.2.3.4:2","[::1]:3")", R"("d:9")", "http://n/");
const std::string kInvoke = "[count timer invoker] Invoke immediately";
const std::string kForced = "[lbs]UpdateLBS force = true";
const std::string kUnforced = "[lbs]UpdateLBS force = false";
const std::string kBusy = "[lbs]UpdateLBS updatting_lbs_ = true,return";
const std::string kSet = "[lbs]UpdateLBS set updatting = true";
const std::string kBegin = "[lbs] Begin update LBS";

// The log of a whole fetch is tested with servers, in tests/system.
class LBSServiceTest : public LbsTest {
 protected:
  ~LBSServiceTest() override { service->Stop(); }

  // Starts with a token. The first fetch is request 0.
  void StartWithToken() {
    SetToken("key");
    ASSERT_TRUE(service->Start(Record()));
    first = Request(0);
    log.StartHere();
  }
  Messages Lines() const { return log.Tagged({"[lbs]", "[count timer invoker]"}); }

  std::shared_ptr<ZOSturdyLBSServiceImpl> service = MakeService();
  MultipleURLHttpRequest first;
};

TEST_F(LBSServiceTest, NextFetchUsesTheUrlsOfTheDocument) {
  StartWithToken();
  service->Update(net::kIPFamilyAny);  // dropped while one runs
  EXPECT_EQ(Lines(), (Messages{"[lbs]Call Update", kInvoke, kUnforced, kBusy}));
  bool need_statistic = false;
  EXPECT_FALSE(first.check(0, 500, "", kNew, need_statistic));  // also with a good body
  EXPECT_TRUE(need_statistic);
  const std::string long_one = "http://h/" + std::string(kMaxLbsUrlBytes - 9, 'h');
  std::string backups = '"' + long_one + R"(","","http://1.1.1.1/b",")" + long_one + "h\"";
  for (int i = 0; i < 1000; ++i) {
    backups += ",\"http://1.1.1.1/c\"";
  }
  const std::string document =
      Document(R"("a:1")", R"("d:9")", "http://next.example/", "\"lbs.backup\":[" + backups + "]");
  EXPECT_TRUE(first.check(0, 200, "", document, need_statistic));
  const auto answer = std::async(std::launch::async, [&] { first.callback(true, "", document); });
  EXPECT_EQ(Response(*service, false), document);  // waits for it
  service->Update(net::kIPFamilyAny);
  const std::vector<URLItem> urls = Request(1).urls;
  EXPECT_THAT(urls, SizeIs(64));
  EXPECT_EQ(urls[0].host + " " + urls[1].host + " " + urls[3].host, "next.example h next.example");
  EXPECT_THAT(urls[4].url, HasSubstr("http://1.1.1.1/c?"));
  // A document without backups keeps those of the last one.
  Request(1).callback(true, "", Document(R"("a:1")", R"("d:9")", "http://last.example/"));
  service->Update(net::kIPFamilyAny);
  EXPECT_THAT(Request(2).urls, SizeIs(64));

  // The next run serves from the cache, until its settings change.
  for (const auto& [record, link] :
       {std::pair(Record(), "a:1/0"), {Record("http://changed.example/"), "10.0.0.9:9/1"}}) {
    service->Stop();
    service = MakeService();
    ASSERT_TRUE(service->Start(record));
    EXPECT_EQ(Link(*service), link);
  }
}

TEST_F(LBSServiceTest, TokenAndFamilyChangesForceAFetch) {
  config->sv = 1;
  config->pv = 2;
  config->tp = 3;
  StartWithToken();
  SetToken("");
  const MultipleURLHttpRequest second = Request(1);
  EXPECT_THAT(second.urls[0].url, HasSubstr("lbs?sv=1&pv=2&tp=3&"));
  bool need_statistic = false;
  EXPECT_TRUE(first.check(0, 500, "", "", need_statistic));
  EXPECT_FALSE(need_statistic);
  first.callback(true, "", kNew);
  EXPECT_TRUE(service->IsUpdatingForTest());
  second.callback(false, "", "");
  EXPECT_FALSE(service->IsUpdatingForTest());
  EXPECT_EQ(service->GetLinkHostCount(), 2);
  NotifyNetwork(2);  // without a token: stored, not fetched
  const std::string tokens = " current business token : request business token:";
  EXPECT_EQ(Lines(),
            (Messages{kInvoke, kForced, kSet, kBegin, "[lbs] Check response" + tokens + "key",
                      "[lbs] Update LBS complete" + tokens + "key",
                      "[lbs] Update LBS complete" + tokens, "[lbs] Update LBS success = false",
                      "[lbs] Update LBS \r\n-----------------------\r\n\r\n-----------------------",
                      "[lbs]UpdateLBS set updatting = false"}));
  SetToken("next");
  EXPECT_THAT(Request(2).urls[0].url, HasSubstr("networkType=1"));
  log.StartHere();
  NotifyNetwork(2);
  NotifyNetwork(1);
  EXPECT_EQ(Request(3).ip_family, 1);
  EXPECT_EQ(Lines(), (Messages{kInvoke, kUnforced, kBusy, kInvoke, kForced, kSet, kBegin}));
}

TEST_F(LBSServiceTest, ServesTheFamilyOfItsSettings) {
  SetToken("key");
  auto record = Record();
  record.address_family = net::kIPFamilyV6;
  std::strcpy(record.default_link_v6, "[::9]:9");
  ASSERT_TRUE(service->Start(record));
  EXPECT_EQ(config->address_family, net::kIPFamilyV6);
  EXPECT_EQ(Link(*service), "[::9]:9/2");
  first = Request(0);
  EXPECT_EQ(first.ip_family, 2);
  first.callback(true, "", Document(R"("a:1")", R"("1.2.3.4:5","[::8]:8")", "http://n/"));
  EXPECT_EQ(Link(*service), "a:1/0");
  EXPECT_EQ(Link(*service, net::kIPFamilyV6), "[::8]:8/2");
  service->Update(net::kIPFamilyV4);
  const MultipleURLHttpRequest second = Request(1);
  EXPECT_EQ(second.ip_family, 1);
  EXPECT_THAT(second.urls[0].url, HasSubstr("&networkType=1")) << "not that of the call";
  second.callback(true, "", kNew);
  EXPECT_THAT(zo_base::ReadWholeFile(config->data_path + "lbs/lbs.data", 1 << 20),
              HasSubstr(R"("lbs_ip_version": "1")"));
}

TEST_F(LBSServiceTest, WithoutAUrlOfTheFamilyOnlyAForcedFetchIsSent) {
  ASSERT_TRUE(service->Start(Record("http://[::1]/lbs")));
  service->Update(net::kIPFamilyV4);
  ASSERT_TRUE(log.WaitFor("[lbs] LBS addr url list empty!"));
  service->Update(net::kIPFamilyAny);
  ASSERT_TRUE(log.WaitFor(kBusy));
  SetToken("key");
  Request(0).callback(false, "", "");
  EXPECT_FALSE(service->IsUpdatingForTest());
}

TEST_F(LBSServiceTest, LinksRotateAndThirdDefaultFetches) {
  ASSERT_TRUE(service->Start(Record()));
  ASSERT_TRUE(service->ParseLBSResponse(kNew, "0"));
  EXPECT_EQ(Link(*service), "a:1/0");
  EXPECT_EQ(Link(*service), "1.2.3.4:2/1");
  service->HoldLinkAddress("1.2.3.4", 2);
  EXPECT_EQ(Link(*service, net::kIPFamilyV6), "[::1]:3/2");  // skips the held one
  EXPECT_EQ(Peek(*service), "-");
  log.StartHere();
  EXPECT_EQ(Link(*service), "d:9/0");
  EXPECT_EQ(Peek(*service), "a:1/0");
  EXPECT_EQ(Lines(),
            (Messages{"[lbs] Get link address addr_family = 0",
                      "[lbs] Get link address d:9 use default:true", "[lbs] Addr may be domain d:9",
                      "[lbs] Use default link addr,need update lbs "}));
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(log.With("[times]"), Messages{});
    Link(*service);
  }
  EXPECT_EQ(Request(0).ip_family, 0);
  const char* const odd[][3] = {{"[fe80::1]:70000", "[fe80::1]:4464/2", "ipv6 [fe80::1]:4464"},
                                {":80", ":80/0", "domain empty string !:80"},
                                {"1.2.3.4", "1.2.3.4:0/1", "ipv4 1.2.3.4:0"}};
  for (const auto& [text, link, line] : odd) {
    ASSERT_TRUE(service->ParseLBSResponse(Document('"' + std::string(text) + '"', "", "u"), "0"));
    EXPECT_EQ(Link(*service), link);
    EXPECT_EQ(log.With("Addr may be").back(), "[lbs] Addr may be " + std::string(line));
  }
}

TEST_F(LBSServiceTest, DocumentFillsGettersStatisticsAndCache) {
  ASSERT_TRUE(service->Start(Record()));
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
  const std::string api = "/statics/report/im/sdk/msgreceived|";
  EXPECT_THAT(values(), testing::EndsWith("|0" + std::string(kDefaultStatisticsHost) + api));
  const std::string host(600, 'h');
  ASSERT_TRUE(service->ParseLBSResponse(
      Document(R"("a:1")", R"("d:9")", "http://n/",
               R"("vltdl":"v","vltdls":[1,{"b":0.5}],"vlt":null,"name":"n","desc":"what",)"
               R"("msg.stat.enable":true,"report":{"apierror":{"on":false,"threshold":)"
               R"({"count":3,"time":20,"min_delay":30}},"host":")" +
                   host + R"("})"),
      "1"));
  EXPECT_EQ(values(),
            R"(v|[1, {"b": 0.5}]|null|n|what|1https://)" + std::string(503, 'h') + api + "what");
  const StatisticSettings rules = *config->statistic_settings.Get();
  EXPECT_EQ(std::tie(rules.enable, rules.host, rules.count, rules.time, rules.min_delay),
            std::make_tuple(false, "https://" + host, 3, 20, 30000));
  EXPECT_THAT(zo_base::ReadWholeFile(config->data_path + "lbs/lbs.data", 1 << 20),
              HasSubstr(R"("def_link_addr": "d:9")"));
  // Without rules in a document the defaults apply; the values stay. An address that is too long
  // for the buffer is skipped; a value that is too long isn't written.
  ASSERT_TRUE(
      service->ParseLBSResponse(Document('"' + std::string(512, 'h') + R"(","a:1")", "", "u",
                                         R"("name":")" + std::string(kNameBufferSize, 'n') + '"'),
                                "0"));
  const StatisticSettings usual = *config->statistic_settings.Get();
  EXPECT_EQ(std::tie(usual.count, usual.time, usual.min_delay), std::make_tuple(10, 60000, 10000));
  EXPECT_THAT(values(), HasSubstr("|null||what|"));
  EXPECT_EQ(service->GetLinkHostCount(), 1);
  ASSERT_TRUE(service->ParseLBSResponse(R"({"common":1})", "1"));
  EXPECT_FALSE(service->ParseLBSResponse(R"({"other":{}})", "1"));
  EXPECT_EQ(Response(*service), R"({"common":1})");
}

TEST_F(LBSServiceTest, CallsOutOfOrderAndNullPointersDoNothing) {
  std::vector<char> out(kMsgStatInfoBufferSize, 'x');
  service->GetLBSResponse(false, out.data());
  service->GetName(out.data());
  service->GetMsgStatInfo(out.data());
  service->HoldLinkAddress("a", 1);
  EXPECT_THAT(out, testing::Each('x'));
  EXPECT_EQ(Link(*service) + Peek(*service), "--");
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
  EXPECT_EQ(Link(*service), "10.0.0.9:9/1");
  // After the stop no call waits for a fetch, no fetch begins, and none is applied.
  service->Stop();
  Response(*service, false);
  service->Update(net::kIPFamilyAny);
  EXPECT_FALSE(service->IsUpdatingForTest());
  first.callback(true, "", kNew);
  EXPECT_EQ(service->GetLinkHostCount(), 2);
}

// The next service must not read a cache file that this one is still writing.
TEST_F(LBSServiceTest, StopWaitsForTheDocumentThatIsBeingSaved) {
  StartWithToken();
  const std::string cache = config->data_path + "lbs/lbs.data";
  std::filesystem::remove(cache);
  ASSERT_EQ(mkfifo(cache.c_str(), 0600), 0);  // a save blocks until the file is read
  const auto answer = std::async(std::launch::async, [&] { first.callback(true, "", kNew); });
  ASSERT_TRUE(log.WaitFor("[lbs]ParseLBSResponse parsel result = true,update active lbs"));
  const auto stop = std::async(std::launch::async, [&] { service->Stop(); });
  EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  EXPECT_THAT(zo_base::ReadWholeFile(cache, 1 << 20), HasSubstr("1.2.3.4:2"));
}

TEST_F(LBSServiceTest, FailedStartCanBeRepeated) {
  EXPECT_FALSE(std::make_shared<ZOSturdyLBSServiceImpl>()->Start(Record()));
  SetToken("key");
  zo_base::FailThreadStartForTest(1);
  EXPECT_THROW(service->Start(Record()), std::system_error);
  EXPECT_EQ(Link(*service), "-");
  NotifyNetwork(2);
  ASSERT_TRUE(service->Start(Record()));
  EXPECT_EQ(Request(0).ip_family, 0);
  EXPECT_THAT(log.With(kUnforced), SizeIs(1));
}

}  // namespace
}  // namespace zo_sturdy
