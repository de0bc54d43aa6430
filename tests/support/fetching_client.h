#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

#include "lab/lab.h"
#include "tests/support/client.h"

// Adds the LBS service of the environment, with its URLs on the servers of a lab, and its update
// callbacks in order.
class FetchingClientTest : public EnvironmentTest {
 protected:
  using Update = std::pair<int, std::string>;  // code and document

  static constexpr const char* kPath = kLbsPath;
  static constexpr std::chrono::seconds kLimit{60};

  zo_sturdy::IZOSturdyLBSService& Fetch(const std::vector<std::string>& urls) {
    return Begin(Start("token"), urls);
  }
  // `urls` in the order of trial.
  zo_sturdy::IZOSturdyLBSService& Begin(zo_sturdy::IZOSturdyObject& object,
                                        const std::vector<std::string>& urls) {
    auto record = LBSRecord(urls[0], "127.0.0.1:9");
    for (size_t i = 1; i < urls.size(); ++i) {
      Fill(record.lbs_backup_urls[i - 1], urls[i]);
    }
    Came().updates.clear();
    service_ = object.GetLBSService();
    service_->SetUpdateCallback([](int code, const char* document) {
      const std::lock_guard lock(Came().mutex);
      Came().updates.emplace_back(code, document);
      Came().one_more.notify_all();
    });
    service_->Start(record);
    return *service_;
  }
  // The next one; nothing if none comes within the limit.
  static std::optional<Update> TryUpdate(std::chrono::milliseconds limit) {
    std::unique_lock lock(Came().mutex);
    if (!Came().one_more.wait_for(lock, limit, [] { return !Came().updates.empty(); })) {
      return std::nullopt;
    }
    Update update = std::move(Came().updates.front());
    Came().updates.pop_front();
    return update;
  }
  // When it returns the next fetch can begin.
  Update AwaitUpdate() {
    const std::optional<Update> update = TryUpdate(kLimit);
    EXPECT_TRUE(update.has_value()) << "no update callback";
    Document(*service_, false);
    return update.value_or(Update());
  }

  static std::string Document(zo_sturdy::IZOSturdyLBSService& service, bool no_wait = true) {
    std::string out(zo_sturdy::kLBSResponseBufferSize, '\0');
    service.GetLBSResponse(no_wait, out.data());
    return out.c_str();
  }
  // What a server might answer that knows these URLs.
  static std::string Offer(const std::vector<std::string>& urls,
                           const std::vector<std::string>& links = {"192.0.2.1:1"},
                           const lab::LbsReport& report = {}) {
    return lab::LbsDocument()
        .Link(links)
        .LinkDefault({"192.0.2.99:99"})
        .Lbs(urls[0])
        .LbsBackup({urls.begin() + 1, urls.end()})
        .Report(report)
        .Text();
  }
  // A client's host query: the JSON that it gets.
  static std::string Query(const std::string& host) {
    std::string out(zo_sturdy::kQueryHostBufferSize, '\0');
    zo_sturdy::GetSturdyObject(1)->QueryHost(host.c_str(), net::kIPFamilyAny, out.data());
    return out.c_str();
  }

  zo_sturdy::IZOSturdyLBSService* service_ = nullptr;

 private:
  struct Updates {
    std::mutex mutex;
    std::condition_variable one_more;
    std::deque<Update> updates;
  };
  static Updates& Came() {
    static auto* const came = new Updates;
    return *came;
  }
};
