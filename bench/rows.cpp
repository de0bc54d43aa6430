#include "bench/rows.h"

namespace bench {

namespace {

constexpr double kNsPerMs = 1e6;

// Reasons, by profiles, why an aim may be missed.
constexpr char kDiskFlush[] =
    "once per 64 KiB, the buffer's content goes to the log, and the cleared buffer is flushed to "
    "the disk, or a power failure could bring the content back. In memory, where the flush is "
    "free, the aim is reached: see the row for it.";
constexpr char kLogCut[] =
    "the flush to the disk, as above. In memory 64 % of a profile is work that happens once per "
    "64 KiB: 20 % append to the file, 27 % copy the newer half of a log of 8 MiB, the rest "
    "opens, closes and frees. The peer's file grows without end. A line itself takes the other "
    "36 %, about 80 ns.";
constexpr char kWakeUp[] =
    "both times are two wake-ups of a sleeping thread, with two switches and four futex calls "
    "each, of which the kernel takes over 70 % of a profile. The rest is that each pass of our "
    "loop looks at two lanes of tasks, the due timers and the clock: 0.8 µs. The next row "
    "applies where tasks come faster than wake-ups.";
constexpr char kFlushConvoy[] =
    "the thread whose line fills the log's buffer waits for the disk and holds the log's lock, "
    "and the other 15 wait for it; then each wakes the next. With the folder in memory 16 "
    "threads take 0.98 to 1.01 of one thread's time.";
constexpr char kHandOver[] =
    "`Send` passes the transfer to a worker, so that its caller doesn't wait, and the peer works "
    "on the calling thread. One such wake-up is half of the time of the row for one posted task; "
    "strace shows no other difference in system calls.";
constexpr char kStart[] =
    "before the client's first line the system takes 2.3 to 3.7 ms to create the process and to "
    "load the program, the C++ library and libcrypto, which provides MD5 and alone takes 1.0 ms. "
    "From there on the aim is reached: see the row for it.";

void AddText(std::vector<Row>& rows) {
  for (const auto& [kib, label] :
       {std::pair("2", "2 KiB"), std::pair("64", "64 KiB"), std::pair("1024", "1 MiB")}) {
    const std::string work = std::string("parse and dump an LBS document of ") + label;
    const std::string ours = std::string("json/ours/") + kib;
    rows.push_back({work, ours, std::string("json/nlohmann/") + kib, "nlohmann-json", 0.5, 0,
                    "at most 1/2", ""});
    rows.back().is_headline = kib == std::string("64");
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
  // Log lines.
  rows.push_back({"one log line that survives SIGKILL", "log/ours/0/real_time",
                  "log/spdlog_flushed/0/real_time", "spdlog, flushed at each line", 1.0 / 3, 0,
                  "at most 1/3", kDiskFlush});
  rows.back().is_headline = true;
  rows.push_back({"one log line, no such promise on the peer's side", "log/ours/0/real_time",
                  "log/spdlog/0/real_time", "spdlog, unflushed", 1, 0, "at most 1", kLogCut});
  rows.push_back({"the same in memory, where no flush waits for a disk", "log/ours/1/real_time",
                  "log/spdlog_flushed/1/real_time", "spdlog, flushed at each line", 0, 0, "informs",
                  ""});
  rows.push_back({"the same in memory, where no flush waits for a disk", "log/ours/1/real_time",
                  "log/spdlog/1/real_time", "spdlog, unflushed", 0, 0, "informs", ""});
  // Tasks.
  rows.push_back({"post a task and see it run", "post/ours/1/real_time", "post/asio/1/real_time",
                  "`boost::asio::post`", 1.5, 0, "at most 1.5", kWakeUp});
  rows.back().is_headline = true;
  rows.push_back({"post 1000 tasks and see the last run", "post/ours/1000/real_time",
                  "post/asio/1000/real_time", "`boost::asio::post`", 1, 0, "at most 1", ""});
  // Signals.
  for (const char* const slots : {"0", "1", "3"}) {
    rows.push_back({std::string("emit to ") + slots + (slots[0] == '1' ? " slot" : " slots"),
                    std::string("emit/ours/") + slots, std::string("emit/signals2/") + slots,
                    "Boost.Signals2", 0.5, 0, "at most 1/2", ""});
  }
  rows.back().is_headline = true;
}

void AddService(std::vector<Row>& rows) {
  // Link addresses.
  for (const char* const hosts : {"3", "100", "10000"}) {
    rows.push_back({std::string("`GetLinkAddress`, ") + hosts + " hosts",
                    std::string("link/ours/") + hosts + "/real_time",
                    std::string("link/log_lines/") + hosts + "/real_time", "its log lines alone", 2,
                    0, "at most 2", ""});
    rows.back().is_headline = hosts == std::string("100");
  }
  rows.push_back({"`GetLinkAddress`, 16 threads at once, per call",
                  "ask/ours/16/iterations:2/manual_time", "ask/ours/1/iterations:2/manual_time",
                  "one thread", 1, 0, "at most 1", kFlushConvoy});
  // Transfers.
  for (const auto& [number, scheme] : {std::pair("0", "http"), std::pair("1", "https")}) {
    rows.push_back({std::string("one transfer, ") + scheme,
                    std::string("transfer/ours/") + number + "/manual_time",
                    std::string("transfer/libcurl/") + number + "/real_time",
                    "a bare libcurl easy handle", 1.1, 0, "at most 1.1", kHandOver});
    rows.back().is_headline = scheme == std::string("https");
    rows.push_back({std::string("60 transfers, 12 at once, ") + scheme,
                    std::string("at-once/ours/") + number + "/real_time",
                    std::string("at-once/libcurl/") + number + "/manual_time",
                    "12 threads with libcurl easy handles", 1 / 0.95, 0,
                    "at least 0.95 of its throughput", kHandOver});
  }
  // Fail-over.
  rows.push_back({"fail over from 1 to 5 URLs that refuse, the worst of them",
                  "fail-over/refuse/iterations:1/manual_time", "", "the rule: 0 ms each", 1,
                  10 * kNsPerMs, "at most 10 ms over", ""});
  rows.back().is_headline = true;
  rows.push_back({"fail over from 1 to 5 URLs that stay silent, beyond the rule",
                  "fail-over/silent/iterations:1/manual_time", "", "the rule: 2000 ms each", 1,
                  10 * kNsPerMs, "at most 10 ms over", ""});
  rows.push_back({"fail over from 1 to 5 URLs that answer 500",
                  "fail-over/500/iterations:1/manual_time", "", "the rule: 0 ms each", 1,
                  10 * kNsPerMs, "at most 10 ms over", ""});
  // Process start.
  const std::string once = "/iterations:10/manual_time";
  for (const auto& [name, label] :
       {std::pair("cache", "cache"), std::pair("defaults", "defaults")}) {
    const std::string work = std::string("process start to first address, from the ") + label;
    rows.push_back({work, std::string("start/") + name + once, "start/four_threads" + once,
                    "the start of its four threads", 1, 3 * kNsPerMs, "at most 3 ms over", kStart});
    rows.back().is_headline = name == std::string("cache");
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
