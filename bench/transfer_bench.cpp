// Measures one transfer on loopback, http and https, from Send to `done`, and twelve at once. Peer:
// a bare libcurl easy handle with the same options, created for each transfer.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <barrier>
#include <chrono>
#include <latch>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "lab/lab.h"
#include "network/http_request.h"
#include "network/http_request_win.h"
#include "network/http_response.h"
#include "network/platform/curl/curl_library.h"
#include "network/platform/curl/curl_options.h"
#include "network/platform/http_url.h"
#include "network/platform/transfer_plan.h"

namespace {

using KRBASE::network::HttpRequest;
using KRBASE::network::HttpRequestWin;
using KRBASE::network::HttpResponse;
using KRBASE::network::platform::BuildLists;
using KRBASE::network::platform::CurlLists;
using KRBASE::network::platform::SetTransferOptions;
using KRBASE::network::platform::TransferPlan;

using Clock = std::chrono::steady_clock;

constexpr int kAtOnce = 12;
constexpr int kTransfersEach = 5;
constexpr int kTransfers = kAtOnce * kTransfersEach;
constexpr int kOk = 200;

// Returns the servers of all transfers. Their answers are as long as a small LBS document.
lab::Lab& Servers() {
  constexpr size_t kBodyBytes = 2048;
  static auto* const servers = new lab::Lab(
      {lab::HttpServer("http").On("/lbs", lab::Answer(std::string(kBodyBytes, 'x')).CloseAfter()),
       lab::HttpsServer("https").On("/lbs",
                                    lab::Answer(std::string(kBodyBytes, 'x')).CloseAfter())});
  return *servers;
}

std::string UrlOf(const benchmark::State& state) {
  return Servers().Url(state.range(0) == 0 ? "http" : "https", "/lbs");
}

class OurTransport {
 public:
  OurTransport() { transport_.MakePool(); }

  template <typename Done>
  void Send(const std::string& url, Done done) {
    auto request = std::make_shared<HttpRequest>();
    request->method = KRBASE::network::kHttpMethodGet;
    request->url = url;
    transport_.Send(request, [done](const std::shared_ptr<const HttpResponse>& response) {
      done(response->status == kOk);
    });
  }

 private:
  HttpRequestWin transport_;
};

void TransferOurs(benchmark::State& state) {
  const std::string url = UrlOf(state);
  OurTransport transport;
  std::binary_semaphore over(0);
  bool is_good = true;
  Clock::time_point end;
  for (auto _ : state) {
    const auto begin = Clock::now();
    transport.Send(url, [&](bool was_good) {
      end = Clock::now();
      is_good = is_good && was_good;
      over.release();
    });
    over.acquire();
    state.SetIterationTime(std::chrono::duration<double>(end - begin).count());
  }
  if (!is_good) {
    state.SkipWithError("a transfer failed");
  }
  Servers().ForgetRequests();
}

size_t AppendTo(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

// Sets the options as the library does, and sends the headers that it sends by default.
bool TransferBare(const TransferPlan& plan) {
  CurlLists lists;
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(),
                                                                 &curl_easy_cleanup);
  std::string head;
  std::string body;
  if (!BuildLists(plan, lists) || !SetTransferOptions(easy.get(), plan, lists)) {
    return false;
  }
  curl_easy_setopt(easy.get(), CURLOPT_HEADERFUNCTION, &AppendTo);
  curl_easy_setopt(easy.get(), CURLOPT_HEADERDATA, &head);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, &AppendTo);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &body);
  long status = 0;
  return curl_easy_perform(easy.get()) == CURLE_OK &&
         curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status) == CURLE_OK &&
         status == kOk && !body.empty();
}

TransferPlan PlanOf(const std::string& url) {
  constexpr size_t kNoLimit = 10000;
  TransferPlan plan;
  plan.url = *KRBASE::network::platform::CrackUrl(url, kNoLimit, kNoLimit);
  plan.agent = "sturdy_comp";
  plan.ignore_certificate_errors = true;
  KRBASE::network::platform::LoadCurl();  // for the options
  plan.addresses = {{127, 0, 0, 1}};
  plan.headers.AddOrReplace(
      "Accept: */*\r\nAccept-Language: zh-CN,zh;q=0.9\r\nConnection: Keep-Alive\r\n");
  return plan;
}

void TransferCurl(benchmark::State& state) {
  const TransferPlan plan = PlanOf(UrlOf(state));
  bool is_good = true;
  for (auto _ : state) {
    is_good = TransferBare(plan) && is_good;
  }
  if (!is_good) {
    state.SkipWithError("a transfer failed");
  }
  Servers().ForgetRequests();
}

BENCHMARK(TransferOurs)->Name("transfer/ours")->Arg(0)->Arg(1)->UseManualTime();
BENCHMARK(TransferCurl)->Name("transfer/libcurl")->Arg(0)->Arg(1)->UseRealTime();

// Sends sixty transfers, of which twelve are under way at any time.
void AtOnceOurs(benchmark::State& state) {
  const std::string url = UrlOf(state);
  OurTransport transport;
  for (auto _ : state) {
    std::latch over(kTransfers);  // wakes us once, as the peer does
    for (int i = 0; i < kTransfers; ++i) {
      transport.Send(url, [&over](bool) { over.count_down(); });
    }
    over.wait();
  }
  state.SetItemsProcessed(state.iterations() * kTransfers);
  Servers().ForgetRequests();
}

// Starts the threads before the clock, as those of our pool are.
void AtOnceCurl(benchmark::State& state) {
  const TransferPlan plan = PlanOf(UrlOf(state));
  for (auto _ : state) {
    std::barrier start(kAtOnce + 1);
    std::barrier end(kAtOnce + 1);
    std::vector<std::thread> threads;
    threads.reserve(kAtOnce);
    for (int i = 0; i < kAtOnce; ++i) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        for (int j = 0; j < kTransfersEach; ++j) {
          TransferBare(plan);
        }
        end.arrive_and_wait();
      });
    }
    start.arrive_and_wait();
    const auto begin = Clock::now();
    end.arrive_and_wait();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  state.SetItemsProcessed(state.iterations() * kTransfers);
  Servers().ForgetRequests();
}

BENCHMARK(AtOnceOurs)->Name("at-once/ours")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(AtOnceCurl)->Name("at-once/libcurl")->Arg(0)->Arg(1)->UseManualTime();

}  // namespace
