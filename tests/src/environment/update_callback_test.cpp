// Calls from inside the client's update callback, also while another thread exits.
#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <thread>

#include "base/platform/thread.h"
#include "lab/lab.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"

namespace zo_sturdy {
namespace {

class UpdateCallback : public ClientTest {
 protected:
  // Starts the service and waits until `action` has run in the first callback.
  void FetchAndDo(const std::function<void(const std::string& document)>& action) {
    std::promise<void> done;
    on_update_ = [&, first = true](int code, const std::string& document) mutable {
      if (std::exchange(first, false)) {
        EXPECT_EQ(code, 200);
        action(document);
        done.set_value();
      }
    };
    service_.SetUpdateCallback([](int code, const char* document) { on_update_(code, document); });
    EXPECT_TRUE(service_.Start(record_));
    ASSERT_EQ(done.get_future().wait_for(kPatience), std::future_status::ready);
  }

  lab::Lab lab_{{lab::HttpServer("lbs").On(
      kLbsPath, lab::Answer(TestDocument({"one.example:1", "[::1]:2"}).Name("a name").Text()))}};
  const _ZOSturdyLBSSettings record_ = LBSRecord(lab_.Url("lbs", kLbsPath), "localhost:9");
  IZOSturdyObject& object_ = Start("token");
  IZOSturdyLBSService& service_ = *object_.GetLBSService();
  // The client's callback is a plain function, so its action is kept here.
  static inline std::function<void(int, const std::string&)> on_update_;
};

// The exit and the release only write a line to the log.
TEST_F(UpdateCallback, MayMakeAllCalls) {
  FetchAndDo([this](const std::string& document) {
    EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings("/elsewhere")), 1);
    EXPECT_EQ(GetSturdyObject(1), &object_);
    ExitSturdyEnvironment(1);
    object_.ReleaseLBSService();
    EXPECT_EQ(object_.GetLBSService(), &service_);
    std::vector<char> out(kVltListBufferSize);
    EXPECT_FALSE(object_.QueryHost("localhost", 0, out.data()));
    for (const bool no_wait : {true, false}) {
      out.assign(out.size(), 0);
      service_.GetLBSResponse(no_wait, out.data());
      EXPECT_EQ(out.data(), document);
    }
    for (const auto getter :
         {&IZOSturdyLBSService::GetVltDL, &IZOSturdyLBSService::GetVltDLList,
          &IZOSturdyLBSService::GetVltList, &IZOSturdyLBSService::GetDesc,
          &IZOSturdyLBSService::GetMsgStatInfo, &IZOSturdyLBSService::GetName}) {
      out.assign(out.size(), 0);
      (service_.*getter)(out.data());
    }
    EXPECT_STREQ(out.data(), "a name");
    EXPECT_EQ(service_.GetLinkHostCount(), 2);
    EXPECT_EQ(Link(service_), "one.example:1");
    service_.HoldLinkAddress("one.example", 1);
    EXPECT_EQ(Peek(service_), "one.example:1");
    EXPECT_TRUE(service_.Start(record_));
    service_.SetUpdateCallback(nullptr);
    service_.Update(net::kIPFamilyAny);
    object_.NotifyNetworkChanged(net::kIPFamilyV6);
    object_.SetBusinessToken("another");
  });
  EXPECT_TRUE(lab_.journal().WaitForRequests(2, kPatience))
      << "the calls in the callback took effect";
  EXPECT_THAT(LogLines(folder_.path()).With("ignored"),
              testing::ElementsAre("[environment] Exit on a thread of the library, ignored",
                                   "[sturdy object] Release on a thread of the library, ignored"));
}

// Calls the exports in a callback while another thread exits: no deadlock. Only the callback's own
// thread is left by then. An exit with an unknown id stops the object with the table of
// environments locked.
class ExitDuringACallback : public UpdateCallback, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Ids, ExitDuringACallback, testing::Values(1, 7));

TEST_P(ExitDuringACallback, ExportsAnswer) {
  std::thread exit;
  FetchAndDo([&](const std::string&) {
    exit = std::thread([] { ExitSturdyEnvironment(GetParam()); });
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    while (StartSturdyEnvironment(EnvironmentSettings("/elsewhere")) != 0) {
      ASSERT_LT(std::chrono::steady_clock::now(), limit);
      std::this_thread::yield();
    }
    EXPECT_EQ(GetSturdyObject(1), nullptr);
    EXPECT_TRUE(WaitUntil([] { return zo_base::LiveLibraryThreads() == 1; }));
    ExitSturdyEnvironment(1);
  });
  exit.join();
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  const std::string ignored = "[environment] Start on a thread of the library, ignored";
  EXPECT_EQ(LogLines(folder_.path()).With(ignored).size(), 1U);
}

}  // namespace
}  // namespace zo_sturdy
