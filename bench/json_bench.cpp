// Measures parsing and dumping LBS documents of three sizes. Peers: nlohmann-json, and RapidJSON's
// DOM as the limit of what is possible.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <nlohmann/json.hpp>
#include <string>

#include "base/json/json.h"
#include "lab/lbs_document.h"

namespace {

constexpr int64_t kKibibyte = 1024;

// Returns a document as servers send it, with link servers up to about `size_bytes`.
std::string DocumentOf(int64_t size_bytes) {
  const auto make = [](int hosts) {
    lab::LbsDocument::List links;
    for (int i = 0; i < hosts; ++i) {
      const std::string number = std::to_string(i);
      links.push_back(
          i % 4 == 3 ? "link-" + number + ".example.com:8080"
                     : "10." + std::to_string(i / 65536) + "." + std::to_string(i / 256 % 256) +
                           "." + std::to_string(i % 256) + ":" + std::to_string(8000 + i % 90));
    }
    lab::LbsReport report;
    report.host = "https://report.example.com";
    report.on = true;
    report.count = 20;
    report.time = 300;
    report.min_delay_s = 5;
    return lab::LbsDocument()
        .Link(links)
        .LinkDefault({"link.example.com:8080", "[2001:db8::17]:8080"})
        .Lbs("https://lbs.example.com/lbs/conf.jsp")
        .LbsBackup({"https://192.0.2.1/lbs/conf.jsp", "https://192.0.2.2/lbs/conf.jsp"})
        .Download("https://download.example.com")
        .Name("Servers \xe2\x80\x9cnorth\xe2\x80\x9d")
        .Desc("first line\\nsecond line")
        .MsgStatEnable(true)
        .Report(report)
        .Text();
  };
  const auto empty_bytes = static_cast<int64_t>(make(0).size());
  constexpr int kProbe = 1000;
  const int64_t probe_bytes = static_cast<int64_t>(make(kProbe).size()) - empty_bytes;
  return make(static_cast<int>((size_bytes - empty_bytes) * kProbe / probe_bytes));
}

void SetBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void JsonOurs(benchmark::State& state) {
  const std::string text = DocumentOf(state.range(0) * kKibibyte);
  for (auto _ : state) {
    std::string error;
    const auto json = zo_base::json11::Json::parse(text, error);
    std::string dumped = json.dump();
    benchmark::DoNotOptimize(dumped);
  }
  SetBytes(state, text);
}

void JsonNlohmann(benchmark::State& state) {
  const std::string text = DocumentOf(state.range(0) * kKibibyte);
  for (auto _ : state) {
    const auto json = nlohmann::json::parse(text);
    std::string dumped = json.dump();
    benchmark::DoNotOptimize(dumped);
  }
  SetBytes(state, text);
}

void JsonRapid(benchmark::State& state) {
  const std::string text = DocumentOf(state.range(0) * kKibibyte);
  for (auto _ : state) {
    rapidjson::Document json;
    json.Parse(text.data(), text.size());
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    json.Accept(writer);
    const char* dumped = buffer.GetString();
    benchmark::DoNotOptimize(dumped);
  }
  SetBytes(state, text);
}

BENCHMARK(JsonOurs)->Name("json/ours")->Arg(2)->Arg(64)->Arg(1024);
BENCHMARK(JsonNlohmann)->Name("json/nlohmann")->Arg(2)->Arg(64)->Arg(1024);
BENCHMARK(JsonRapid)->Name("json/rapidjson")->Arg(2)->Arg(64)->Arg(1024);

}  // namespace
