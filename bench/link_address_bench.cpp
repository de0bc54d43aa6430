// GetLinkAddress with lists of three lengths: with its log lines, with the log turned down, and the
// log lines alone, which are the limit. Then 16 threads that ask at once, against one.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/log/log.h"
#include "base/process/at_exit.h"
#include "bench/disk_folder.h"
#include "lab/lbs_document.h"
#include "lab/temp_folder.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/config/multiple_url_request.h"

namespace {

using zo_sturdy::MultipleURLHttpRequest;

std::string HostPort(int64_t number) {
  return "10." + std::to_string(number / 65536) + "." + std::to_string(number / 256 % 256) + "." +
         std::to_string(number % 256) + ":" + std::to_string(8000 + number % 90);
}

std::vector<std::string> Hosts(int64_t count) {
  std::vector<std::string> hosts;
  for (int64_t i = 0; i < count; ++i) {
    hosts.push_back(HostPort(i));
  }
  return hosts;
}

// The log of an environment, in a folder of its own.
class OpenLog {
 public:
  OpenLog() {
    auto* const logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    logger->Close();
    logger->SetLogFile(folder_.File("sturdy_comp.log"), 0, 0);
    logger->SetLevel(zo_base::LV_APP);
  }
  ~OpenLog() { zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->Close(); }
  OpenLog(const OpenLog&) = delete;
  OpenLog& operator=(const OpenLog&) = delete;

  [[nodiscard]] const std::string& folder() const { return folder_.path(); }

 private:
  const lab::TempFolder folder_{bench::DiskFolder()};
  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_ =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
};

// A service whose first fetch brings a list of this length. Later fetches get no answer.
class ServiceWithHosts {
 public:
  explicit ServiceWithHosts(int64_t host_count) {
    const std::string document = lab::LbsDocument()
                                     .Link(Hosts(host_count))
                                     .LinkDefault({HostPort(0)})
                                     .Lbs("http://127.0.0.1:9/lbs")
                                     .Text();
    std::promise<void> applied;
    std::atomic<bool> is_first{true};
    config_->data_path = log_.folder() + "/";
    config_->business_token = "token";
    config_->SetHttpRequestInvoker([&](const MultipleURLHttpRequest& request, bool) {
      if (is_first.exchange(false)) {
        request.callback(true, "", document);
        applied.set_value();
      }
    });
    service_->SetEnvironmentConfig(config_);
    zo_sturdy::_ZOSturdyLBSSettings record{};
    record.enable = true;
    std::strcpy(record.default_link_v4, "10.0.0.9:9");
    std::strcpy(record.lbs_url, "http://127.0.0.1:9/lbs");
    service_->Start(record);
    applied.get_future().wait();
    config_->SetHttpRequestInvoker([](const MultipleURLHttpRequest&, bool) {});
  }
  ~ServiceWithHosts() { service_->Stop(); }
  ServiceWithHosts(const ServiceWithHosts&) = delete;
  ServiceWithHosts& operator=(const ServiceWithHosts&) = delete;

  void Ask() {
    std::array<char, zo_sturdy::kLinkHostBufferSize> host{};
    uint16_t port = 0;
    net::AddressFamily family = net::kIPFamilyAny;
    service_->GetLinkAddress(host.data(), &port, &family);
    benchmark::DoNotOptimize(host);
  }

 private:
  OpenLog log_;
  const std::shared_ptr<zo_sturdy::_EnvironmentConfig> config_ =
      std::make_shared<zo_sturdy::_EnvironmentConfig>();
  const std::shared_ptr<zo_sturdy::ZOSturdyLBSServiceImpl> service_ =
      std::make_shared<zo_sturdy::ZOSturdyLBSServiceImpl>();
};

void GetLinkAddress(benchmark::State& state) {
  ServiceWithHosts service(state.range(0));
  for (auto _ : state) {
    service.Ask();
  }
}

// With a log level that drops the lines of a call.
void GetLinkAddressUnlogged(benchmark::State& state) {
  ServiceWithHosts service(state.range(0));
  zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->SetLevel(zo_base::LV_INT);
  for (auto _ : state) {
    service.Ask();
  }
}

// Writes the lines of each call. The line that lists the hosts is of a level that is dropped, which
// builds nothing.
void LogLinesOfACall(benchmark::State& state) {
  const OpenLog log;
  const std::vector<std::string> hosts = Hosts(state.range(0));
  size_t index = 0;
  for (auto _ : state) {
    const bool is_default = index == hosts.size();
    const std::string& text = hosts[is_default ? 0 : index];
    ZO_LOG(LV_APP) << "[lbs] Get link address addr_family = " << 0;
    ZO_LOG(LV_APP) << "[lbs] Get link address " << text << " use default:" << is_default;
    ZO_LOG(LV_APP) << "[lbs] Addr may be ipv4 " << text;
    if (is_default) {
      ZO_LOG(LV_APP) << "[lbs] Use default link addr,need update lbs ";
    }
    index = is_default ? 0 : index + 1;
  }
}

BENCHMARK(GetLinkAddress)->Name("link/ours")->Arg(3)->Arg(100)->Arg(10000)->UseRealTime();
BENCHMARK(GetLinkAddressUnlogged)->Name("link/unlogged")->Arg(3)->Arg(10000)->UseRealTime();
BENCHMARK(LogLinesOfACall)->Name("link/log_lines")->Arg(3)->Arg(100)->Arg(10000)->UseRealTime();

// Measures one call while this many threads ask for 400 ms. "least" is the share of the thread with
// the fewest calls; 1 is an even share.
void AskAtOnce(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kLength(400);
  ServiceWithHosts service(3);
  const auto thread_count = static_cast<size_t>(state.range(0));
  double least_share = 1;
  for (auto _ : state) {
    std::vector<int64_t> calls(thread_count);
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    threads.reserve(thread_count);
    const auto begin = Clock::now();
    for (int64_t& mine : calls) {
      threads.emplace_back([&] {
        int64_t count = 0;
        while (!is_over) {
          service.Ask();
          ++count;
        }
        mine = count;
      });
    }
    std::this_thread::sleep_for(kLength);
    is_over = true;
    for (std::thread& thread : threads) {
      thread.join();
    }
    const std::chrono::duration<double> length = Clock::now() - begin;
    int64_t sum = 0;
    for (const int64_t count : calls) {
      sum += count;
    }
    state.SetIterationTime(length.count() / static_cast<double>(sum));
    const auto fewest = static_cast<double>(*std::min_element(calls.begin(), calls.end()));
    least_share = std::min(least_share,
                           fewest * static_cast<double>(thread_count) / static_cast<double>(sum));
  }
  state.counters["least"] = least_share;
}

BENCHMARK(AskAtOnce)->Name("ask/ours")->Arg(1)->Arg(16)->UseManualTime()->Iterations(2);

}  // namespace
