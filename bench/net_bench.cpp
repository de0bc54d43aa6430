// Measures taking URLs apart, and testing and printing addresses. Peers: libcurl's URL interface,
// inet_pton and inet_ntop.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>

#include "net/ip_address.h"
#include "net/url.h"

namespace {

const std::array<std::string, 4> kUrls = {
    "https://lbs.example.com/lbs/conf.jsp?k=key&sv=1&pv=2&tp=3&networkType=1",
    "http://10.20.30.40:8080/httpdns/v2/d?dn=link.example.com",
    "https://user:secret@[2001:db8::17]:8443/statics/report/im/api/error#top", "http://a.example"};

void TakeApartOurs(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& url : kUrls) {
      std::string host;
      int32_t port = 0;
      url::GetURLHostAndPort(url, host, port);
      std::string scheme = url::GetURLScheme(url);
      benchmark::DoNotOptimize(host);
      benchmark::DoNotOptimize(port);
      benchmark::DoNotOptimize(scheme);
    }
  }
}

std::string Part(CURLU* handle, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(handle, part, &text, 0) != CURLUE_OK) {
    return {};
  }
  std::string copy = text;
  curl_free(text);
  return copy;
}

// Keeps the handle, which saves the peer an allocation.
void TakeApartCurl(benchmark::State& state) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> handle(curl_url(), &curl_url_cleanup);
  for (auto _ : state) {
    for (const std::string& url : kUrls) {
      curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0);
      std::string host = Part(handle.get(), CURLUPART_HOST);
      const long port = std::strtol(Part(handle.get(), CURLUPART_PORT).c_str(), nullptr, 10);
      std::string scheme = Part(handle.get(), CURLUPART_SCHEME);
      benchmark::DoNotOptimize(host);
      benchmark::DoNotOptimize(port);
      benchmark::DoNotOptimize(scheme);
    }
  }
}

BENCHMARK(TakeApartOurs)->Name("url/ours");
BENCHMARK(TakeApartCurl)->Name("url/libcurl");

// A name, an IPv4 and an IPv6 address, as the library tests them most.
const std::array<std::string, 3> kHosts = {"link-server-17.example.com", "192.168.117.204",
                                           "2001:db8:85a3::8a2e:370:7334"};

void TestOurs(benchmark::State& state) {
  std::string text = kHosts.at(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(net::IsIPLiteral(text));
  }
}

// Asks the peer for both families only for the name, which could be of either.
void TestSystem(benchmark::State& state) {
  std::string text = kHosts.at(static_cast<size_t>(state.range(0)));
  std::array<unsigned char, sizeof(in6_addr)> bytes;
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    const bool is_v6 = state.range(0) == 2;
    bool is_literal = inet_pton(is_v6 ? AF_INET6 : AF_INET, text.c_str(), bytes.data()) == 1;
    if (state.range(0) == 0) {
      is_literal = is_literal || inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1;
    }
    benchmark::DoNotOptimize(is_literal);
  }
}

BENCHMARK(TestOurs)->Name("ip-test/ours")->DenseRange(0, 2);
BENCHMARK(TestSystem)->Name("ip-test/inet_pton")->DenseRange(0, 2);

void PrintOurs(benchmark::State& state) {
  net::IPBytes address;
  net::ParseIPLiteral(kHosts.at(static_cast<size_t>(state.range(0))), address);
  for (auto _ : state) {
    benchmark::DoNotOptimize(address);
    std::string text = net::IPBytesToText(address);
    benchmark::DoNotOptimize(text);
  }
}

// Prints into a buffer: the peer makes no string.
void PrintSystem(benchmark::State& state) {
  net::IPBytes address;
  net::ParseIPLiteral(kHosts.at(static_cast<size_t>(state.range(0))), address);
  const int family = address.size() == sizeof(in_addr) ? AF_INET : AF_INET6;
  std::array<char, INET6_ADDRSTRLEN> text;
  for (auto _ : state) {
    benchmark::DoNotOptimize(address);
    inet_ntop(family, address.data(), text.data(), text.size());
    benchmark::DoNotOptimize(text);
  }
}

BENCHMARK(PrintOurs)->Name("ip-print/ours")->DenseRange(1, 2);
BENCHMARK(PrintSystem)->Name("ip-print/inet_ntop")->DenseRange(1, 2);

}  // namespace
