// A client whose network is dead: connections to the HTTP DNS service are taken, and nothing more
// ever comes.
//   dead_network_host DATA_FOLDER
// Asks for one host there, and uses the rest of the library all the while. Prints what it saw, one
// "name value" a line, and ends with 0; with 77 if the system gives it no network of its own.
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <string>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "lab/server_cache.h"
#include "tests/environment/client.h"
#include "tests/support/own_network.h"
#include "tests/support/server_cache.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kNoNetwork = 77;
constexpr int kBacklog = 64;
constexpr std::chrono::milliseconds kBetweenCalls{500};
constexpr char kPath[] = "/lbs/conf.jsp";

std::atomic<int> documents{0};

int MsSince(SteadyClock::time_point start) {
  return static_cast<int>(
      std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - start).count());
}

int ProcessorMs() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto ms = [](const timeval& time) { return time.tv_sec * 1000 + time.tv_usec / 1000; };
  return static_cast<int>(ms(usage.ru_utime) + ms(usage.ru_stime));
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    return 2;
  }
  const std::string folder = arguments[1];
  const std::string hosts = "127.0.0.1 localhost\n127.0.0.9 dns.example\n";
  if (!EnterOwnNetwork() || !ReplaceFile("/etc/hosts", hosts, folder)) {
    return kNoNetwork;
  }
  const int mute = BindLoopback(SOCK_STREAM, 443);
  if (mute < 0 || listen(mute, kBacklog) != 0) {
    return kNoNetwork;
  }
  lab::WriteServerCache(FinalDataFolder(folder), {.domain = "dns.example",
                                                  .ipv4 = {{"127.0.0.1"},
                                                           {"127.0.0.2"},
                                                           {"127.0.0.3"},
                                                           {"127.0.0.4"},
                                                           {"127.0.0.5"},
                                                           {"127.0.0.6"}},
                                                  .ipv6 = {{"[::1]"}}});
  const lab::Lab lbs(
      {lab::HttpServer("lbs").On(kPath, lab::Answer(lab::LbsDocument()
                                                        .Link({"one.example:1"})
                                                        .LinkDefault({"two.example:2"})
                                                        .Lbs("${url:lbs}/lbs/conf.jsp")
                                                        .Text()))});
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder, "token"));
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
  zo_sturdy::IZOSturdyLBSService& service = *object.GetLBSService();
  service.SetUpdateCallback([](int code, const char*) { documents += code == 200; });

  const auto start = SteadyClock::now();
  const int processor_before = ProcessorMs();
  std::string answer(zo_sturdy::kQueryHostBufferSize, '\0');
  auto query = std::async(std::launch::async, [&] {
    const bool resolved = object.QueryHost("name.example", 0, answer.data());
    return std::make_pair(resolved, MsSince(start));
  });
  service.Start(LBSRecord(lbs.Url("lbs", kPath), "default.example:9"));
  int longest_call = 0;
  while (query.wait_for(kBetweenCalls) != std::future_status::ready) {
    const auto call = SteadyClock::now();
    Link(service);
    service.GetLinkHostCount();
    object.NotifyNetworkChanged(net::kIPFamilyAny);
    longest_call = std::max(longest_call, MsSince(call));
  }
  const auto [resolved, took_ms] = query.get();
  std::printf("resolved %d\nquery_ms %d\nlongest_call_ms %d\nprocessor_ms %d\ndocuments %d\n",
              resolved ? 1 : 0, took_ms, longest_call, ProcessorMs() - processor_before,
              documents.load());
  std::printf("answer %s\n", answer.c_str());
  zo_sturdy::ExitSturdyEnvironment(1);
  return 0;
}
