#include "bench/rows.h"

#include <sstream>
#include <utility>

namespace bench {

namespace {

constexpr double kNsPerMs = 1e6;

// Reasons, by profiles, why an aim may be missed.
constexpr char kDiskFlush[] =
    "once per 64 KiB, the buffer's content goes to the log, and the cleared buffer is flushed to "
    "the disk, because otherwise a power failure could bring the content back. In memory, where "
    "the flush is "
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

const Aim kInforms{0, 0, "informs"};

Aim AtMost(double factor) {
  std::ostringstream text;
  text << "at most " << factor;
  return {factor, 0, text.str()};
}

Aim AtMostOneOf(int parts) {
  return {1.0 / parts, 0, "at most 1/" + std::to_string(parts)};
}

Aim AtMostMsOver(int ms) {
  return {1, ms * kNsPerMs, "at most " + std::to_string(ms) + " ms over"};
}

void AddText(std::vector<Row>& rows) {
  const std::pair<std::string, std::string> sizes[] = {
      {"2", "2 KiB"}, {"64", "64 KiB"}, {"1024", "1 MiB"}};
  for (const auto& [kib, label] : sizes) {
    const std::string work = "parse and dump an LBS document of " + label;
    rows.push_back({.work = work,
                    .ours = "json/ours/" + kib,
                    .peer = "json/nlohmann/" + kib,
                    .peer_name = "nlohmann-json",
                    .aim = AtMostOneOf(2),
                    .is_headline = kib == "64"});
    rows.push_back({.work = work,
                    .ours = "json/ours/" + kib,
                    .peer = "json/rapidjson/" + kib,
                    .peer_name = "RapidJSON's DOM",
                    .aim = kInforms});
  }
  rows.push_back({.work = "take four URLs apart",
                  .ours = "url/ours",
                  .peer = "url/libcurl",
                  .peer_name = "libcurl's URL interface",
                  .aim = AtMost(1)});
  const std::pair<std::string, std::string> hosts[] = {
      {"0", "a host name for an address"}, {"1", "an IPv4 address"}, {"2", "an IPv6 address"}};
  for (const auto& [kind, label] : hosts) {
    rows.push_back({.work = "test " + label,
                    .ours = "ip-test/ours/" + kind,
                    .peer = "ip-test/inet_pton/" + kind,
                    .peer_name = "`inet_pton`",
                    .aim = AtMost(1)});
  }
  for (const std::string kind : {"1", "2"}) {
    rows.push_back({.work = std::string("print an ") + (kind == "1" ? "IPv4" : "IPv6") + " address",
                    .ours = "ip-print/ours/" + kind,
                    .peer = "ip-print/inet_ntop/" + kind,
                    .peer_name = "`inet_ntop`",
                    .aim = AtMost(1)});
  }
}

void AddLog(std::vector<Row>& rows) {
  rows.push_back({.work = "one log line that survives SIGKILL",
                  .ours = "log/ours/0/real_time",
                  .peer = "log/spdlog_flushed/0/real_time",
                  .peer_name = "spdlog, flushed at each line",
                  .aim = AtMostOneOf(3),
                  .reason = kDiskFlush,
                  .is_headline = true});
  rows.push_back({.work = "one log line; the peer's may be lost in a crash",
                  .ours = "log/ours/0/real_time",
                  .peer = "log/spdlog/0/real_time",
                  .peer_name = "spdlog, unflushed",
                  .aim = AtMost(1),
                  .reason = kLogCut});
  const char kInMemory[] = "the same in memory, where no flush waits for a disk";
  rows.push_back({.work = kInMemory,
                  .ours = "log/ours/1/real_time",
                  .peer = "log/spdlog_flushed/1/real_time",
                  .peer_name = "spdlog, flushed at each line",
                  .aim = kInforms});
  rows.push_back({.work = kInMemory,
                  .ours = "log/ours/1/real_time",
                  .peer = "log/spdlog/1/real_time",
                  .peer_name = "spdlog, unflushed",
                  .aim = kInforms});
}

void AddTasksAndSignals(std::vector<Row>& rows) {
  rows.push_back({.work = "post a task and see it run",
                  .ours = "post/ours/1/real_time",
                  .peer = "post/asio/1/real_time",
                  .peer_name = "`boost::asio::post`",
                  .aim = AtMost(1.5),
                  .reason = kWakeUp,
                  .is_headline = true});
  rows.push_back({.work = "post 1000 tasks and see the last run",
                  .ours = "post/ours/1000/real_time",
                  .peer = "post/asio/1000/real_time",
                  .peer_name = "`boost::asio::post`",
                  .aim = AtMost(1)});
  for (const std::string slots : {"0", "1", "3"}) {
    rows.push_back({.work = "emit to " + slots + (slots == "1" ? " slot" : " slots"),
                    .ours = "emit/ours/" + slots,
                    .peer = "emit/signals2/" + slots,
                    .peer_name = "Boost.Signals2",
                    .aim = AtMostOneOf(2),
                    .is_headline = slots == "3"});
  }
}

void AddLinkAddresses(std::vector<Row>& rows) {
  for (const std::string hosts : {"3", "100", "10000"}) {
    rows.push_back({.work = "`GetLinkAddress`, " + hosts + " hosts",
                    .ours = "link/ours/" + hosts + "/real_time",
                    .peer = "link/log_lines/" + hosts + "/real_time",
                    .peer_name = "its log lines alone",
                    .aim = AtMost(2),
                    .is_headline = hosts == "100"});
  }
  rows.push_back({.work = "`GetLinkAddress`, 16 threads at once, per call",
                  .ours = "ask/ours/16/iterations:2/manual_time",
                  .peer = "ask/ours/1/iterations:2/manual_time",
                  .peer_name = "one thread",
                  .aim = AtMost(1),
                  .reason = kFlushConvoy});
}

void AddTransfers(std::vector<Row>& rows) {
  for (const std::string scheme : {"http", "https"}) {
    const std::string number = scheme == "http" ? "0" : "1";
    rows.push_back({.work = "one transfer, " + scheme,
                    .ours = "transfer/ours/" + number + "/manual_time",
                    .peer = "transfer/libcurl/" + number + "/real_time",
                    .peer_name = "a bare libcurl easy handle",
                    .aim = AtMost(1.1),
                    .reason = kHandOver,
                    .is_headline = scheme == "https"});
    rows.push_back({.work = "60 transfers, 12 at once, " + scheme,
                    .ours = "at-once/ours/" + number + "/real_time",
                    .peer = "at-once/libcurl/" + number + "/manual_time",
                    .peer_name = "12 threads with libcurl easy handles",
                    .aim = {1 / 0.95, 0, "at least 0.95 of its throughput"},
                    .reason = kHandOver});
  }
}

void AddFailOver(std::vector<Row>& rows) {
  rows.push_back({.work = "fail over from 1 to 5 URLs that refuse, the worst of them",
                  .ours = "fail-over/refuse/iterations:1/manual_time",
                  .peer = "",
                  .peer_name = "no wait",
                  .aim = AtMostMsOver(10),
                  .is_headline = true});
  rows.push_back({.work = "fail over from 1 to 5 URLs that stay silent, beyond the client's wait",
                  .ours = "fail-over/silent/iterations:1/manual_time",
                  .peer = "",
                  .peer_name = "the client's wait of 2000 ms per URL",
                  .aim = AtMostMsOver(10)});
  rows.push_back({.work = "fail over from 1 to 5 URLs that answer 500",
                  .ours = "fail-over/500/iterations:1/manual_time",
                  .peer = "",
                  .peer_name = "no wait",
                  .aim = AtMostMsOver(10)});
}

void AddStart(std::vector<Row>& rows) {
  const std::string once = "/iterations:10/manual_time";
  for (const std::string source : {"cache", "defaults"}) {
    const std::string work = "process start to first address, from the " + source;
    const std::string ours = "start/" + source;
    const std::string from_main = ours + "_from_main";
    rows.push_back({.work = work,
                    .ours = ours + once,
                    .peer = "start/four_threads" + once,
                    .peer_name = "the start of four threads with a task loop",
                    .aim = AtMostMsOver(3),
                    .reason = kStart,
                    .is_headline = source == "cache"});
    rows.push_back({.work = work + ", once the system has loaded it",
                    .ours = from_main + once,
                    .peer = "start/four_threads" + once,
                    .peer_name = "the start of four threads with a task loop",
                    .aim = kInforms});
  }
}

void AddTimeline(std::vector<Row>& rows) {
  rows.push_back({.work = "write the page of a log of 8 MiB, and draw it in Chromium",
                  .ours = "timeline/draw/iterations:1/manual_time",
                  .peer = "",
                  .aim = {1, 3000 * kNsPerMs, "at most 3 s"}});
}

}  // namespace

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  AddLog(rows);
  AddTasksAndSignals(rows);
  AddLinkAddresses(rows);
  AddTransfers(rows);
  AddFailOver(rows);
  AddStart(rows);
  AddText(rows);
  AddTimeline(rows);
  return rows;
}

}  // namespace bench
