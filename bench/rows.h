#pragma once

#include <string>
#include <vector>

namespace bench {

// A row of the table: two benchmarks of one run, and the aim.
struct Row {
  std::string work;
  std::string ours;
  std::string peer;       // name of the benchmark; empty for an absolute limit
  std::string peer_name;  // as a reader knows it
  // The aim is ours <= factor * peer + plus_ns. A factor of 0: the row only informs.
  double factor;
  double plus_ns;
  std::string aim;
  // Explains, by a profile, why the aim may be missed.
  std::string reason;
  // The README shows these rows, one per discipline.
  bool is_headline = false;
};

std::vector<Row> AllRows();

}  // namespace bench
