// The road of a client from its start to its exit, against live servers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "base/platform/thread.h"
#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tests/environment/client.h"
#include "tests/support/log_lines.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;

constexpr std::chrono::seconds kLimit{20};

lab::Behaviour GoodAnswer() {
  return lab::Answer(lab::LbsDocument()
                         .Link({"one.example:1", "[::1]:2"})
                         .LinkDefault({"default.example:3"})
                         .Lbs("${url:lbs}/lbs/conf.jsp")
                         .Name("a name")
                         .Text());
}

// The client's callback is a plain function, so what it does stands here.
std::function<void(int, const std::string&)>& OnUpdate() {
  static auto* const action = new std::function<void(int, const std::string&)>;
  return *action;
}

class ClientRoad : public EnvironmentTest {
 protected:
  // Starts the service, and waits until `action` has run in the first callback.
  void FetchAndDo(
      const std::function<void(int code, const std::string& document)>& action,
      const std::function<void()>& meanwhile = [] {}) {
    std::promise<void> done;
    OnUpdate() = [&, first = true](int code, const std::string& document) mutable {
      if (first) {
        first = false;
        action(code, document);
        done.set_value();
      }
    };
    auto& service = *object_.GetLBSService();
    service.SetUpdateCallback([](int code, const char* document) { OnUpdate()(code, document); });
    EXPECT_TRUE(service.Start(record_));
    meanwhile();
    ASSERT_EQ(done.get_future().wait_for(kLimit), std::future_status::ready);
  }

  lab::Lab lab_{{lab::HttpServer("lbs").On("/lbs/conf.jsp", GoodAnswer().HeldAt("gate"))}};
  const _ZOSturdyLBSSettings record_ = LBSRecord(lab_.Url("lbs", "/lbs/conf.jsp"), "localhost:9");
  IZOSturdyObject& object_ = Start("token");
};

// A client may call everything in its callback. Two calls only leave a line in the log.
TEST_F(ClientRoad, EverySlotAndEveryExportFromInsideTheCallback) {
  lab_.OpenGate("gate");
  FetchAndDo([this](int code, const std::string& document) {
    EXPECT_EQ(code, 200);
    auto& service = *object_.GetLBSService();
    EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings("/elsewhere")), 1);
    EXPECT_EQ(GetSturdyObject(1), &object_);
    ExitSturdyEnvironment(1);
    object_.ReleaseLBSService();
    EXPECT_EQ(object_.GetLBSService(), &service);
    std::vector<char> out(kVltListBufferSize);
    EXPECT_FALSE(object_.QueryHost("localhost", 0, out.data()));
    out.assign(out.size(), 0);
    for (const bool no_wait : {true, false}) {
      service.GetLBSResponse(no_wait, out.data());
      EXPECT_EQ(out.data(), document);
    }
    out.assign(out.size(), 0);
    service.GetName(out.data());
    EXPECT_STREQ(out.data(), "a name");
    for (const auto getter : {&IZOSturdyLBSService::GetVltDL, &IZOSturdyLBSService::GetVltDLList,
                              &IZOSturdyLBSService::GetVltList, &IZOSturdyLBSService::GetDesc}) {
      (service.*getter)(out.data());
    }
    service.GetMsgStatInfo(out.data());
    EXPECT_EQ(service.GetLinkHostCount(), 2);
    EXPECT_EQ(Link(service), "one.example:1");
    service.HoldLinkAddress("one.example", 1);
    uint16_t port = 0;
    net::AddressFamily family = net::kIPFamilyAny;
    out.assign(out.size(), 0);
    EXPECT_TRUE(service.PeekLinkAddress(out.data(), &port, &family));
    EXPECT_STREQ(out.data(), "one.example");
    EXPECT_TRUE(service.Start(record_));
    service.SetUpdateCallback(nullptr);
    service.Update(net::kIPFamilyAny);
    object_.NotifyNetworkChanged(net::kIPFamilyV6);
    object_.SetBusinessToken("another");
  });
  EXPECT_TRUE(lab_.WaitForRequests(2, kLimit)) << "the calls in the callback took effect";
  EXPECT_THAT(LogLines(folder_.path()).With("ignored"),
              ElementsAre("[environment] Exit on a thread of the library, ignored",
                          "[sturdy object] Release on a thread of the library, ignored"));
}

// The exports from a callback while another thread exits: nobody waits for anybody. An exit by an
// unknown id stops the object with the table of environments locked.
class ExitDuringACallback : public ClientRoad, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Ids, ExitDuringACallback, testing::Values(1, 7));

TEST_P(ExitDuringACallback, ExportsAnswer) {
  lab_.OpenGate("gate");
  std::thread exit;
  FetchAndDo([&](int, const std::string&) {
    exit = std::thread([] { ExitSturdyEnvironment(GetParam()); });
    const auto limit = std::chrono::steady_clock::now() + kLimit;
    while (StartSturdyEnvironment(EnvironmentSettings("/elsewhere")) != 0) {
      ASSERT_LT(std::chrono::steady_clock::now(), limit);
      std::this_thread::yield();
    }
    EXPECT_EQ(GetSturdyObject(1), nullptr);
    ExitSturdyEnvironment(1);
  });
  exit.join();
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
}

}  // namespace
}  // namespace zo_sturdy
