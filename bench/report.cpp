// Writes the results:
//   sturdy_bench_report RUN.json FOOTPRINT.json OUT.md OUT.json README
// OUT.md gets all rows, the README the headline rows (between its markers), OUT.json the numbers.
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/rows.h"

namespace {

using nlohmann::json;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error("can't read " + path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  if (!(file << text).flush()) {
    throw std::runtime_error("can't write " + path);
  }
}

double UnitNs(const std::string& unit) {
  static const auto* const units =
      new std::map<std::string, double>{{"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s", 1e9}};
  return units->at(unit);
}

// Medians by the names of their benchmarks.
std::map<std::string, json> Medians(const json& run) {
  std::map<std::string, json> medians;
  for (const json& result : run.at("benchmarks")) {
    if (result.value("aggregate_name", "") == "median") {
      medians[result.at("run_name")] = result;
    }
  }
  return medians;
}

// Uses processor time, which a busy machine doesn't stretch, for work that waits for nothing.
double TimeNs(const std::map<std::string, json>& medians, const std::string& name) {
  const auto found = medians.find(name);
  if (found == medians.end()) {
    throw std::runtime_error("the run has no benchmark " + name);
  }
  const bool is_real =
      name.find("real_time") != std::string::npos || name.find("manual_time") != std::string::npos;
  return found->second.at(is_real ? "real_time" : "cpu_time").get<double>() *
         UnitNs(found->second.at("time_unit").get<std::string>());
}

std::string Print(double value, int decimals) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
  return text.data();
}

int DecimalsOfThreeDigits(double value) {
  if (value < 10) {
    return 2;
  }
  return value < 100 ? 1 : 0;
}

// Prints three digits and the unit that suits.
std::string Time(double ns) {
  struct Unit {
    double ns;
    const char* name;
  };
  for (const Unit unit : {Unit{1e9, " s"}, Unit{1e6, " ms"}, Unit{1e3, " µs"}}) {
    if (ns >= unit.ns) {
      const double value = ns / unit.ns;
      return Print(value, DecimalsOfThreeDigits(value)) + unit.name;
    }
  }
  return Print(ns, DecimalsOfThreeDigits(ns)) + " ns";
}

constexpr char kTableHead[] =
    "| work | ours | peer or limit | its time | ratio | aim | reached |\n"
    "|---|---:|---|---:|---:|---|---|\n";

struct Table {
  std::string all = kTableHead;
  std::string headlines = kTableHead;
  // The missed aims in the order of their first row. A reason that several rows share is one item.
  std::vector<std::pair<std::string, std::string>> works_by_reason;
  json rows = json::array();
};

void AddMissed(Table& table, const bench::Row& row) {
  const std::string reason = row.reason.empty() ? "missed in this run alone." : row.reason;
  const auto same = std::find_if(table.works_by_reason.begin(), table.works_by_reason.end(),
                                 [&reason](const auto& entry) { return entry.first == reason; });
  if (same == table.works_by_reason.end()) {
    table.works_by_reason.emplace_back(reason, "**" + row.work + "**");
  } else {
    same->second += "; **" + row.work + "**";
  }
}

Table MakeTable(const std::map<std::string, json>& medians) {
  Table table;
  for (const bench::Row& row : bench::AllRows()) {
    const double ours_ns = TimeNs(medians, row.ours);
    const double peer_ns = row.peer.empty() ? 0 : TimeNs(medians, row.peer);
    const bool is_aimed = row.aim.factor > 0;
    const bool is_reached = ours_ns <= row.aim.factor * peer_ns + row.aim.plus_ns;
    const std::string ratio = peer_ns > 0 ? Print(ours_ns / peer_ns, 2) : "";
    const std::string line = "| " + row.work + " | " + Time(ours_ns) + " | " + row.peer_name +
                             " | " + (peer_ns > 0 ? Time(peer_ns) : "") + " | " + ratio + " | " +
                             row.aim.text + " | " +
                             (!is_aimed    ? ""
                              : is_reached ? "yes"
                                           : "no") +
                             " |\n";
    table.all += line;
    table.headlines += row.is_headline ? line : "";
    if (is_aimed && !is_reached) {
      AddMissed(table, row);
    }
    table.rows.push_back({{"work", row.work},
                          {"ours_ns", ours_ns},
                          {"peer", row.peer_name},
                          {"peer_ns", peer_ns},
                          {"aim", row.aim.text},
                          {"reached", is_aimed ? json(is_reached) : json()}});
  }
  return table;
}

std::string Processor() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("model name", 0) == 0) {
      return line.substr(line.find(':') + 2);
    }
  }
  return "unknown processor";
}

// Describes the machine without its name and its folders.
json Machine(const json& run) {
  utsname system{};
  uname(&system);
  const json& context = run.at("context");
  return {{"processor", Processor()},
          {"processors", context.at("num_cpus")},
          {"mhz", context.at("mhz_per_cpu")},
          {"system", std::string(system.sysname) + " " + system.release},
          {"compiler", std::string("g++ ") + __VERSION__},
          {"date", context.at("date")}};
}

struct FootprintRow {
  std::string what;
  const char* key;
  int64_t divisor;
  const char* unit;
  int64_t aim;  // at most so much, in the printed unit; -1: none
};

std::string FootprintTable(const json& footprint) {
  const std::vector<FootprintRow> rows = {
      {"system calls for 1000 log lines while the buffer has room", "calls_per_1000_lines", 1, "",
       0},
      {"size of the stripped library", "library_bytes", 1024, " KiB", 560},
      {"resident memory that a start and 10 fetches add, with all that they load", "resident_kib",
       1, " KiB", -1},
      {"threads of a started environment", "threads", 1, "", -1},
      {"open descriptors of a started environment", "descriptors", 1, "", -1},
      {"wake-ups of an idle environment in 10 s, over all its threads", "wake_ups", 1, "", 0},
      {"bytes written to disk per fetch", "fetch_bytes", 1, "", -1}};
  std::string table = "| what | how much | aim | reached |\n|---|---:|---|---|\n";
  for (const FootprintRow& row : rows) {
    const int64_t value = footprint.at(row.key).get<int64_t>();
    const std::string unit = row.unit;
    table += "| " + row.what + " | " +
             Print(static_cast<double>(value) / static_cast<double>(row.divisor), 0) + unit + " | ";
    if (row.aim >= 0) {
      table += "at most " + std::to_string(row.aim) + unit + " | " +
               (value >= 0 && value <= row.aim * row.divisor ? "yes" : "no") + " |\n";
    } else {
      table += "| |\n";
    }
  }
  return table;
}

std::string Notes(const std::map<std::string, json>& medians) {
  const double least = medians.at("ask/ours/16/iterations:2/manual_time").at("least").get<double>();
  const double to_main_ns =
      medians.at("start/cache/iterations:10/manual_time").at("to_main_ns").get<double>();
  return "- With a log level that drops its lines, `GetLinkAddress` takes " +
         Time(TimeNs(medians, "link/unlogged/3/real_time")) + " with 3 hosts and " +
         Time(TimeNs(medians, "link/unlogged/10000/real_time")) +
         " with 10,000.\n"
         "- Of 16 threads that ask at once the slowest got " +
         Print(least, 2) +
         " of an even share.\n"
         "- The system takes " +
         Time(to_main_ns) +
         " from process start to the client's first line, to load the program and its libraries.\n";
}

std::string Between(const std::string& text, const std::string& table) {
  const std::string begin = "<!-- benchmarks: written by scripts/bench -->\n";
  const std::string end = "<!-- end of benchmarks -->";
  const size_t from = text.find(begin);
  const size_t to = text.find(end);
  if (from == std::string::npos || to == std::string::npos) {
    throw std::runtime_error("the README has no markers for the benchmarks");
  }
  return text.substr(0, from + begin.size()) + "\n" + table + "\n" + text.substr(to);
}

void Report(char** paths) {
  const json run = json::parse(ReadFile(paths[0]));
  const json footprint = json::parse(ReadFile(paths[1]));
  const auto medians = Medians(run);
  const Table table = MakeTable(medians);
  const json machine = Machine(run);
  std::ostringstream text;
  text << "# Benchmarks\n\nWritten by `scripts/bench`; docs/benchmarks.json has the numbers. "
          "All rows come from one run, in which the benchmarks take turns at random. The times are "
          "medians of "
       << medians.at("url/ours").at("repetitions") << " repetitions.\n\n"
       << "Machine: " << machine.at("processor").get<std::string>() << ", "
       << machine.at("processors") << " processors, " << machine.at("system").get<std::string>()
       << ", " << machine.at("compiler").get<std::string>() << ".\n\n"
       << table.all << "\n## Notes\n\n"
       << Notes(medians) << "\n";
  if (!table.works_by_reason.empty()) {
    text << "## Missed aims\n\n";
    for (const auto& [reason, works] : table.works_by_reason) {
      text << "- " << works << ": " << reason << "\n";
    }
    text << "\n";
  }
  text << "## Footprint\n\n" << FootprintTable(footprint);
  WriteFile(paths[2], text.str());
  const json numbers = {{"machine", machine}, {"rows", table.rows}, {"footprint", footprint}};
  WriteFile(paths[3], numbers.dump(2) + "\n");
  WriteFile(paths[4], Between(ReadFile(paths[4]), table.headlines));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::cerr << "usage: sturdy_bench_report RUN.json FOOTPRINT.json OUT.md OUT.json README\n";
    return 2;
  }
  try {
    Report(argv + 1);
  } catch (const std::exception& error) {
    std::cerr << "sturdy_bench_report: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
