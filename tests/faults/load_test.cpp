// An hour of a client whose servers lie, stall and change their minds, run in seconds.
//   STURDY_LOAD_MINUTES   how many minutes instead of 60 (3 under a sanitizer)
//   STURDY_LOAD_SEED      repeats the choices of the run that printed this number
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <random>

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/support/frozen_client.h"
#include "tests/support/process_state.h"
#include "tests/support/sanitizers.h"
#include "tests/support/wait_until.h"

namespace {

// Heaps at rest differ by half of this. A leak of 300 bytes per fetch exceeds it.
constexpr int64_t kNoiseBytes = 64 << 10;
constexpr int kWarmUpRounds = kSanitized ? 1 : 30;  // until every cache is full

uint32_t FromEnvironment(const char* name, uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class BusyHour : public FrozenClient {
 protected:
  // Starts the program again without malloc's caches of threads, which fill up over the hour and
  // would look like a leak.
  static void SetUpTestSuite() {
    if (!kSanitized && std::getenv("GLIBC_TUNABLES") == nullptr) {
      setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 1);
      execl("/proc/self/exe", "fault_load_test", nullptr);
    }
  }

  size_t Pick(size_t below) { return random_() % below; }
  template <class T>
  T OneOf(const std::vector<T>& values) {
    return values[Pick(values.size())];
  }

  // Each address names the number of its document.
  std::string NextDocument() {
    ++number_;
    std::vector<std::string> links;
    for (size_t i = Pick(200) + 1; i > 0; --i) {
      links.push_back("10." + std::to_string(number_) + "." + std::to_string(i) + ".example:80");
    }
    known_.push_back(TestDocument(links, urls_)
                         .Report({.host = lab_.Url("statistics"),
                                  .count = 1 + static_cast<int64_t>(Pick(10)),
                                  .min_delay_s = static_cast<int64_t>(Pick(30))})
                         .Text());
    if (known_.size() > 4) {
      known_.pop_front();
    }
    return known_.back();
  }
  lab::Behaviour Whim(const lab::Behaviour& good) {
    lab::Behaviour cut = good;
    return at_rest_ || Pick(2) == 0
               ? good
               : OneOf<lab::Behaviour>(
                     {lab::Answer(500), lab::Answer(R"({"common":{"link":["6.6.6.6:6"]}})"),
                      lab::Garbage(), lab::Silent(), lab::CloseEarly(), lab::Reset(),
                      cut.Truncated(5), lab::RedirectLoop(), lab::Endless(),
                      lab::Redirect(OneOf(urls_)), lab::Answer("").HeadDripped(50)});
  }
  void SetServers(const std::string& document) {
    for (const char* server : {"a", "b", "c"}) {
      const int pieces = 1 + static_cast<int>(Pick(3));
      lab_.SetBehaviours(server, kLbsPath, {Whim(lab::Answer(document).InPieces(pieces, 20))});
    }
    lab::HostBook book{.hosts = {{"localhost", {.ip = {{"127.0.0.1"}}, .ttl_s = 60}}}};
    for (const std::string& host : hosts_) {
      book.hosts[host] = {.ip = {{"192.0.2.7"}}, .ttl_s = static_cast<int64_t>(Pick(300))};
    }
    const auto table =
        lab::ServiceTable().Domain("localhost").V4({"${endpoint:dns}"}).Ttl(90).Text();
    lab_.SetBehaviours("dns", lab::kHostQueryPath, {Whim(lab::Answer(book))});
    lab_.SetBehaviours("dns", lab::kServiceTablePath, {Whim(lab::Answer(table))});
    lab_.SetBehaviours("statistics", lab::kReportPath, {Whim(lab::Answer(""))});
  }
  void Ask() {
    zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
    const size_t choice = Pick(4);
    if (choice == 0) {
      object.SetBusinessToken(("token" + std::to_string(number_)).c_str());
    } else if (choice == 1) {
      object.NotifyNetworkChanged(OneOf<net::AddressFamily>({net::kIPFamilyAny, net::kIPFamilyV4}));
    } else {
      service_->Update(net::kIPFamilyAny);
    }
  }
  void ExpectAllowed(const Update& update) {
    ASSERT_TRUE(update.second == active_ ||
                std::count(known_.begin(), known_.end(), update.second) != 0)
        << update.first << " " << update.second;
    active_ = update.first == 200 ? update.second : active_;
  }
  void AwaitAllowed() {
    std::optional<Update> update;
    AdvanceUntil([&] { return (update = TryUpdate(kGlance)).has_value(); });
    ExpectAllowed(*update);
  }
  void ExpectAllowedLinks() {
    const std::string before = Document(*service_);
    std::vector<std::string> links(Pick(60));
    for (std::string& link : links) {
      link = Link(*service_);
      if (Pick(8) == 0) {
        service_->HoldLinkAddress(link.substr(0, link.find(':')).c_str(), 80);
      }
    }
    const std::string allowed = before + Document(*service_) + "127.0.0.1:9 localhost:8080";
    for (const std::string& link : links) {
      ASSERT_NE(allowed.find(link), std::string::npos) << link;
    }
  }
  void Round() {
    SetServers(NextDocument());
    Await([this] { AwaitFetchEnd(*service_); });  // or the request for a fetch is dropped
    Ask();
    AwaitAllowed();
    const std::string answer = Await([host = OneOf(hosts_)] { return Query(host); });
    EXPECT_TRUE(answer == R"({"code":1})" || answer.find(R"(["192.0.2.7"])") != std::string::npos)
        << answer;
    ExpectAllowedLinks();
    for (size_t i = Pick(20); i > 0; --i) {
      clock_.Advance(1000);
    }
    while (const std::optional<Update> more = TryUpdate(std::chrono::milliseconds(0))) {
      ExpectAllowed(*more);
    }
    lab_.ForgetRequests();
    ++rounds_;
  }
  // Threads, descriptors and bytes of the heap. A sanitizer has its own heap, and looks for leaks
  // itself at the end.
  using Amounts = std::array<int64_t, 3>;
  static Amounts Held() {
    return {CountThreads(), CountHandles(), kSanitized ? 0 : CountHeapBytes()};
  }
  // Waits until all transfers have ended, and the process holds no more than `most`.
  bool EndsTransfers(const Amounts& most) {
    return WaitUntil([&] {
      clock_.Advance(1000);
      lab_.ForgetRequests();  // of service updates, which go on
      const Amounts held = Held();
      return std::equal(held.begin(), held.end(), most.begin(), std::less_equal<>()) &&
             std::all_of(servers_.begin(), servers_.end(),
                         [&](const char* server) { return lab_.journal().Open(server) == 0; });
    });
  }
  // Brings the client into the same state each time: a short document, good servers, and no
  // transfer.
  void Rest() {
    const std::string document = TestDocument({"rest.example:1"}, urls_).Text();
    known_ = {document};
    at_rest_ = true;
    SetServers(document);
    Await([this] { AwaitFetchEnd(*service_); });
    while (TryUpdate(std::chrono::milliseconds(0))) {
    }
    service_->Update(net::kIPFamilyAny);
    EXPECT_EQ(AwaitUpdate(), Update(200, document));
    active_ = document;
    EXPECT_TRUE(EndsTransfers({INT64_MAX, INT64_MAX, INT64_MAX}));
    at_rest_ = false;
  }

  lab::Lab lab_{{lab::HttpServer("a"), lab::HttpsServer("b"), lab::HttpServer("c"),
                 lab::HttpServer("dns"), lab::HttpServer("statistics")}};
  const std::vector<std::string> urls_ = {
      lab_.Url("a", kLbsPath), lab_.Url("b", kLbsPath),
      "http://localhost:" + std::to_string(lab_.Port("c")) + kLbsPath};
  const std::vector<const char*> servers_ = {"a", "b", "c", "dns", "statistics"};
  const std::vector<std::string> hosts_ = {"a.test", "b.test", "c.test", "d.test"};
  const uint32_t seed_ = FromEnvironment("STURDY_LOAD_SEED", std::random_device()());
  std::mt19937 random_{seed_};
  int number_ = 0;
  std::deque<std::string> known_;  // the latest
  std::string active_;
  int rounds_ = 0;
  bool at_rest_ = false;
};

TEST_F(BusyHour, LeaksNothingAndGivesOnlyAllowedAnswers) {
  const int64_t minutes = FromEnvironment("STURDY_LOAD_MINUTES", kSanitized ? 3 : 60);
  std::printf("STURDY_LOAD_SEED=%u repeats this\n", seed_);
  dns_endpoints_ = {{"127.0.0.1", lab_.Port("dns"), false}};
  SetServers(NextDocument());
  active_ = Document(Fetch(urls_));
  AwaitAllowed();
  clock_.Advance(86400000);  // the HTTP DNS service's table is due
  while (rounds_ < kWarmUpRounds && !HasFailure()) {
    Round();
  }
  Rest();
  const Amounts before = Held();

  const int64_t end_ms = zo_base::Clock::MonotonicMs() + minutes * 60000;
  while (zo_base::Clock::MonotonicMs() < end_ms && !HasFailure()) {
    Round();
  }

  Rest();
  std::printf("%d fetches\n", rounds_);
  EXPECT_TRUE(EndsTransfers({before[0], before[1], before[2] + kNoiseBytes}))
      << "threads, descriptors, heap: before " << testing::PrintToString(before) << ", after "
      << testing::PrintToString(Held());
}

}  // namespace
