// Writes the results down:
//   sturdy_bench_report RUN.json FOOTPRINT.json OUT.md OUT.json README
// The table goes to OUT.md and between the marks of the README, the numbers to OUT.json.
#include <sys/utsname.h>

#include <array>
#include <cmath>
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

// Work that waits for nothing is told in processor time, which a busy machine doesn't stretch.
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

// Three digits with the unit that suits.
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

struct Table {
  std::string text;
  std::string reasons;
  json rows = json::array();
};

Table MakeTable(const std::map<std::string, json>& medians) {
  Table table;
  table.text =
      "| work | ours | peer or limit | its time | ratio | aim | reached |\n"
      "|---|---:|---|---:|---:|---|---|\n";
  for (const bench::Row& row : bench::AllRows()) {
    const double ours_ns = TimeNs(medians, row.ours);
    const double peer_ns = row.peer.empty() ? 0 : TimeNs(medians, row.peer);
    const bool is_aimed = row.factor > 0;
    const bool is_reached = ours_ns <= row.factor * peer_ns + row.plus_ns;
    const std::string ratio = peer_ns > 0 ? Print(ours_ns / peer_ns, 2) : "";
    table.text += "| " + row.work + " | " + Time(ours_ns) + " | " + row.peer_name + " | " +
                  (peer_ns > 0 ? Time(peer_ns) : "") + " | " + ratio + " | " + row.aim + " | " +
                  (!is_aimed    ? ""
                   : is_reached ? "yes"
                                : "no") +
                  " |\n";
    if (is_aimed && !is_reached) {
      table.reasons += "- **" + row.work +
                       "**: " + (row.reason.empty() ? "missed in this run alone." : row.reason) +
                       "\n";
    }
    table.rows.push_back({{"work", row.work},
                          {"ours_ns", ours_ns},
                          {"peer", row.peer_name},
                          {"peer_ns", peer_ns},
                          {"aim", row.aim},
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

// What the numbers depend on, without the names of the machine and its folders.
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

std::string FootprintTable(const json& footprint) {
  const auto number = [&](const char* name) {
    return std::to_string(footprint.at(name).get<int64_t>());
  };
  return "| what | how much | aim |\n|---|---:|---|\n"
         "| system calls for 1000 log lines while the buffer has room | " +
         number("calls_per_1000_lines") +
         " | 0 |\n"
         "| size of the stripped library | " +
         Print(footprint.at("library_bytes").get<double>() / 1024, 0) +
         " KiB | |\n"
         "| resident memory that a start and 10 fetches add, with all that they load | " +
         number("resident_kib") +
         " KiB | |\n"
         "| threads of a started environment | " +
         number("threads") +
         " | |\n"
         "| descriptors that it holds | " +
         number("descriptors") +
         " | |\n"
         "| wake-ups of an idle environment in 10 s, over all its threads | " +
         number("wake_ups") +
         " | 0 |\n"
         "| bytes written to disk per fetch | " +
         number("fetch_bytes") + " | |\n";
}

std::string Notes(const std::map<std::string, json>& medians) {
  const double per_host =
      (TimeNs(medians, "link/ours/10000/real_time") - TimeNs(medians, "link/ours/100/real_time")) /
      (10000 - 100);
  const double rest_many = TimeNs(medians, "link/ours/10000/real_time") -
                           TimeNs(medians, "link/log_lines/10000/real_time");
  const double rest_few =
      TimeNs(medians, "link/ours/3/real_time") - TimeNs(medians, "link/log_lines/3/real_time");
  const double least = medians.at("ask/ours/16/iterations:2/manual_time").at("least").get<double>();
  const std::string once = "/iterations:10/manual_time";
  const double to_main_ns =
      TimeNs(medians, "start/cache" + once) - TimeNs(medians, "start/cache_from_main" + once);
  return "- `GetLinkAddress` builds one text of the whole list, for a line of its log that the "
         "level drops. That costs " +
         Print(per_host, 1) + " ns per host. What it does beside its log lines takes " +
         Time(std::abs(rest_few)) +
         " with 3 hosts; with 10,000 the difference to the lines alone is " +
         (rest_many < 0 ? "-" : "") + Time(std::abs(rest_many)) +
         ", so nothing else grows with the list.\n"
         "- Of 16 threads that ask at once the one served least got " +
         Print(least, 2) +
         " of an even share.\n"
         "- Of the time from process start to the first address " +
         Time(to_main_ns) +
         " go by before the client's first line: the system loads the program and its libraries.\n";
}

std::string Between(const std::string& text, const std::string& table) {
  const std::string begin = "<!-- benchmarks: written by scripts/bench -->\n";
  const std::string end = "<!-- end of benchmarks -->";
  const size_t from = text.find(begin);
  const size_t to = text.find(end);
  if (from == std::string::npos || to == std::string::npos) {
    throw std::runtime_error("the README has no marks for the benchmarks");
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
          "Every row comes from one run, in which all benchmarks take turns at random; the times "
          "are medians of "
       << medians.at("url/ours").at("repetitions") << " repetitions.\n\n"
       << "Machine: " << machine.at("processor").get<std::string>() << ", "
       << machine.at("processors") << " processors, " << machine.at("system").get<std::string>()
       << ", " << machine.at("compiler").get<std::string>() << ".\n\n"
       << table.text << "\n## Beside the table\n\n"
       << Notes(medians) << "\n";
  if (!table.reasons.empty()) {
    text << "## Aims that are not reached\n\n" << table.reasons << "\n";
  }
  text << "## Footprint\n\n" << FootprintTable(footprint);
  WriteFile(paths[2], text.str());
  const json numbers = {{"machine", machine}, {"rows", table.rows}, {"footprint", footprint}};
  WriteFile(paths[3], numbers.dump(2) + "\n");
  WriteFile(paths[4], Between(ReadFile(paths[4]), table.text));
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
