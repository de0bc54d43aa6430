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

// Calls the exports in a callback while another thread exits: no deadlock. Only the callback's own
// thread is left by then. An exit with an unknown id stops the object with the table of
// environments locked.
class ExitDuringACallback : public UpdateCallback, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Ids, ExitDuringACallback, testing::Values(1, 7));

TEST_P(ExitDuringACallback, ExportsAnswer) {
  std::thread exit;
  FetchAndDo([&](const std::string&) {
    object_.ReleaseLBSService();
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
  EXPECT_THAT(LogLines(folder_.path()).With("ignored"),
              testing::ElementsAre("[sturdy object] Release on a thread of the library, ignored",
                                   "[environment] Start on a thread of the library, ignored",
                                   "[environment] Exit on a thread of the library, ignored"));
}

}  // namespace
}  // namespace zo_sturdy
