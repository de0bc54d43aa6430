#pragma once

#include <string>
#include <vector>

namespace bench {

// One line of the table: two benchmarks of one run, and what is aimed at.
struct Row {
  std::string work;
  std::string ours;
  std::string peer;       // of the benchmark; empty for an absolute limit
  std::string peer_name;  // as a reader knows it
  // The aim is ours <= factor * peer + plus_ns. A factor of 0: the row only informs.
  double factor;
  double plus_ns;
  std::string aim;
  // Why the aim isn't reached, should it not be: what a profile says.
  std::string reason;
};

std::vector<Row> AllRows();

}  // namespace bench
