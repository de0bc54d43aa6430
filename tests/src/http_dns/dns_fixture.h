#pragma once

#include <condition_variable>
#include <stdexcept>
#include <utility>

#include "base/platform/file.h"
#include "base/thread/post_task.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "tests/src/http_agent/configured_test.h"

namespace zo_sturdy {

inline std::vector<std::string> UrlsOf(const MultipleURLHttpRequest& request) {
  std::vector<std::string> urls;
  for (const URLItem& item : request.urls) {
    urls.push_back(item.url);
  }
  return urls;
}

// A manager, and a stand-in for the agent, whose requests are answered by hand, on the test's
// thread.
class DnsTest : public ConfiguredTest {
 protected:
  DnsTest() {
    config_->SetHttpRequestInvoker([this](const MultipleURLHttpRequest& request, bool on_agent) {
      const std::lock_guard lock(mutex_);
      requests_.emplace_back(request, on_agent);
      came_.notify_all();
    });
    NewManager();
  }
  ~DnsTest() override { manager_->Stop(); }

  void NewManager() {
    manager_ = std::make_shared<HttpDNSManager>();
    manager_->SetEnvironmentConfig(config_);
  }

  // The next request, waited for, and whether it is for the agent's thread.
  std::pair<MultipleURLHttpRequest, bool> Next() {
    std::unique_lock lock(mutex_);
    if (!came_.wait_for(lock, LogLines::kLimit, [&] { return requests_.size() > taken_; })) {
      manager_->EndQueries();  // or whoever waits for an answer would hold the test
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
  // What the manager was told before has run, then the time goes by, and what falls due has run.
  void Settle(int64_t advance_ms = 0) {
    for (const int64_t ms : {int64_t{0}, advance_ms}) {
      clock_.Advance(ms);
      for (int i = 0; i < 3; ++i) {
        RunOn(*manager_);
      }
    }
  }
  size_t Untaken() {
    const std::lock_guard lock(mutex_);
    return requests_.size() - taken_;
  }
  std::string File(const std::string& name) const { return folder_.File("http_dns/" + name); }
  void WriteCache(const std::string& name, const std::string& text) const {
    zo_base::CreateFolders(folder_.File("http_dns"));
    zo_base::WriteWholeFile(File(name), text);
  }
  std::string ReadCache(const std::string& name) const {
    return zo_base::ReadWholeFile(File(name), size_t{1} << 24);
  }
  // "host:port", behind a "!" for http.
  std::vector<std::string> Table(int family = net::kIPFamilyAny) {
    std::vector<std::string> texts;
    for (const auto& [https, port, host] :
         manager_->TableForTest().GetServiceAddresses(static_cast<net::AddressFamily>(family))) {
      texts.push_back((https != 0 ? "" : "!") + host + ":" + std::to_string(port));
    }
    return texts;
  }

  std::shared_ptr<HttpDNSManager> manager_;

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  std::vector<std::pair<MultipleURLHttpRequest, bool>> requests_;
  size_t taken_ = 0;
};

}  // namespace zo_sturdy
