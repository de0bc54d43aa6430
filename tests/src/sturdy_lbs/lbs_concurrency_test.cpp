#include <thread>

#include "tests/src/sturdy_lbs/lbs_fixture.h"
#include "tests/support/run_threads.h"
#include "tests/support/wait_until.h"

namespace zo_sturdy {
namespace {

const std::string kDocuments[] = {
    TestDocument({"a:1", "b:1"}, {"http://n/"}).MsgStatEnable(true).Desc("x").Text(),
    TestDocument({"a:2", "b:2"}, {"http://n/"}).MsgStatEnable(false).Text()};

class LBSConcurrencyTest : public LbsTest {
 protected:
  // Answers each request, like the agent's thread.
  const std::jthread answerer{[this](const std::stop_token& stop) {
    for (size_t number = 0; !stop.stop_requested(); ++number, std::this_thread::yield()) {
      for (const MultipleURLHttpRequest& request : TakeAll()) {
        bool statistic = false;
        request.check(0, 200, "", kDocuments[number % 2], statistic);
        request.callback(true, "", kDocuments[number % 2]);
      }
    }
  }};
};

std::shared_ptr<ZOSturdyLBSServiceImpl> service;

void OnUpdate(int /*code*/, const char* /*text*/) {
  EXPECT_NE(Link(*service), "");
  Document(*service, false);
}

TEST_F(LBSConcurrencyTest, ThreadsAskAndChangeWhileDocumentsArrive) {
  service = MakeService();
  service->SetUpdateCallback(OnUpdate);
  const auto update = [](int) { service->Update(net::kIPFamilyAny); };
  const std::function<void(int round)> actions[] = {
      [&](int i) { SetToken(std::to_string(i)); },
      [&](int i) { NotifyNetwork(static_cast<net::AddressFamily>(i % 3)); },
      [](int i) { service->SetUpdateCallback(i % 2 == 0 ? nullptr : OnUpdate); },
      [](int i) {
        service->HoldLinkAddress("b", static_cast<int16_t>(1 + i % 2));
        Peek(*service);
      },
      [](int) {
        std::vector<char> out(kMsgStatInfoBufferSize + kDescBufferSize);
        service->GetMsgStatInfo(out.data());
        service->GetDesc(out.data());
        Document(*service);
      },
      update,
      update,
      update};
  RunThreads(std::size(actions), [&](int thread) {
    ASSERT_TRUE(service->Start(Record()));  // concurrently: one of them starts it
    for (int i = 0; i < 60; ++i) {
      EXPECT_NE(Link(*service), "");
      EXPECT_GE(service->GetLinkHostCount(), 1);
      actions[thread](i);
    }
  });
  // A change of the token ends every fetch, also one that was left open.
  SetToken("last");
  EXPECT_THAT(Document(*service, false), testing::AnyOf(kDocuments[0], kDocuments[1]));
  service->Stop();
  service.reset();
}

// The last of the waiting callers may be the last owner of the service.
TEST_F(LbsTest, ReleasedWhileCallersWaitForItsDocument) {
  constexpr int kCallers = 16;
  SetToken("key");
  auto released = MakeService();
  ASSERT_TRUE(released->Start(Record()));
  Request(0);  // never answered
  std::vector<std::thread> callers;
  for (int i = 0; i < kCallers; ++i) {
    callers.emplace_back([waiting = released.get()] { EXPECT_EQ(Document(*waiting, false), ""); });
  }
  ASSERT_TRUE(WaitUntil([&] { return released.use_count() == 1 + kCallers; }));
  released->Stop();
  released.reset();
  for (std::thread& caller : callers) {
    caller.join();
  }
}

TEST_F(LBSConcurrencyTest, ReleasedWhileDocumentsArriveAndTokensChange) {
  std::atomic<size_t> round{0};
  const std::jthread changer([&](const std::stop_token& stop) {
    for (int i = 0; !stop.stop_requested(); ++i) {
      SetToken(std::to_string(i % 3));
      NotifyNetwork(static_cast<net::AddressFamily>(i % 3));
      for (const size_t seen = round; !stop.stop_requested() && round == seen;) {
        std::this_thread::yield();
      }
    }
  });
  for (; round < 1000; ++round) {
    auto released = MakeService();
    EXPECT_TRUE(released->Start(Record()));
    EXPECT_NE(Link(*released), "");
    released->Stop();
  }
}

}  // namespace
}  // namespace zo_sturdy
