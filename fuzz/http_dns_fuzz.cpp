// Takes any text as an answer of the HTTP DNS service, about itself and about hosts, and as its two
// cache files. The manager runs on its own thread. Saved data must load unchanged, and a client
// must be able to connect to each address that a query returns.
#include <algorithm>
#include <future>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "base/platform/file.h"
#include "base/thread/clock.h"
#include "base/thread/post_task.h"
#include "fuzz/environment.h"
#include "fuzz/expect.h"
#include "net/ip_address.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"

namespace {

using zo_base::json11::Json;
using zo_sturdy::HttpDNSManager;

constexpr int64_t kLongestLeaseMs = 270000;
constexpr size_t kMostEntries = 64;

void WriteCache(const Environment& environment, const std::string& name, const std::string& text) {
  zo_base::CreateFolders(environment.folder.File("http_dns"));
  zo_base::WriteWholeFile(environment.folder.File("http_dns/" + name), text);
}

std::shared_ptr<HttpDNSManager> NewManager(const Environment& environment) {
  auto manager = std::make_shared<HttpDNSManager>();
  manager->SetEnvironmentConfig(environment.config);
  return manager;
}

std::vector<zo_sturdy::ServiceAddress> Table(HttpDNSManager& manager) {
  std::vector<zo_sturdy::ServiceAddress> table =
      manager.TableForTest().GetServiceAddresses(net::kIPFamilyAny);
  Expect(!table.empty() && table.size() <= 1 + 2 * zo_sturdy::kMaxEndpoints, "a bounded table");
  for (const zo_sturdy::ServiceAddress& address : table) {
    Expect(net::IsURLHost(address.host) && address.host.size() <= zo_sturdy::kMaxHostBytes + 2,
           "a bounded host", address.host);
  }
  return table;
}

// Returns the manager that the next start would make from the files, without its thread.
std::shared_ptr<HttpDNSManager> NextStart(const Environment& environment) {
  auto next = NewManager(environment);
  next->LoadServerCache();
  next->InitInterfaceAddress();
  next->LoadHostCache();
  Table(*next);
  for (const auto& [host, entry] : next->HostsForTest().GetEntries()) {
    Expect(entry.cache_expired_time <= zo_base::Clock::WallMs() + kLongestLeaseMs,
           "a lease from a file is short", host);
  }
  return next;
}

void ExpectUsable(const std::string& address) {
  Expect(net::IsURLHost(address) && address.size() <= zo_sturdy::kMaxIPTextBytes + 2, "short",
         address);
  Expect(std::all_of(address.begin(), address.end(), [](char c) { return c > ' ' && c < 0x7f; }),
         "visible", address);
}

// One manager for many answers. Starts again when its cache has become large.
class Service {
 public:
  Service() { Begin(); }

  void Judge(const std::string& text) {
    AnswerUpdate(text);
    AnswerHosts(text);
    if (manager_->HostsForTest().GetEntries().size() > kMostEntries) {
      manager_->Stop();
      environment_.DropRequests();
      Begin();
    }
  }

 private:
  // Starts with endpoints that stay good, so that the manager sends no request of its own.
  void Begin() {
    WriteCache(environment_, "http_server_cache.data",
               R"({"host": "h", "ipv4": "[{\"host\": \"127.0.0.1\", \"port\": 1}]", )"
               R"("expired_time": "9999999999999"})");
    zo_base::RemoveFile(environment_.folder.File("http_dns/http_dns_cache.data"));
    manager_ = NewManager(environment_);
    manager_->Init();
    Settle();
  }

  // Returns after the manager's thread has run its earlier posts and due tasks.
  void Settle() {
    constexpr int kTurns = 4;  // a due task posts its work, which may post again
    for (int i = 0; i < kTurns; ++i) {
      std::promise<void> ran;
      manager_->PostDelayedTask(0, [&] { ran.set_value(); });
      ran.get_future().wait();
    }
  }

  bool BeginUpdate() {
    std::promise<bool> busy;
    zo_base::PostTo(*manager_, [&] { busy.set_value(manager_->DoReload(net::kIPFamilyAny)); });
    return !busy.get_future().get();
  }

  void AnswerUpdate(const std::string& text) {
    Expect(BeginUpdate(), "no update is in flight");
    std::string error;
    const bool good = Environment::Answer(environment_.Next(), text);
    Expect(good == HttpDNSManager::CheckServiceResponseBody(Json::parse(text, error)),
           "judged by its keys");
    Settle();
    // After a lifetime of 0 the manager asks again at once. Dropping that request ends the cycle.
    environment_.DropRequests();
    Settle();
    const std::string domain = Table(*manager_).front().host;
    if (good) {
      Expect(Table(*NextStart(environment_)).front().host == domain || HasNoAddresses(text),
             "the domain is kept in the file", domain);
    }
  }

  // A start replaces such a file by the built-in endpoints.
  static bool HasNoAddresses(const std::string& text) {
    std::string error;
    return Json::parse(text, error).object_items().count("ipv4") == 0;
  }

  void AnswerHosts(const std::string& text) {
    std::future<bool> done = manager_->UpdateCache({"im.example"}, net::kIPFamilyAny);
    const bool good = Environment::Answer(environment_.Next(), text);
    Expect(done.get() == good, "a waiting query learns the outcome");
    const zo_sturdy::HostCache::Entries entries = manager_->HostsForTest().GetEntries();
    const auto next = NextStart(environment_);
    zo_sturdy::HostCache::Entries reloaded = next->HostsForTest().GetEntries();
    std::vector<std::string> hosts;
    for (const auto& [host, entry] : entries) {
      hosts.push_back(host);
      Expect(!good || (reloaded[host].ipv4 == entry.ipv4 && reloaded[host].ipv6 == entry.ipv6),
             "what is saved loads to the same", host);
    }
    for (const net::AddressFamily family :
         {net::kIPFamilyAny, net::kIPFamilyV4, net::kIPFamilyV6}) {
      zo_sturdy::HostIPMap results;
      Expect(manager_->DoQuery(family, hosts, results, true) == !results.empty(),
             "the result says whether there are addresses");
      for (const auto& [host, addresses] : results) {
        Expect(entries.count(host) != 0 && !addresses.empty(), "what is in the cache", host);
        std::for_each(addresses.begin(), addresses.end(), ExpectUsable);
      }
    }
  }

  Environment environment_;
  std::shared_ptr<HttpDNSManager> manager_;
};

void JudgeFiles(const std::string& text) {
  static auto& environment = *new Environment;
  WriteCache(environment, "http_server_cache.data", text);
  WriteCache(environment, "http_dns_cache.data", text);
  const auto manager = NextStart(environment);
  for (const auto& [host, entry] : manager->HostsForTest().GetEntries()) {
    std::for_each(entry.ipv4.begin(), entry.ipv4.end(), ExpectUsable);
    std::for_each(entry.ipv6.begin(), entry.ipv6.end(), ExpectUsable);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  static auto& service = *new Service;
  service.Judge(text);
  JudgeFiles(text);
  return 0;
}
