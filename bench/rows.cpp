#include "bench/rows.h"

namespace bench {

namespace {

constexpr double kNsPerMs = 1e6;

void AddText(std::vector<Row>& rows) {
  for (const auto& [kib, label] :
       {std::pair("2", "2 KiB"), std::pair("64", "64 KiB"), std::pair("1024", "1 MiB")}) {
    const std::string work = std::string("parse and dump an LBS document of ") + label;
    const std::string ours = std::string("json/ours/") + kib;
    rows.push_back({work, ours, std::string("json/nlohmann/") + kib, "nlohmann-json", 0.5, 0,
                    "at most 1/2", ""});
    rows.push_back({work, ours, std::string("json/rapidjson/") + kib, "RapidJSON's DOM", 0, 0,
                    "the limit", ""});
  }
  rows.push_back({"take four URLs apart", "url/ours", "url/libcurl", "libcurl's URL interface", 1,
                  0, "at most 1", ""});
  rows.push_back({"test a host name for an address", "ip-test/ours/0", "ip-test/inet_pton/0",
                  "`inet_pton`", 1, 0, "at most 1", ""});
  rows.push_back({"test an IPv4 address", "ip-test/ours/1", "ip-test/inet_pton/1", "`inet_pton`", 1,
                  0, "at most 1", ""});
  rows.push_back({"test an IPv6 address", "ip-test/ours/2", "ip-test/inet_pton/2", "`inet_pton`", 1,
                  0, "at most 1", ""});
  rows.push_back({"print an IPv4 address", "ip-print/ours/1", "ip-print/inet_ntop/1", "`inet_ntop`",
                  1, 0, "at most 1", ""});
  rows.push_back({"print an IPv6 address", "ip-print/ours/2", "ip-print/inet_ntop/2", "`inet_ntop`",
                  1, 0, "at most 1", ""});
}

void AddRuntime(std::vector<Row>& rows) {
  rows.push_back({"one log line that survives SIGKILL", "log/ours/0/real_time",
                  "log/spdlog_flushed/0/real_time", "spdlog, flushed at each line", 1.0 / 3, 0,
                  "at most 1/3", ""});
  rows.push_back({"one log line, no such promise on the peer's side", "log/ours/0/real_time",
                  "log/spdlog/0/real_time", "spdlog, unflushed", 1, 0, "at most 1", ""});
  rows.push_back({"the same in memory, where no flush waits for a disk", "log/ours/1/real_time",
                  "log/spdlog_flushed/1/real_time", "spdlog, flushed at each line", 0, 0, "informs",
                  ""});
  rows.push_back({"the same in memory, where no flush waits for a disk", "log/ours/1/real_time",
                  "log/spdlog/1/real_time", "spdlog, unflushed", 0, 0, "informs", ""});
  rows.push_back({"post a task and see it run", "post/ours/1/real_time", "post/asio/1/real_time",
                  "`boost::asio::post`", 1, 0, "at most 1", ""});
  rows.push_back({"post 1000 tasks and see the last run", "post/ours/1000/real_time",
                  "post/asio/1000/real_time", "`boost::asio::post`", 1, 0, "at most 1", ""});
  for (const char* const slots : {"0", "1", "3"}) {
    rows.push_back({std::string("emit to ") + slots + (slots[0] == '1' ? " slot" : " slots"),
                    std::string("emit/ours/") + slots, std::string("emit/signals2/") + slots,
                    "Boost.Signals2", 0.5, 0, "at most 1/2", ""});
  }
}

void AddService(std::vector<Row>& rows) {
  for (const char* const hosts : {"3", "100", "10000"}) {
    rows.push_back({std::string("`GetLinkAddress`, ") + hosts + " hosts",
                    std::string("link/ours/") + hosts + "/real_time",
                    std::string("link/log_lines/") + hosts + "/real_time", "its log lines alone", 2,
                    0, "at most 2", ""});
  }
  rows.push_back({"`GetLinkAddress`, 16 threads at once, per call",
                  "ask/ours/16/iterations:2/manual_time", "ask/ours/1/iterations:2/manual_time",
                  "one thread", 1, 0, "at most 1", ""});
  for (const auto& [number, scheme] : {std::pair("0", "http"), std::pair("1", "https")}) {
    rows.push_back({std::string("one transfer, ") + scheme,
                    std::string("transfer/ours/") + number + "/manual_time",
                    std::string("transfer/libcurl/") + number + "/real_time",
                    "a bare libcurl easy handle", 1.1, 0, "at most 1.1", ""});
    rows.push_back({std::string("60 transfers, 12 at once, ") + scheme,
                    std::string("at-once/ours/") + number + "/real_time",
                    std::string("at-once/libcurl/") + number + "/manual_time",
                    "12 threads with libcurl easy handles", 1 / 0.95, 0,
                    "at least 0.95 of its throughput", ""});
  }
  rows.push_back({"a good list behind 1 to 5 URLs that refuse, the worst of them",
                  "fail-over/refuse/iterations:1/manual_time", "", "the rule: 0 ms each", 1,
                  10 * kNsPerMs, "at most 10 ms over", ""});
  rows.push_back({"the same, behind 1 to 5 that stay silent, beyond the rule",
                  "fail-over/silent/iterations:1/manual_time", "", "the rule: 2000 ms each", 1,
                  10 * kNsPerMs, "at most 10 ms over", ""});
  rows.push_back({"the same, behind 1 to 5 that answer 500",
                  "fail-over/500/iterations:1/manual_time", "", "the rule: 0 ms each", 1,
                  10 * kNsPerMs, "at most 10 ms over", ""});
  const std::string once = "/iterations:10/manual_time";
  for (const auto& [name, label] :
       {std::pair("cache", "cache"), std::pair("defaults", "defaults")}) {
    const std::string work = std::string("process start to first address, from the ") + label;
    rows.push_back({work, std::string("start/") + name + once, "start/four_threads" + once,
                    "the start of its four threads", 1, 3 * kNsPerMs, "at most 3 ms over", ""});
    rows.push_back({work + ", once the system has loaded it",
                    std::string("start/") + name + "_from_main" + once, "start/four_threads" + once,
                    "the start of its four threads", 0, 0, "informs", ""});
  }
}

}  // namespace

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  AddRuntime(rows);
  AddService(rows);
  AddText(rows);
  return rows;
}

}  // namespace bench
