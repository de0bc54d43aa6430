#pragma once

#include <string>
#include <vector>

namespace bench {

// The limit that a row's time is to keep: factor * peer + plus_ns. A factor of 0: the row only
// informs.
struct Aim {
  double factor;
  double plus_ns;
  std::string text;
};

// A row of the table: two benchmarks of one run, and the aim.
struct Row {
  std::string work;
  std::string ours;
  std::string peer;         // name of the benchmark; empty for an absolute limit
  std::string peer_name{};  // as a reader knows it; empty if the aim alone says the limit
  Aim aim;
  // Explains, by a profile, why the aim may be missed.
  std::string reason{};
  // The README shows these rows, one per discipline.
  bool is_headline = false;
};

// Returns the rows of the table in their order. The report fails on a name that isn't a benchmark
// of the run.
// Threads: any.
std::vector<Row> AllRows();

}  // namespace bench
