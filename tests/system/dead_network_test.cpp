// A host query when every endpoint of the HTTP DNS service accepts connections and stays silent: it
// ends at its bound, holds up no other call, and the threads sleep meanwhile.
#include <sys/resource.h>
#include <sys/socket.h>

#include <future>

#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/server_cache.h"
#include "tests/support/client.h"
#include "tests/support/descriptor.h"
#include "tests/support/own_mounts.h"
#include "tests/support/own_network.h"
#include "tests/support/sanitizers.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Eight endpoints, each tried 2 s after the one before, and 7 s for the last to connect.
constexpr milliseconds kGivenUp(7 * 2000 + 7000);
constexpr milliseconds kSlack(15000);  // for a slow machine
constexpr milliseconds kPause(500);
// The process may wake up once in this time. Up to four transfers connect, each of which looks at
// its addresses every 100 ms; a thread without work sleeps.
constexpr milliseconds kWakeUp(8);

rusage Usage() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage;
}
steady_clock::duration ProcessorTime(const rusage& usage) {
  return std::chrono::seconds(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         std::chrono::microseconds(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

class DeadNetwork : public ClientTest {};

TEST_F(DeadNetwork, AQueryGivesUpInTimeAndHoldsUpNoOtherCall) {
  // Listen on the port of all endpoints, and never accept.
  const std::string hosts = "127.0.0.1 localhost\n127.0.0.9 dns.example\n";
  NEEDS_RIGHT(EnterOwnNetwork() && ReplaceFile("/etc/hosts", hosts, folder_.path()),
              "make a network namespace");
  const Descriptor silent(BindAllAddresses(SOCK_STREAM, 443));
  ASSERT_EQ(listen(silent.get(), 64), 0);
  std::vector<lab::DnsEndpoint> ipv4;
  for (const char* end : {"1", "2", "3", "4", "5", "6"}) {
    ipv4.push_back({std::string("127.0.0.") + end});
  }
  const lab::Lab lbs({lab::HttpServer("lbs").On(kLbsPath, lab::Answer(TestDocument().Text()))});
  lab::WriteServerCache(lab::DataFolder(folder_.path()),
                        {.domain = "dns.example", .ipv4 = ipv4, .ipv6 = {{"[::1]"}}});
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder_.path(), "token"));
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);

  // Call everything else while the query waits.
  const auto begin = steady_clock::now();
  const rusage before = Usage();
  auto query = std::async(std::launch::async, [] { return Query("name.example"); });
  StartService({lbs.Url("lbs", kLbsPath)});
  int rounds = 0;
  for (; query.wait_for(kPause) != std::future_status::ready; ++rounds) {
    Link(*service_);
    service_->GetLinkHostCount();
    object.NotifyNetworkChanged(net::kIPFamilyAny);
  }

  // The query has failed at its bound; calls, fetches and the processor weren't held up.
  const auto took = steady_clock::now() - begin;
  EXPECT_EQ(query.get(), "{\"code\":1}");
  EXPECT_GE(took, kGivenUp);
  EXPECT_LE(took, kGivenUp + kSlack);
  EXPECT_GE(rounds, kGivenUp / kPause / 4) << "calls waited for the query";
  const rusage after = Usage();
  EXPECT_LE(ProcessorTime(after) - ProcessorTime(before), took / (kSanitized ? 5 : 10))
      << "threads spin";
  EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, took / kWakeUp) << "threads wake for nothing";
  for (int document = 0; document < 10; ++document) {
    EXPECT_EQ(TryUpdate(milliseconds(0)).value_or(Update()).first, 200)
        << "the fetches waited for the query";
  }
}

}  // namespace
