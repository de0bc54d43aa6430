#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

// Holds every include line of the tree to the layers of docs/architecture.md, and the sources to
// other rules that no compiler checks.

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = STURDY_SOURCE_DIR;

bool Starts(const std::string& text, const std::vector<std::string>& starts) {
  return std::any_of(starts.begin(), starts.end(),
                     [&](const std::string& start) { return text.starts_with(start); });
}

std::string Read(const fs::path& path) {
  std::ifstream in(kRoot / path);
  return std::string{std::istreambuf_iterator<char>(in), {}};
}

// All files by their paths from the root, each with its includes: ours as "text, the system's as
// <text.
const std::map<std::string, std::vector<std::string>>& Tree() {
  static const auto* tree = [] {
    auto* made = new std::map<std::string, std::vector<std::string>>;
    for (const char* top :
         {"include", "base", "net", "network", "src", "lab", "tools", "tests", "fuzz"}) {
      for (const auto& entry : fs::recursive_directory_iterator(kRoot / top)) {
        if (Starts(entry.path().extension(), {".h", ".cpp", ".in"})) {
          std::ifstream in(entry.path());
          auto& includes = (*made)[entry.path().lexically_relative(kRoot)];
          for (std::string line; std::getline(in, line);) {
            if (Starts(line, {"#include \"", "#include <"})) {
              includes.push_back(line.substr(9, line.find_first_of("\">", 10) - 9));
            }
          }
        }
      }
    }
    return made;
  }();
  return *tree;
}

TEST(Layering, IncludesPointDownAndSystemHeadersStayInTheirRooms) {
  const std::vector<std::string> layers = {"include/",
                                           "base/",
                                           "net/",
                                           "network/",
                                           "src/sturdy/config/",
                                           "src/sturdy/http_agent/http_dns/",
                                           "src/sturdy/http_agent/http_tools/",
                                           "src/sturdy/http_agent/logic/",
                                           "src/business/",
                                           "src/sturdy/environment/"};
  // The rim is above all of them.
  const auto level = [&](const std::string& path) {
    return std::find_if(layers.begin(), layers.end(),
                        [&](const std::string& layer) { return path.starts_with(layer); });
  };
  // The rooms, which alone may include any header of a system.
  const std::regex posix_room("/platform/(posix|curl)/|/tls/openssl/");
  const std::regex windows_room("/platform/(windows|winhttp)/");
  for (const auto& [path, includes] : Tree()) {
    const bool rim = Starts(path, {"lab/", "tools/", "tests/", "fuzz/"});
    const bool free = Starts(path, {"tests/", "fuzz/"});
    const bool in_posix = free || std::regex_search(path, posix_room);
    const bool in_windows = free || std::regex_search(path, windows_room);
    const bool in_room = in_posix || in_windows;
    EXPECT_NE(rim, level(path) != layers.end()) << path << " is in no layer";
    EXPECT_TRUE(in_room || path == "include/sturdy/sturdy.h" ||
                !std::regex_search(Read(path), std::regex("_WIN32|__MINGW|__linux|__unix")))
        << path << " names a system";
    for (const std::string& include : includes) {
      // Ours begin at the root, except the public header.
      const std::string target =
          (include == "\"sturdy/sturdy.h" ? "include/" : "") + include.substr(1);
      EXPECT_TRUE(include[0] == '<' || level(target) <= level(path)) << path << include;
      EXPECT_TRUE(include[0] == '<' || !path.starts_with("lab/") ||
                  Starts(target, {"include/", "lab/"}))
          << path << include;
      EXPECT_TRUE(in_posix || !std::regex_search(target, posix_room)) << path << include;
      EXPECT_TRUE(in_windows || !std::regex_search(target, windows_room)) << path << include;
      // Headers of the C++ library alone have neither a folder nor an extension.
      EXPECT_TRUE(in_room || include[0] == '"' ||
                  (include != "<csignal" && include.find_first_of("./") == std::string::npos) ||
                  (rim && Starts(include, {"<boost/", "<nlohmann/", "<CLI/"})) ||
                  Starts(include, {"<stddef.h", "<stdint.h", "<ghc/"}))
          << path << include;
      EXPECT_TRUE(free || Starts(path, {"network/platform/curl/"}) || !Starts(include, {"<curl/"}))
          << path << include;
      EXPECT_TRUE(free || !Starts(include, {"<openssl/", "<boost/asio/ssl"}) ||
                  Starts(path, {"base/platform/posix/", "network/platform/curl/",
                                "lab/platform/posix/", "lab/tls/openssl/"}))
          << path << include;
    }
  }
}

TEST(Layering, OnlyTheClockReadsTheTime) {
  const std::regex reading(R"(\w_clock\b|clock_gettime|gettimeofday|timespec_get|\btime\()");
  for (const auto& [path, includes] : Tree()) {
    if (Starts(path, {"include/", "base/", "net/", "network/", "src/"})) {
      EXPECT_EQ(std::regex_search(Read(path), reading), path == "base/thread/clock.cpp") << path;
    }
  }
}

}  // namespace
