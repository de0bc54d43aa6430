#include <thread>

#include "tests/src/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

const std::string kDocuments[] = {
    Document(R"("a:1","b:1")", R"("d:1")", "http://n/", R"("msg.stat.enable":true,"desc":"x")"),
    Document(R"("a:2","b:2")", R"("d:2")", "http://n/", R"("msg.stat.enable":false)")};

class LBSConcurrencyTest : public LbsTest {
 protected:
  ~LBSConcurrencyTest() override {
    over = true;
    answerer.join();
  }

  std::atomic<bool> over{false};
  // Answers each request, like the agent's thread.
  std::thread answerer{[this] {
    for (size_t number = 0; !over; ++number, std::this_thread::yield()) {
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
  EXPECT_NE(Link(*service), "-");
  Response(*service, false);
}

TEST_F(LBSConcurrencyTest, ThreadsAskAndChangeWhileDocumentsArrive) {
  service = MakeService();
  service->SetUpdateCallback(OnUpdate);
  const auto update = [](int) { service->Update(net::kIPFamilyAny); };
  const std::function<void(int round)> actions[] = {
      [&](int i) { SetToken(std::to_string(i)); },
      [&](int i) { NotifyNetwork(i % 3); },
      [](int i) { service->SetUpdateCallback(i % 2 == 0 ? nullptr : OnUpdate); },
      [](int i) {
        service->HoldLinkAddress("b", static_cast<int16_t>(1 + i % 2));
        Peek(*service);
      },
      [](int) {
        std::vector<char> out(kMsgStatInfoBufferSize + kDescBufferSize);
        service->GetMsgStatInfo(out.data());
        service->GetDesc(out.data());
        Response(*service);
      },
      update,
      update,
      update};
  std::vector<std::thread> threads;
  for (const auto& act : actions) {
    threads.emplace_back([&] {
      ASSERT_TRUE(service->Start(Record()));  // concurrently: one of them starts it
      for (int i = 0; i < 60; ++i) {
        EXPECT_NE(Link(*service), "-");
        EXPECT_GE(service->GetLinkHostCount(), 1);
        act(i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  // A change of the token ends every fetch, also one that was left open.
  SetToken("last");
  EXPECT_THAT(Response(*service, false), testing::AnyOf(kDocuments[0], kDocuments[1]));
  service->Stop();
  service.reset();
}

TEST_F(LBSConcurrencyTest, ReleasedWhileDocumentsArriveAndTokensChange) {
  std::atomic<size_t> round{0};
  std::thread changer([&] {
    for (int i = 0; !over; ++i) {
      SetToken(std::to_string(i % 3));
      NotifyNetwork(i % 3);
      for (const size_t seen = round; !over && round == seen;) {
        std::this_thread::yield();
      }
    }
  });
  for (; round < 1000; ++round) {
    auto released = MakeService();
    EXPECT_TRUE(released->Start(Record()));
    EXPECT_NE(Link(*released), "-");
    released->Stop();
  }
  over = true;
  changer.join();
}

}  // namespace
}  // namespace zo_sturdy
