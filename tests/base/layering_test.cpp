#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

// The folder list is the architecture: this reads every include line of the tree and holds it to
// that list.

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = STURDY_SOURCE_DIR;

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

std::string ReadAll(const fs::path& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

struct SourceFile {
  std::vector<std::string> own;     // "..." includes, as written
  std::vector<std::string> system;  // <...> includes
};

// Adds what an include line names; other lines add nothing.
void AddInclude(const std::string& line, SourceFile& file) {
  const std::string mark = "#include";
  const size_t at = line.find(mark);
  const size_t open = line.find_first_of("<\"", at + mark.size());
  if (at == std::string::npos || line.find_first_not_of(" \t") != at || open == std::string::npos) {
    return;
  }
  const bool system = line[open] == '<';
  const std::string written =
      line.substr(open + 1, line.find(system ? '>' : '"', open + 1) - open - 1);
  (system ? file.system : file.own).push_back(written);
}

// By path from the root.
std::map<std::string, SourceFile> ReadTree() {
  std::map<std::string, SourceFile> tree;
  for (const char* folder :
       {"include", "base", "net", "network", "src", "lab", "tools", "tests", "examples", "fuzz"}) {
    if (!fs::exists(kRoot / folder)) {
      continue;
    }
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
      const std::string extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp" && extension != ".in") {
        continue;
      }
      SourceFile& file = tree[entry.path().lexically_relative(kRoot)];
      std::ifstream in(entry.path());
      for (std::string line; std::getline(in, line);) {
        AddInclude(line, file);
      }
    }
  }
  return tree;
}

const std::map<std::string, SourceFile>& Tree() {
  static const auto* tree = new std::map<std::string, SourceFile>(ReadTree());
  return *tree;
}

// Where an include as written lies in the tree; empty if it isn't ours.
std::string Resolve(const std::string& written) {
  for (const std::string folder : {"", "include/", "src/"}) {
    for (const std::string suffix : {"", ".in"}) {
      if (Tree().count(folder + written + suffix) != 0) {
        return folder + written + suffix;
      }
    }
  }
  return "";
}

// Numbers and texts that are set at build time: they belong to no layer.
bool IsBuiltInValues(const std::string& path) {
  return path == "src/sturdy/built_in_values.h.in";
}

std::string TopFolder(const std::string& path) {
  return path.substr(0, path.find('/'));
}

TEST(Layering, IncludesOnlyPointDown) {
  const std::map<std::string, std::set<std::string>> may_include = {
      {"include", {"include"}},
      {"base", {"include", "base"}},
      {"net", {"include", "base", "net"}},
      {"network", {"include", "base", "net", "network"}},
      {"src", {"include", "base", "net", "network", "src"}},
      {"lab", {"include", "lab"}},
  };
  for (const auto& [path, file] : Tree()) {
    const auto rule = may_include.find(TopFolder(path));
    for (const std::string& written : file.own) {
      const std::string target = Resolve(written);
      EXPECT_FALSE(target.empty()) << path << " includes \"" << written << "\", which isn't there";
      if (rule != may_include.end() && !target.empty() && !IsBuiltInValues(target)) {
        EXPECT_EQ(rule->second.count(TopFolder(target)), 1u) << path << " includes " << target;
      }
    }
  }
}

bool IsOfTheSystem(const std::string& header) {
  static const char* const kFolders[] = {"sys/", "netinet/", "arpa/", "net/", "linux/", "asm/"};
  static const char* const kHeaders[] = {
      "csignal", "dirent.h", "dlfcn.h",   "fcntl.h",   "netdb.h",  "poll.h",      "pthread.h",
      "sched.h", "signal.h", "syscall.h", "termios.h", "unistd.h", "semaphore.h", "windows.h"};
  return std::any_of(std::begin(kFolders), std::end(kFolders),
                     [&](const char* folder) { return StartsWith(header, folder); }) ||
         std::find(std::begin(kHeaders), std::end(kHeaders), header) != std::end(kHeaders);
}

TEST(Layering, TheSystemHasItsRooms) {
  for (const auto& [path, file] : Tree()) {
    const std::string top = TopFolder(path);
    if (top == "tests" || top == "tools" || top == "lab") {
      continue;
    }
    const bool room = StartsWith(path, "base/platform/") || StartsWith(path, "network/platform/") ||
                      StartsWith(path, "net/resolver") || StartsWith(path, "net/sock_addr");
    for (const std::string& written : file.system) {
      EXPECT_TRUE(room || !IsOfTheSystem(written)) << path << " includes <" << written << ">";
      EXPECT_TRUE(StartsWith(path, "network/platform/") || !StartsWith(written, "curl/"))
          << path << " includes <" << written << ">";
    }
  }
}

// Depth first; a file that is met again while its own includes are followed closes a circle.
void Follow(const std::string& path, std::vector<std::string>& road, std::set<std::string>& done) {
  if (done.count(path) != 0) {
    return;
  }
  const auto met = std::find(road.begin(), road.end(), path);
  if (met != road.end()) {
    std::string circle;
    for (auto step = met; step != road.end(); ++step) {
      circle += *step + " -> ";
    }
    ADD_FAILURE() << "circle: " << circle << path;
    return;
  }
  road.push_back(path);
  const auto file = Tree().find(path);
  if (file != Tree().end()) {
    for (const std::string& written : file->second.own) {
      Follow(Resolve(written), road, done);
    }
  }
  road.pop_back();
  done.insert(path);
}

TEST(Layering, HasNoCircles) {
  std::set<std::string> done;
  for (const auto& entry : Tree()) {
    std::vector<std::string> road;
    Follow(entry.first, road, done);
  }
}

TEST(Layering, EverySourceIsBuilt) {
  for (const auto& entry : Tree()) {
    const fs::path path = kRoot / entry.first;
    if (path.extension() != ".cpp") {
      continue;
    }
    bool named = false;
    for (fs::path folder = path.parent_path(); !named && folder != kRoot.parent_path();
         folder = folder.parent_path()) {
      named = ReadAll(folder / "CMakeLists.txt").find(path.filename()) != std::string::npos;
    }
    EXPECT_TRUE(named) << entry.first << " is in no CMakeLists.txt";
  }
}

}  // namespace
