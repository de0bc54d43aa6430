#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lab/data_folder.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/client_calls.h"
#include "tests/support/process_state.h"
#include "tests/support/test_document.h"
#include "tests/support/wait_until.h"

// One client: an environment with its own data folder, and its LBS service. Exits the environment
// at the end, which must find the host's own state unchanged.
// Threads: the test's. Updates come on a thread of the library and wait here, in order, until the
//          test takes them.
// Owner:   gtest; one at a time in a process.
// Errors:  an update that doesn't come within kPatience fails the test.
class ClientTest : public testing::Test {
 protected:
  using Update = std::pair<int, std::string>;  // code and document

  static constexpr char kDefaultLink[] = "127.0.0.1:9";

  ~ClientTest() override {
    zo_sturdy::ExitSturdyEnvironment(1);
    EXPECT_EQ(HostState(), host_state_);
  }

  zo_sturdy::IZOSturdyObject& Start(const std::string& token = "") {
    if (!dns_endpoints_.empty()) {
      lab::WriteServerCache(lab::DataFolder(data_path_), {.ipv4 = dns_endpoints_});
    }
    EXPECT_EQ(zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(data_path_, token)), 1);
    return *zo_sturdy::GetSturdyObject(1);
  }
  // Starts the environment and its LBS service. `urls` in the order of trial.
  zo_sturdy::IZOSturdyLBSService& Fetch(const std::vector<std::string>& urls) {
    Start("token");
    return StartService(urls);
  }
  zo_sturdy::IZOSturdyLBSService& StartService(const std::vector<std::string>& urls) {
    auto record = LBSRecord(urls.at(0), kDefaultLink);
    for (size_t i = 1; i < urls.size(); ++i) {
      Fill(record.lbs_backup_urls[i - 1], urls[i]);
    }
    {
      const std::lock_guard lock(Received().mutex);
      Received().updates.clear();
    }
    service_ = zo_sturdy::GetSturdyObject(1)->GetLBSService();
    service_->SetUpdateCallback([](int code, const char* document) {
      const std::lock_guard lock(Received().mutex);
      Received().updates.emplace_back(code, document);
      Received().one_more.notify_all();
    });
    service_->Start(record);
    return *service_;
  }

  // Returns the next update; nothing if none comes within the limit.
  static std::optional<Update> TryUpdate(std::chrono::milliseconds limit) {
    std::unique_lock lock(Received().mutex);
    if (!Received().one_more.wait_for(lock, limit, [] { return !Received().updates.empty(); })) {
      return std::nullopt;
    }
    Update update = std::move(Received().updates.front());
    Received().updates.pop_front();
    return update;
  }
  Update AwaitUpdate() {
    const std::optional<Update> update = TryUpdate(kPatience);
    if (!update) {
      ADD_FAILURE() << "no update callback";
      return {};
    }
    return *update;
  }

  const lab::TempFolder folder_;
  std::string data_path_ = folder_.path();
  // Cached by an earlier run, so that a start sends no service update. Nobody listens there.
  std::vector<lab::DnsEndpoint> dns_endpoints_ = {{"127.0.0.1"}};
  zo_sturdy::IZOSturdyLBSService* service_ = nullptr;

 private:
  const std::string host_state_ = HostState();
  struct Updates {
    std::mutex mutex;
    std::condition_variable one_more;
    std::deque<Update> updates;
  };
  // The client's callback is a plain function, so the updates are static.
  static Updates& Received() {
    static auto* const received = new Updates;
    return *received;
  }
};
