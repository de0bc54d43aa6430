#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

#include <future>
#include <thread>

#include "base/platform/file.h"
#include "base/platform/thread_for_test.h"
#include "tests/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

const std::string kNew =
    Document(R"("a:1","1.2.3.4:2","[::1]:3")", R"("d:9")", "http://next.example/",
             R"("lbs.backup":["http://1.1.1.1/b",""])");
const std::string kInvoke = "[count timer invoker] Invoke immediately";
const std::string kForced = "[lbs]UpdateLBS force = true";
const std::string kUnforced = "[lbs]UpdateLBS force = false";
const std::string kBusy = "[lbs]UpdateLBS updatting_lbs_ = true,return";
const std::string kSet = "[lbs]UpdateLBS set updatting = true";
const std::string kClear = "[lbs]UpdateLBS set updatting = false";
const std::string kBegin = "[lbs] Begin update LBS";
const std::string kPost = "[lbs] Update LBS compare post task to lbs thread for callback";
const std::string kCall = "[lbs] Update LBS compare callback sdk";
const std::string kActive = "[lbs]ParseLBSResponse parsel result = true,update active lbs";

std::string Framed(const std::string& begin, const std::string& body, size_t dashes = 23) {
  const std::string frame = "\r\n" + std::string(dashes, '-');
  return begin + frame + "\r\n" + body + frame;
}
std::string Received(const std::string& text) {
  return Framed("[lbs]ParseLBSResponse rsp:", text, 26);
}
std::string Tokens(const std::string& what, const std::string& now, const std::string& asked) {
  return "[lbs] " + what + " current business token :" + now + " request business token:" + asked;
}

std::promise<std::string>* told = nullptr;

class LBSServiceTest : public LbsTest {
 protected:
  LBSServiceTest() { told = &told_; }
  ~LBSServiceTest() override { service->Stop(); }

  // With a token, the first fetch under way as request 0, and the client's callback set.
  void StartWithToken() {
    SetToken("key");
    service->SetUpdateCallback(
        [](int code, const char* text) { told->set_value(std::to_string(code) + " " + text); });
    ASSERT_TRUE(service->Start(Record()));
    first = Request(0);
  }
  bool Check(int32_t code, const std::string& body) {
    bool need_statistic = false;
    const bool good = first.check(0, code, "", body, need_statistic);
    EXPECT_NE(good, need_statistic);
    return good;
  }
  // The lines from StartHere on; the last two of a fetch come on two threads, here in this order.
  Messages Lines() const {
    Messages lines = log.Tagged({"[lbs]", "[count timer invoker]"});
    if (!lines.empty() && lines.back() == kCall) {
      std::swap(lines.back(), *(lines.end() - 2));
    }
    return lines;
  }

  std::shared_ptr<ZOSturdyLBSServiceImpl> service = MakeService();
  MultipleURLHttpRequest first;
  std::promise<std::string> told_;
};

TEST_F(LBSServiceTest, OneFetchFromColdStartToTheClient) {
  StartWithToken();
  const std::string old = Response(*service);
  EXPECT_EQ(first.urls[0].url, "http://root.example/lbs?k=key&sv=0&pv=0&tp=0&networkType=2");
  EXPECT_TRUE(Check(200, kNew));
  first.callback(true, "", kNew);
  EXPECT_EQ(told_.get_future().get(), "200 " + kNew);
  EXPECT_EQ(
      Lines(),
      (Messages{Received(old), kActive, kInvoke, kUnforced, kSet, kBegin,
                Tokens("Check response", "key", "key"), "[lbs] Check response index:0 code:200",
                "[lbs] Check response res = true", Tokens("Update LBS complete", "key", "key"),
                "[lbs] Update LBS success = true", Framed("[lbs] Update LBS ", kNew),
                Received(kNew), kActive, kPost, kCall, kClear}));
  service->Update(net::kIPFamilyAny);  // to the URLs of the document
  EXPECT_EQ(Request(1).urls[0].host + " " + Request(1).urls[1].host, "next.example next.example");
  EXPECT_THAT(Request(1).urls, SizeIs(3));

  // The next run serves from the cache, until its settings change.
  for (const char* url : {"http://root.example/lbs", "http://changed.example/"}) {
    service->Stop();
    service = MakeService();
    ASSERT_TRUE(service->Start(Record(url)));
    EXPECT_EQ(Link(*service), url == std::string(Record().lbs_url) ? "a:1/0" : "10.0.0.9:9/1");
  }
}

TEST_F(LBSServiceTest, AFailedFetchKeepsTheOldDocument) {
  StartWithToken();
  const std::string old = Response(*service);
  auto waiting = std::async(std::launch::async, [this] { return Response(*service, false); });
  log.StartHere();
  EXPECT_FALSE(Check(500, kNew));
  EXPECT_FALSE(Check(200, "{}"));
  service->Update(net::kIPFamilyAny);  // dropped beside the running one
  EXPECT_EQ(waiting.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  first.callback(false, "", "{}");
  EXPECT_EQ(told_.get_future().get(), "0 " + old);
  EXPECT_EQ(waiting.get(), old);
  const std::string checked = Tokens("Check response", "key", "key");
  EXPECT_EQ(
      Lines(),
      (Messages{checked, "[lbs] Check response index:0 code:500",
                "[lbs] Check response res = false", checked,
                "[lbs] Check response index:0 code:200",
                Framed("[lbs] Check response res = false for body error", "body:\r\n{}"),
                "[lbs]Call Update", kInvoke, kUnforced, kBusy,
                Tokens("Update LBS complete", "key", "key"), "[lbs] Update LBS success = false",
                Framed("[lbs] Update LBS ", "{}"), kPost, kCall, kClear}));
}

TEST_F(LBSServiceTest, ChangesOfTokenAndFamilyAreForced) {
  StartWithToken();
  service->SetUpdateCallback(nullptr);
  log.StartHere();
  SetToken("");
  const MultipleURLHttpRequest second = Request(1);
  EXPECT_THAT(second.urls[0].url, HasSubstr("lbs?sv=0"));
  EXPECT_TRUE(Check(500, ""));
  first.callback(true, "", kNew);
  EXPECT_TRUE(service->IsUpdatingForTest());
  second.callback(false, "", "");
  EXPECT_FALSE(service->IsUpdatingForTest());
  EXPECT_EQ(service->GetLinkHostCount(), 2);
  NotifyNetwork(2);  // without a token: stored, and nothing fetched
  EXPECT_EQ(
      Lines(),
      (Messages{kInvoke, kForced, kSet, kBegin, Tokens("Check response", "", "key"),
                Tokens("Update LBS complete", "", "key"), Tokens("Update LBS complete", "", ""),
                "[lbs] Update LBS success = false", Framed("[lbs] Update LBS ", ""), kClear}));
  SetToken("next");
  EXPECT_THAT(Request(2).urls[0].url, HasSubstr("networkType=1"));
  log.StartHere();
  NotifyNetwork(2);
  NotifyNetwork(1);
  EXPECT_EQ(Request(3).ip_family, 1);
  EXPECT_EQ(Lines(), (Messages{kInvoke, kUnforced, kBusy, kInvoke, kForced, kSet, kBegin}));
}

TEST_F(LBSServiceTest, WithoutAUrlOfTheFamilyOnlyAForcedFetchGoesOut) {
  ASSERT_TRUE(service->Start(Record("http://[::1]/lbs")));
  service->Update(net::kIPFamilyV4);
  ASSERT_TRUE(log.WaitFor("[lbs] LBS addr url list empty!"));
  service->Update(net::kIPFamilyAny);
  ASSERT_TRUE(log.WaitFor(kBusy));
  SetToken("key");
  Request(0).callback(false, "", "");
  EXPECT_FALSE(service->IsUpdatingForTest());
}

TEST_F(LBSServiceTest, OnlyUrlsThatCanBeSentAreAskedAndNoMoreThanSixtyFour) {
  StartWithToken();
  std::string backups = "\"http://" + std::string(900000, 'h') + "/\"";
  for (int i = 0; i < 1000; ++i) {
    backups += ",\"http://1.1.1.1/\"";
  }
  first.callback(
      true, "",
      Document(R"("a:1")", R"("d:9")", "http://next.example/", "\"lbs.backup\":[" + backups + "]"));
  service->Update(net::kIPFamilyAny);
  const std::vector<URLItem> urls = Request(1).urls;
  EXPECT_THAT(urls, SizeIs(64));
  EXPECT_THAT(urls[1].url, HasSubstr("http://1.1.1.1/"));
}

TEST_F(LBSServiceTest, LinksRotateAndTheThirdDefaultFetches) {
  ASSERT_TRUE(service->Start(Record()));
  ASSERT_TRUE(service->ParseLBSResponse(kNew, "0"));
  EXPECT_EQ(Link(*service), "a:1/0");
  EXPECT_EQ(Link(*service), "1.2.3.4:2/1");
  service->HoldLinkAddress("1.2.3.4", 2);
  EXPECT_EQ(Link(*service, net::kIPFamilyV6), "[::1]:3/2");  // passes over the held one
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

TEST_F(LBSServiceTest, ADocumentFillsGettersStatisticsAndCache) {
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
               R"({"count":3,"time":30,"min_delay":30}},"host":")" +
                   host + R"("})"),
      "1"));
  EXPECT_EQ(values(),
            R"(v|[1, {"b": 0.5}]|null|n|what|1https://)" + std::string(503, 'h') + api + "what");
  const StatisticSettings rules = *config->statistic_settings.Get();
  EXPECT_EQ(rules.host + std::to_string(rules.enable), "https://" + host + "0");
  EXPECT_EQ(rules.count + rules.time + rules.min_delay, 3 + 30 + 30000);
  EXPECT_THAT(zo_base::ReadWholeFile(config->data_path + "lbs/lbs.data", 1 << 20),
              HasSubstr(R"("def_link_addr": "d:9")"));
  // The rules of a document that lacks them are the defaults again, the values stay. What is too
  // long for its buffer is passed over in a list, and isn't written elsewhere.
  ASSERT_TRUE(
      service->ParseLBSResponse(Document('"' + std::string(512, 'h') + R"(","a:1")", "", "u",
                                         R"("name":")" + std::string(kNameBufferSize, 'n') + '"'),
                                "0"));
  EXPECT_EQ(config->statistic_settings.Get()->count, StatisticSettings().count);
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
  log.StartHere();
  uint16_t port = 0;
  auto family = net::kIPFamilyAny;
  EXPECT_FALSE(service->GetLinkAddress(nullptr, &port, &family));
  EXPECT_FALSE(service->PeekLinkAddress(out.data(), &port, nullptr));
  service->HoldLinkAddress(nullptr, 1);
  service->GetLBSResponse(false, nullptr);
  service->GetMsgStatInfo(nullptr);
  EXPECT_EQ(log.Texts(), Messages{});
  EXPECT_EQ(Link(*service), "10.0.0.9:9/1");
  // After the stop nothing waits for a fetch, none begins, and none is applied.
  service->Stop();
  Response(*service, false);
  service->Update(net::kIPFamilyAny);
  EXPECT_FALSE(service->IsUpdatingForTest());
  first.callback(true, "", kNew);
  EXPECT_EQ(service->GetLinkHostCount(), 2);
}

TEST_F(LBSServiceTest, AStartThatFailsLeavesTheServiceAsNew) {
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
