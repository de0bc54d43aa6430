#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "base/at_exit.h"
#include "base/clock.h"
#include "base/clock_for_test.h"
#include "base/log/tqlog.h"
#include "base/platform/file.h"
#include "base/post_task.h"
#include "src/sturdy/environment/environment_config.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "tests/support/log_lines.h"
#include "tests/support/temp_folder.h"

namespace zo_sturdy {

inline std::vector<std::string> UrlsOf(const MultipleURLHttpRequest& request) {
  std::vector<std::string> urls;
  for (const URLItem& item : request.urls) {
    urls.push_back(item.url);
  }
  return urls;
}

// A manager, a clock that stands still, and a stand-in for the agent, whose requests are answered
// by hand, on the test's thread.
class DnsTest : public testing::Test {
 protected:
  DnsTest() {
    auto* logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    logger->SetLogFile(folder.File("sturdy_comp.log"), 0, 0);
    logger->SetLevel(zo_base::LV_APP);
    config->data_path = folder.path() + "/";
    config->SetHttpRequestInvoker([this](const MultipleURLHttpRequest& request, bool on_agent) {
      const std::lock_guard lock(mutex_);
      requests_.emplace_back(request, on_agent);
      came_.notify_all();
    });
    NewManager();
  }
  ~DnsTest() override { manager->Stop(); }

  void NewManager() {
    manager = std::make_shared<HttpDNSManager>();
    manager->SetEnvironmentConfig(config);
  }

  // The next request, waited for, and whether it is for the agent's thread.
  std::pair<MultipleURLHttpRequest, bool> Next() {
    std::unique_lock lock(mutex_);
    if (!came_.wait_for(lock, LogLines::kLimit, [&] { return requests_.size() > taken_; })) {
      manager->EndQueries();  // or whoever waits for an answer would hold the test
      throw std::runtime_error("no request " + std::to_string(taken_));
    }
    return std::exchange(requests_[taken_++], {});
  }
  // Judges the answer first, as an agent would.
  static bool Answer(const MultipleURLHttpRequest& request, int code, const std::string& body) {
    bool need_statistic = false;
    const bool good = request.check(0, code, "", body, need_statistic);
    EXPECT_NE(good, need_statistic);
    request.callback(good, "", body);
    return good;
  }
  // What M was told before has run, then the time goes by, and what falls due has run.
  void Settle(int64_t advance_ms = 0) {
    for (int i = 0; i < 6; ++i) {
      std::promise<void> ran;
      manager->PostDelayedTask(0, [&] { ran.set_value(); });
      ran.get_future().wait();
      if (i == 2) {
        clock.Advance(advance_ms);
      }
    }
  }
  size_t Untaken() {
    const std::lock_guard lock(mutex_);
    return requests_.size() - taken_;
  }
  std::string File(const std::string& name) const { return folder.File("http_dns/" + name); }
  void WriteCache(const std::string& name, const std::string& text) const {
    zo_base::CreateFolders(folder.File("http_dns"));
    zo_base::WriteWholeFile(File(name), text);
  }
  std::string ReadCache(const std::string& name) const {
    return zo_base::ReadWholeFile(File(name), size_t{1} << 24);
  }
  // "host:port", behind a "!" for http.
  std::vector<std::string> Table(int family = net::kIPFamilyAny) {
    std::vector<std::string> texts;
    for (const ServiceAddress& address :
         manager->TableForTest().GetServiceAddresses(static_cast<net::AddressFamily>(family))) {
      texts.push_back((address.https != 0 ? "" : "!") + address.host + ":" +
                      std::to_string(address.port));
    }
    return texts;
  }

  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  const TempFolder folder;
  zo_base::ScopedTestClock clock;
  const int64_t now = zo_base::Clock::WallMs();
  const std::shared_ptr<_EnvironmentConfig> config = std::make_shared<_EnvironmentConfig>();
  LogLines log{folder.File("sturdy_comp.log")};
  std::shared_ptr<HttpDNSManager> manager;

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  std::vector<std::pair<MultipleURLHttpRequest, bool>> requests_;
  size_t taken_ = 0;
};

}  // namespace zo_sturdy
