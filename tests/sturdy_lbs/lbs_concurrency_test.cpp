#include <atomic>
#include <thread>

#include "tests/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

const std::string kDocuments[] = {
    Document(R"("a:1","b:1")", R"("d:1")", "http://n/", R"("msg.stat.enable":true,"desc":"x")"),
    Document(R"("a:2","b:2")", R"("d:2")", "http://n/", R"("msg.stat.enable":false)")};

class LBSConcurrencyTest : public LbsTest {
 protected:
  // Answers whatever has been asked, as the agent's thread does.
  void AnswerAll(size_t round) {
    for (const MultipleURLHttpRequest& request : agent.Take()) {
      bool statistic = false;
      const std::string& body = kDocuments[round % 2];
      request.check(0, 200, "", body, statistic);
      request.callback(true, "", body);
    }
  }
};

// Two starts at once are one, also beside tokens and networks that change.
TEST_F(LBSConcurrencyTest, TwoStartsAtOnceDoOne) {
  for (int round = 0; round < 20; ++round) {
    auto service = MakeService();
    log.StartHere();
    std::thread other([&] { EXPECT_TRUE(service->Start(Record())); });
    std::thread changer([&] { NotifyNetwork(net::kIPFamilyV6); });
    EXPECT_TRUE(service->Start(Record()));
    EXPECT_TRUE(service->IsRunning());
    other.join();
    changer.join();
    EXPECT_EQ(log.With("parsel result").size(), 1U);
    Release(service);
  }
}

std::shared_ptr<ZOSturdyLBSServiceImpl>* shared_service = nullptr;

TEST_F(LBSConcurrencyTest, ManyThreadsAskUpdateAndChangeWhileDocumentsArrive) {
  auto service = MakeService();
  shared_service = &service;
  const auto callback = [](int, const char*) {
    char host[kLinkHostBufferSize] = {};
    uint16_t port = 0;
    auto family = net::kIPFamilyAny;
    EXPECT_TRUE((*shared_service)->GetLinkAddress(host, &port, &family));
    (*shared_service)->GetLBSResponse(false, std::vector<char>(kLBSResponseBufferSize).data());
  };
  service->SetUpdateCallback(callback);
  SetToken("key");
  std::atomic<int> running{8};
  std::vector<std::thread> threads;
  ASSERT_TRUE(service->Start(Record()));
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      std::vector<char> out(kVltListBufferSize);
      for (int i = 0; i < 60; ++i) {
        const std::string link = Link(*service);
        // Hosts and defaults of one document come in its own port; never from a mix.
        EXPECT_NE(link.find(':'), std::string::npos);
        switch (number) {
          case 0:
            SetToken(std::to_string(i));
            break;
          case 1:
            NotifyNetwork(static_cast<net::AddressFamily>(i % 3));
            break;
          case 2:
            service->SetUpdateCallback(i % 2 == 0 ? nullptr : +callback);
            break;
          case 3:
            service->GetMsgStatInfo(out.data());
            service->HoldLinkAddress("b", static_cast<int16_t>(1 + i % 2));
            break;
          case 4:
            EXPECT_GE(service->GetLinkHostCount(), 1);
            Peek(*service);
            break;
          case 5:
            service->GetDesc(out.data());
            service->GetLBSResponse(true, out.data());
            break;
          default:
            service->Update(net::kIPFamilyAny);
        }
      }
      --running;
    });
  }
  std::thread answerer([&] {
    for (size_t round = 0; running > 0; ++round) {
      AnswerAll(round);
      std::this_thread::yield();
    }
  });
  for (std::thread& thread : threads) {
    thread.join();
  }
  answerer.join();
  // Whatever the threads did, a change of the token brings the service back to rest.
  SetToken("last");
  while (service->IsUpdatingForTest()) {
    AnswerAll(0);
    std::this_thread::yield();
  }
  EXPECT_EQ(Response(*service, false), kDocuments[0]);
  Release(service);
}

TEST_F(LBSConcurrencyTest, ReleasedWhileDocumentsArriveAndTokensChange) {
  constexpr int kRounds = 1000;
  SetToken("key");
  std::atomic<bool> over{false};
  std::atomic<size_t> round{0};
  std::thread answerer([&] {
    while (!over) {
      AnswerAll(round);
      std::this_thread::yield();
    }
  });
  std::thread changer([&] {
    for (int i = 0; !over; ++i) {
      SetToken(std::to_string(i % 3));
      NotifyNetwork(static_cast<net::AddressFamily>(i % 3));
      const size_t seen = round;
      while (!over && round == seen) {
        std::this_thread::yield();
      }
    }
  });
  for (; round < kRounds; ++round) {
    auto service = MakeService();
    ASSERT_TRUE(service->Start(Record()));
    EXPECT_NE(Link(*service), "-");
    Release(service);
  }
  over = true;
  answerer.join();
  changer.join();
}

}  // namespace
}  // namespace zo_sturdy
