// Runs a fuzz target over its corpus without libFuzzer, as a test:
//   NAME_replay FOLDER [--seeds-only | PART PARTS]
// Each seed of the folder runs as it is, cut at each byte, and with one bit of each byte flipped.
// With PARTS, runs only every PARTS-th of these inputs, beginning at number PART.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/decimal.h"
#include "fuzz/expect.h"

// Only some targets have one.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int*, char***);

namespace {

char current_input[512];
int inputs = 0;
int part = 0;
int parts = 1;

void PrintCurrentInput(int) {
  ::write(STDERR_FILENO, current_input, std::strlen(current_input));
}

void Run(const std::string& label, const std::string& bytes) {
  if (inputs++ % parts != part) {
    return;
  }
  std::snprintf(current_input, sizeof current_input, "input: %s\n", label.c_str());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

void RunDamaged(const std::string& name, const std::string& seed) {
  constexpr size_t kBits = 8;
  const std::string cut_at = name + ", cut at byte ";
  const std::string changed_at = name + ", changed at byte ";
  for (size_t i = 0; i < seed.size(); ++i) {
    Run(cut_at + std::to_string(i), seed.substr(0, i));
    std::string changed = seed;
    changed[i] = static_cast<char>(changed[i] ^ (1 << (i % kBits)));
    Run(changed_at + std::to_string(i), changed);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    return 2;
  }
  const bool seeds_only = argc == 3 && std::strcmp(argv[2], "--seeds-only") == 0;
  if (argc == 4) {
    part = zo_base::WholeNumber<int>(argv[2]).value();
    parts = zo_base::WholeNumber<int>(argv[3]).value();
  }
  // A failed expectation aborts.
  std::signal(SIGABRT, PrintCurrentInput);
  if (LLVMFuzzerInitialize != nullptr) {
    LLVMFuzzerInitialize(&argc, &argv);
  }
  std::vector<std::filesystem::path> seeds(std::filesystem::directory_iterator(argv[1]), {});
  std::sort(seeds.begin(), seeds.end());
  for (const std::filesystem::path& path : seeds) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // shows the seed after a crash or a hang
    std::ifstream file(path, std::ios::binary);
    const std::string seed{std::istreambuf_iterator<char>(file), {}};
    Run(path.filename(), seed);
    if (!seeds_only) {
      RunDamaged(path.filename(), seed);
    }
  }
  return seeds.empty() ? 1 : 0;  // an empty corpus tests nothing
}
