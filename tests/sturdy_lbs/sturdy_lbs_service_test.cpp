#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <system_error>
#include <thread>

#include "base/clock_for_test.h"
#include "base/platform/file.h"
#include "base/platform/thread_for_test.h"
#include "tests/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

const std::string kNew =
    Document(R"("a:1","1.2.3.4:2","[::1]:3")", R"("d:9")", "http://next.example/",
             R"("lbs.backup":["http://1.1.1.1/b",""])");
const std::string kBoxes = "\r\n--------------------------";
const std::string kInvoke = "[count timer invoker] Invoke immediately";
const std::string kForced = "[lbs]UpdateLBS force = true";
const std::string kUnforced = "[lbs]UpdateLBS force = false";
const std::string kSet = "[lbs]UpdateLBS set updatting = true";
const std::string kClear = "[lbs]UpdateLBS set updatting = false";
const std::string kBegin = "[lbs] Begin update LBS";
const std::string kPostCall = "[lbs] Update LBS compare post task to lbs thread for callback";
const std::string kCall = "[lbs] Update LBS compare callback sdk";
const std::string kActive = "[lbs]ParseLBSResponse parsel result = true,update active lbs";

std::string Received(const std::string& text) {
  return "[lbs]ParseLBSResponse rsp:" + kBoxes + "\r\n" + text + kBoxes;
}
std::string Checked(const std::string& token, const std::string& of_request) {
  return "[lbs] Check response current business token :" + token +
         " request business token:" + of_request;
}
std::string Completed(const std::string& token, const std::string& of_request) {
  return "[lbs] Update LBS complete current business token :" + token +
         " request business token:" + of_request;
}
std::string Body(const std::string& body) {
  return "[lbs] Update LBS \r\n-----------------------\r\n" + body + "\r\n-----------------------";
}

// What the client was told, by a plain function as its interface has it.
struct Client {
  std::mutex mutex;
  std::vector<std::string> calls;
};
Client* client = nullptr;
void OnUpdate(int code, const char* text) {
  const std::lock_guard lock(client->mutex);
  client->calls.push_back(std::to_string(code) + " " + text);
}

class LBSServiceTest : public LbsTest {
 protected:
  LBSServiceTest() : service(MakeService()) { client = &told; }
  ~LBSServiceTest() override {
    if (service != nullptr) {
      Release(service);
    }
  }

  Messages Lines() const { return log.Tagged({"[lbs]", "[count timer invoker]"}); }
  // With a token, and the first fetch under way as request 0.
  void StartWithToken() {
    SetToken("key");
    service->SetUpdateCallback(OnUpdate);
    ASSERT_TRUE(service->Start(Record()));
    agent.Request(0);
  }
  bool Check(const MultipleURLHttpRequest& request, int32_t code, const std::string& body) {
    need_statistic = false;
    return request.check(0, code, "", body, need_statistic);
  }
  std::vector<std::string> Told(size_t count) {
    EXPECT_TRUE(log.WaitForCount(kCall, count));
    // The line comes before the call; a task behind the call would need the thread's loop.
    for (int i = 0; i < 20000; ++i) {
      const std::lock_guard lock(told.mutex);
      if (told.calls.size() >= count) {
        return told.calls;
      }
      std::this_thread::yield();
    }
    return {};
  }

  Client told;
  std::shared_ptr<ZOSturdyLBSServiceImpl> service;
  bool need_statistic = false;
};

TEST_F(LBSServiceTest, OneFetchFromColdStartToTheClient) {
  StartWithToken();
  const std::string old = Response(*service);
  EXPECT_EQ(Link(*service), "10.0.0.9:9/1");
  const MultipleURLHttpRequest request = agent.Request(0);
  EXPECT_THAT(request.urls, SizeIs(1));
  EXPECT_EQ(request.urls[0].url, "http://root.example/lbs?k=key&sv=1&pv=2&tp=3&networkType=2");
  EXPECT_TRUE(Check(request, 200, kNew));
  EXPECT_FALSE(need_statistic);
  request.callback(true, "", kNew);
  EXPECT_THAT(Told(1), ElementsAre("200 " + kNew));
  EXPECT_FALSE(service->IsUpdatingForTest());
  Messages lines = Lines();
  const auto link_lines = std::remove_if(lines.begin(), lines.end(), [](const std::string& line) {
    return line.find("ddr") != std::string::npos && line.find("common") == std::string::npos;
  });
  lines.erase(link_lines, lines.end());
  // The last three come on two threads.
  ASSERT_THAT(lines, SizeIs(17));
  std::sort(lines.end() - 2, lines.end());
  EXPECT_EQ(lines, (Messages{Received(old), kActive, kInvoke, kUnforced, kSet, kBegin,
                             Checked("key", "key"), "[lbs] Check response index:0 code:200",
                             "[lbs] Check response res = true", Completed("key", "key"),
                             "[lbs] Update LBS success = true", Body(kNew), Received(kNew), kActive,
                             kPostCall, kCall, kClear}));
  EXPECT_EQ(service->GetLinkHostCount(), 3);

  // The next fetch goes to the URLs of the document.
  service->Update(net::kIPFamilyAny);
  std::vector<std::string> hosts;
  for (const URLItem& item : agent.Request(1).urls) {
    hosts.push_back(item.url.substr(0, item.url.find('?')) + " " + item.host);
  }
  EXPECT_THAT(hosts, ElementsAre("http://next.example/ next.example",
                                 "http://1.1.1.1/b next.example", " "));
}

TEST_F(LBSServiceTest, AFailedFetchKeepsTheOldDocument) {
  StartWithToken();
  const std::string old = Response(*service);
  const MultipleURLHttpRequest request = agent.Request(0);
  log.StartHere();
  EXPECT_FALSE(Check(request, 500, kNew));
  EXPECT_TRUE(need_statistic);
  EXPECT_FALSE(Check(request, 200, "{}"));
  EXPECT_TRUE(need_statistic);
  service->Update(net::kIPFamilyAny);  // dropped beside the running one
  request.callback(false, "", "{}");
  EXPECT_THAT(Told(1), ElementsAre("0 " + old));
  Messages lines = Lines();
  ASSERT_THAT(lines, SizeIs(16));
  std::sort(lines.end() - 2, lines.end());
  EXPECT_EQ(
      lines,
      (Messages{Checked("key", "key"), "[lbs] Check response index:0 code:500",
                "[lbs] Check response res = false", Checked("key", "key"),
                "[lbs] Check response index:0 code:200",
                "[lbs] Check response res = false for body error\r\n-----------------------\r\n"
                "body:\r\n{}\r\n-----------------------",
                "[lbs]Call Update", kInvoke, kUnforced,
                "[lbs]UpdateLBS updatting_lbs_ = true,return", Completed("key", "key"),
                "[lbs] Update LBS success = false", Body("{}"), kPostCall, kCall, kClear}));
  EXPECT_EQ(Response(*service), old);
}

TEST_F(LBSServiceTest, ATokenChangeDropsWhatTheRunningFetchBrings) {
  StartWithToken();
  log.StartHere();
  SetToken("");
  const MultipleURLHttpRequest first = agent.Request(0);
  const MultipleURLHttpRequest second = agent.Request(1);
  EXPECT_THAT(second.urls[0].url, Not(HasSubstr("k=")));
  EXPECT_TRUE(Check(first, 500, ""));
  first.callback(true, "", kNew);
  EXPECT_TRUE(service->IsUpdatingForTest());
  EXPECT_EQ(service->GetLinkHostCount(), 2);
  second.callback(false, "", "");
  EXPECT_FALSE(service->IsUpdatingForTest());
  EXPECT_THAT(Told(1), SizeIs(1));
  const Messages lines = Lines();
  ASSERT_GT(lines.size(), 7U);
  const Messages expected = {
      kInvoke, kForced, kSet, kBegin, Checked("", "key"), Completed("", "key"), Completed("", "")};
  EXPECT_EQ(Messages(lines.begin(), lines.begin() + 7), expected);
}

TEST_F(LBSServiceTest, ANetworkChangeIsForcedIfTheFamilyChanged) {
  ASSERT_TRUE(service->Start(Record()));
  log.StartHere();
  NotifyNetwork(net::kIPFamilyV6);  // no token: stored, nothing fetched
  EXPECT_EQ(Lines(), Messages{});
  SetToken("key");
  EXPECT_THAT(agent.Request(0).urls[0].url, HasSubstr("networkType=1"));
  log.StartHere();
  NotifyNetwork(net::kIPFamilyV6);
  NotifyNetwork(net::kIPFamilyV4);
  EXPECT_EQ(agent.Request(1).ip_family, 1);
  EXPECT_EQ(Lines(), (Messages{kInvoke, kUnforced, "[lbs]UpdateLBS updatting_lbs_ = true,return",
                               kInvoke, kForced, kSet, kBegin}));
}

TEST_F(LBSServiceTest, WithoutAUrlOfTheFamilyOnlyAForcedFetchGoesOut) {
  ASSERT_TRUE(service->Start(Record("http://[::1]/lbs")));
  service->Update(net::kIPFamilyV4);
  ASSERT_TRUE(log.WaitFor("[lbs] LBS addr url list empty!"));
  service->Update(net::kIPFamilyAny);
  EXPECT_TRUE(service->IsUpdatingForTest());
  EXPECT_EQ(agent.Count(), 0U);
  SetToken("key");
  agent.Request(0).callback(false, "", "");
  EXPECT_FALSE(service->IsUpdatingForTest());
}

TEST_F(LBSServiceTest, TheThirdDefaultFetchesAndTheListIsFollowed) {
  StartWithToken();
  agent.Request(0).callback(true, "", kNew);
  EXPECT_THAT(Told(1), SizeIs(1));
  EXPECT_EQ(Peek(*service), "a:1/0");
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
    Link(*service);
  }
  EXPECT_EQ(agent.Request(1).ip_family, 0);
  EXPECT_THAT(log.With("[times]"), SizeIs(1));
  EXPECT_EQ(agent.Count(), 2U);
}

TEST_F(LBSServiceTest, AnAddressWithoutHostOrPortIsTold) {
  ASSERT_TRUE(service->Start(Record()));
  const struct {
    const char* host;
    const char* link;
    const char* line;
  } cases[] = {
      {R"("[fe80::1]:70000")", "[fe80::1]:4464/2", "[lbs] Addr may be ipv6 [fe80::1]:4464"},
      {R"("1.2.3.4:80")", "1.2.3.4:80/1", "[lbs] Addr may be ipv4 1.2.3.4:80"},
      {R"(":80")", ":80/0", "[lbs] Addr may be domain empty string !:80"},
      {R"("name")", "name:0/0", "[lbs] Addr may be domain name:0"}};
  for (const auto& c : cases) {
    ASSERT_TRUE(service->ParseLBSResponse(Document(c.host, "", "u"), "0"));
    EXPECT_EQ(Link(*service), c.link);
    EXPECT_THAT(log.With("Addr may be"), testing::Contains(c.line));
  }
}

TEST_F(LBSServiceTest, TheNextRunServesFromTheCacheUntilItsSettingsChange) {
  StartWithToken();
  agent.Request(0).callback(true, "", kNew);
  Release(service);
  service = MakeService();
  ASSERT_TRUE(service->Start(Record()));
  EXPECT_EQ(Link(*service), "a:1/0");
  EXPECT_EQ(Response(*service), kNew);
  EXPECT_THAT(agent.Request(1).urls[0].url, HasSubstr("http://next.example/"));
  Release(service);
  service = MakeService();
  ASSERT_TRUE(service->Start(Record("http://changed.example/")));
  EXPECT_EQ(Link(*service), "10.0.0.9:9/1");
}

TEST_F(LBSServiceTest, ADocumentFillsTheGettersTheStatisticsAndTheCache) {
  ASSERT_TRUE(service->Start(Record()));
  const auto value = [this](void (IZOSturdyLBSService::*getter)(char*)) {
    std::vector<char> out(kVltListBufferSize);
    (service.get()->*getter)(out.data());
    return std::string(out.data());
  };
  const auto stat = [this] {
    _ZOSturdyMsgStatInfo info;
    std::memset(&info, 0xff, sizeof(info));
    service->GetMsgStatInfo(reinterpret_cast<char*>(&info));
    return std::to_string(info.enable) + info.host + "|" + info.api + "|" + info.desc;
  };
  const std::string api = "|/statics/report/im/sdk/msgreceived|";
  EXPECT_EQ(stat(), "0" + std::string(kDefaultStatisticsHost) + api);
  const std::string long_host(600, 'h');
  ASSERT_TRUE(service->ParseLBSResponse(
      Document(
          R"("a:1")", R"("d:9")", "http://n/",
          R"("vltdl":"v","vltdls":[1,{"b":0.5}],"vlt":null,"name":"n","desc":"what",)"
          R"("msg.stat.enable":true,"report":{"host":")" +
              long_host +
              R"(","apierror":{"on":false,"threshold":{"count":3,"time":30,"min_delay":30}}})"),
      "1"));
  EXPECT_EQ(value(&IZOSturdyLBSService::GetVltDL), "v");
  EXPECT_EQ(value(&IZOSturdyLBSService::GetVltDLList), R"([1, {"b": 0.5}])");
  EXPECT_EQ(value(&IZOSturdyLBSService::GetVltList), "null");
  EXPECT_EQ(value(&IZOSturdyLBSService::GetName), "n");
  EXPECT_EQ(value(&IZOSturdyLBSService::GetDesc), "what");
  EXPECT_EQ(stat(), "1" + ("https://" + long_host).substr(0, 511) + api + "what");
  const auto rules = config->statistic_settings.Get();
  EXPECT_EQ(rules->host, "https://" + long_host);
  EXPECT_FALSE(rules->enable);
  EXPECT_EQ(rules->count, 3);
  EXPECT_EQ(rules->time, 30);
  EXPECT_EQ(rules->min_delay, 30000);
  const std::string file = zo_base::ReadWholeFile(config->data_path + "lbs/lbs.data", 1 << 20);
  EXPECT_THAT(file, HasSubstr(R"("def_link_addr": "d:9")"));
  EXPECT_THAT(file, HasSubstr(R"("lbs_ip_version": "1")"));

  // What a document lacks goes back to the defaults, but for the values of the store.
  ASSERT_TRUE(service->ParseLBSResponse(R"({"common":{"report":{"host":"http://x"}}})", "1"));
  EXPECT_EQ(config->statistic_settings.Get()->host, "http://x");
  EXPECT_EQ(config->statistic_settings.Get()->count, StatisticSettings().count);
  EXPECT_EQ(value(&IZOSturdyLBSService::GetName), "n");
  EXPECT_EQ(service->GetLinkHostCount(), 0);
  ASSERT_TRUE(service->ParseLBSResponse(R"({"common":1})", "1"));
  EXPECT_FALSE(service->ParseLBSResponse("", "1"));
  EXPECT_FALSE(service->ParseLBSResponse(R"({"other":{}})", "1"));
  EXPECT_EQ(Response(*service), R"({"common":1})");
}

TEST_F(LBSServiceTest, ValuesPastTheirBufferAreNotWritten) {
  ASSERT_TRUE(service->Start(Record()));
  const std::string name(kNameBufferSize, 'n');
  ASSERT_TRUE(service->ParseLBSResponse(
      Document("\"" + std::string(512, 'h') + R"(","a:1")", "", "u", R"("name":")" + name + "\""),
      "0"));
  std::vector<char> out(kNameBufferSize);
  service->GetName(out.data());
  EXPECT_EQ(out[0], '\0');
  service->GetLBSResponse(true, out.data());
  EXPECT_EQ(out[0], '\0');
  EXPECT_THAT(log.With("too long for the client"), SizeIs(2));
  EXPECT_EQ(service->GetLinkHostCount(), 1);
}

TEST_F(LBSServiceTest, CallsOutOfOrderAndNullPointersDoNothing) {
  std::vector<char> out(kMsgStatInfoBufferSize, 'x');
  const auto ask_all = [&out](IZOSturdyLBSService& slots) {
    char* const text = out.data();
    slots.GetLBSResponse(false, text);
    slots.GetVltDL(text);
    slots.GetVltDLList(text);
    slots.GetVltList(text);
    slots.GetName(text);
    slots.GetDesc(text);
    slots.GetMsgStatInfo(text);
    slots.HoldLinkAddress("a", 1);
    uint16_t port = 7;
    auto family = net::kIPFamilyV6;
    EXPECT_FALSE(slots.GetLinkAddress(text, &port, &family));
    EXPECT_FALSE(slots.PeekLinkAddress(text, &port, &family));
    EXPECT_EQ(port + family, 9);
    EXPECT_EQ(slots.GetLinkHostCount(), 0);
  };
  ask_all(*service);
  service->Update(net::kIPFamilyAny);
  EXPECT_FALSE(service->IsUpdatingForTest());
  EXPECT_THAT(out, testing::Each('x'));
  ASSERT_TRUE(service->Start(Record()));
  service->SetUpdateCallback(nullptr);
  log.StartHere();
  char host[kLinkHostBufferSize];
  uint16_t port = 0;
  auto family = net::kIPFamilyAny;
  EXPECT_FALSE(service->GetLinkAddress(nullptr, &port, &family));
  EXPECT_FALSE(service->GetLinkAddress(host, nullptr, &family));
  EXPECT_FALSE(service->GetLinkAddress(host, &port, nullptr));
  EXPECT_FALSE(service->PeekLinkAddress(host, &port, nullptr));
  service->HoldLinkAddress(nullptr, 1);
  service->GetLBSResponse(false, nullptr);
  service->GetName(nullptr);
  service->GetMsgStatInfo(nullptr);
  EXPECT_EQ(log.Texts(), Messages{});
  EXPECT_EQ(Link(*service), "10.0.0.9:9/1");
  // After the stop nothing waits for a fetch, and none begins.
  service->Update(net::kIPFamilyAny);
  service->Stop();
  Response(*service, false);
  service->Update(net::kIPFamilyAny);
  EXPECT_FALSE(service->IsUpdatingForTest());
}

TEST_F(LBSServiceTest, AStoppedServiceLeavesTheCacheToTheNextOne) {
  StartWithToken();
  const MultipleURLHttpRequest request = agent.Request(0);
  service->Stop();
  auto next = MakeService();
  ASSERT_TRUE(next->Start(Record()));
  log.StartHere();
  request.callback(true, "", kNew);
  EXPECT_EQ(log.With("complete"), Messages{});
  EXPECT_EQ(service->GetLinkHostCount(), 2);
  Release(next);
}

TEST_F(LBSServiceTest, GetLBSResponseWaitsForTheFetch) {
  StartWithToken();
  std::promise<std::string> answer;
  std::thread asker([&] { answer.set_value(Response(*service, false)); });
  auto result = answer.get_future();
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
  EXPECT_THAT(Response(*service, true), HasSubstr("10.0.0.9:9"));
  agent.Request(0).callback(true, "", kNew);
  EXPECT_EQ(result.get(), kNew);
  asker.join();
}

std::shared_ptr<ZOSturdyLBSServiceImpl>* calling = nullptr;
std::promise<std::string>* asked = nullptr;

TEST_F(LBSServiceTest, EverySlotAnswersInsideTheClientsCallback) {
  zo_base::ScopedTestClock clock;
  std::promise<std::string> answers;
  calling = &service;
  asked = &answers;
  SetToken("key");
  service->SetUpdateCallback([](int, const char*) {
    IZOSturdyLBSService& slots = **calling;
    slots.SetUpdateCallback(nullptr);
    EXPECT_TRUE(slots.Start(Record()));
    slots.Update(net::kIPFamilyAny);  // begins a fetch that nobody answers
    std::vector<char> out(kVltListBufferSize);
    slots.GetVltDL(out.data());
    slots.GetVltDLList(out.data());
    slots.GetVltList(out.data());
    slots.GetName(out.data());
    slots.GetDesc(out.data());
    slots.GetMsgStatInfo(out.data());
    EXPECT_EQ(Peek(slots), "a:1/0");
    slots.HoldLinkAddress("[::1]", 3);
    std::string text = std::to_string(slots.GetLinkHostCount());
    text += " " + Link(slots);
    text += " " + Link(slots);  // a default, with a timer on this very thread
    asked->set_value(text + Response(slots, false));
  });
  ASSERT_TRUE(service->Start(Record()));
  agent.Request(0).callback(true, "", kNew);
  EXPECT_EQ(answers.get_future().get(), "3 [::1]:3/2 d:9/0" + kNew);
  // The single default asks for its fetch when its time has come.
  agent.Request(1).callback(false, "", "");
  clock.Advance(1200);
  ASSERT_TRUE(log.WaitFor("[count timer invoker][time out] Invoke task"));
  agent.Request(2);
  Release(service);
}

TEST_F(LBSServiceTest, AStartThatFindsNoThreadLeavesTheServiceAsNew) {
  SetToken("key");
  zo_base::FailThreadStartForTest(1);
  EXPECT_THROW(service->Start(Record()), std::system_error);
  EXPECT_EQ(Link(*service), "-");
  NotifyNetwork(net::kIPFamilyV6);
  ASSERT_TRUE(service->Start(Record()));
  EXPECT_EQ(agent.Request(0).ip_family, 0);
  EXPECT_THAT(log.With(kUnforced), SizeIs(1));
}

TEST_F(LBSServiceTest, WithoutAConfigurationThereIsNoStart) {
  service = std::make_shared<ZOSturdyLBSServiceImpl>();
  EXPECT_FALSE(service->Start(Record()));
}

}  // namespace
}  // namespace zo_sturdy
