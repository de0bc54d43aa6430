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
  const std::vector<std::string> posix_rooms = {"base/platform/posix/", "net/platform/posix/",
                                                "network/platform/curl/", "lab/platform/posix/",
                                                "tools/platform/posix/"};
  const std::vector<std::string> windows_rooms = {
      "base/platform/windows/", "net/platform/windows/", "network/platform/winhttp/",
      "lab/platform/windows/", "tools/platform/windows/"};
  const std::vector<std::string> of_posix = {
      "<sys/",    "<netinet/",   "<arpa/",   "<net/",     "<linux/",   "<csignal",  "<dirent.h",
      "<dlfcn.h", "<netdb.h",    "<poll.h",  "<pthread.", "<sched.h",  "<signal.h", "<unistd.h",
      "<spawn.h", "<semaphore.", "<syscall", "<termios",  "<ifaddrs.h"};
  const std::vector<std::string> of_windows = {
      "<windows.", "<winhttp.", "<winsock2.", "<ws2tcpip.", "<mswsock.", "<bcrypt.",
      "<sddl.",    "<io.h",     "<shellapi.", "<winternl.", "<tlhelp32."};
  for (const auto& [path, includes] : Tree()) {
    const bool rim = Starts(path, {"lab/", "tools/", "tests/", "fuzz/"});
    const bool free = Starts(path, {"tests/", "fuzz/"});
    const bool in_posix = free || Starts(path, posix_rooms);
    const bool in_windows = free || Starts(path, windows_rooms);
    EXPECT_NE(rim, level(path) != layers.end()) << path << " is in no layer";
    for (const std::string& include : includes) {
      // Ours begin at the root, except the public header.
      const std::string target =
          (include == "\"sturdy/sturdy.h" ? "include/" : "") + include.substr(1);
      EXPECT_TRUE(include[0] == '<' || level(target) <= level(path)) << path << include;
      EXPECT_TRUE(include[0] == '<' || !path.starts_with("lab/") ||
                  Starts(target, {"include/", "lab/"}))
          << path << include;
      EXPECT_TRUE(in_posix || !Starts(include, of_posix)) << path << include;
      EXPECT_TRUE(in_windows || !Starts(include, of_windows)) << path << include;
      // Both systems have it.
      EXPECT_TRUE(in_posix || in_windows || !Starts(include, {"<fcntl.h"})) << path << include;
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
