#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
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

// By path from the root.
std::map<std::string, SourceFile> ReadTree() {
  const std::regex include("^\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"]");
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
        std::smatch match;
        if (std::regex_search(line, match, include)) {
          (match[1] == "<" ? file.system : file.own).push_back(match[2]);
        }
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
  for (const std::string prefix : {"", "include/", "src/", "src/sturdy/environment/"}) {
    for (const std::string suffix : {"", ".in"}) {
      if (Tree().count(prefix + written + suffix) != 0) {
        return prefix + written + suffix;
      }
    }
  }
  // Made by the build from a file of the environment.
  if (written == "sturdy/built_in_values.h") {
    return "src/sturdy/environment/built_in_values.h.in";
  }
  return "";
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
      if (rule != may_include.end() && !target.empty() &&
          !StartsWith(target, "src/sturdy/environment/built_in_values")) {
        EXPECT_EQ(rule->second.count(TopFolder(target)), 1u) << path << " includes " << target;
      }
    }
  }
}

TEST(Layering, TheSystemHasItsRooms) {
  const std::regex of_the_system(
      "(sys|netinet|arpa|net|linux)/.*|"
      "(unistd|fcntl|pthread|dlfcn|signal|csignal|netdb|poll|dirent|sched|windows|semaphore)(\\.h)"
      "?");
  const std::regex of_curl("curl/.*");
  for (const auto& [path, file] : Tree()) {
    const std::string top = TopFolder(path);
    if (top == "tests" || top == "tools" || top == "lab") {
      continue;
    }
    const bool room = StartsWith(path, "base/platform/") || StartsWith(path, "network/platform/") ||
                      StartsWith(path, "net/resolver");
    for (const std::string& written : file.system) {
      EXPECT_TRUE(room || !std::regex_match(written, of_the_system))
          << path << " includes <" << written << ">";
      EXPECT_TRUE(StartsWith(path, "network/platform/") || !std::regex_match(written, of_curl))
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

TEST(Layering, EverySourceAndTestIsBuilt) {
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
