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

// Whether the text begins with one of the given ones.
bool Starts(const std::string& text, const std::vector<std::string>& starts) {
  return std::any_of(starts.begin(), starts.end(), [&](const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
  });
}

// What a file includes: ours as "text", the system's as <text.
using Includes = std::vector<std::string>;

std::map<std::string, Includes> ReadTree() {
  std::map<std::string, Includes> tree;
  for (const char* top :
       {"include", "base", "net", "network", "src", "lab", "tools", "tests", "fuzz"}) {
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / top)) {
      if (std::set<fs::path>{".h", ".cpp", ".in"}.count(entry.path().extension()) == 0) {
        continue;
      }
      Includes& includes = tree[entry.path().lexically_relative(kRoot)];
      std::ifstream in(entry.path());
      for (std::string line; std::getline(in, line);) {
        if (Starts(line, {"#include \"", "#include <"})) {
          includes.push_back(line.substr(9, line.find_first_of("\">", 10) - 9));
        }
      }
    }
  }
  return tree;
}

const std::map<std::string, Includes>& Tree() {
  static const auto* tree = new std::map<std::string, Includes>(ReadTree());
  return *tree;
}

// Where an include of ours lies in the tree; empty if it isn't there.
std::string Resolve(const std::string& include) {
  for (const std::string folder : {"", "include/", "src/"}) {
    for (const std::string suffix : {"", ".in"}) {
      if (const auto path = folder + include.substr(1) + suffix; Tree().count(path) != 0) {
        return path;
      }
    }
  }
  return "";
}

TEST(Layering, IncludesOnlyPointDown) {
  // The values that are set at build time belong to no layer.
  const std::string any = "src/sturdy/built_in_values.h.in";
  const std::map<std::string, std::vector<std::string>> may_include = {
      {"include", {"include/"}},
      {"base", {"include/", "base/", any}},
      {"net", {"include/", "base/", "net/", any}},
      {"network", {"include/", "base/", "net/", "network/", any}},
      {"src", {"include/", "base/", "net/", "network/", "src/"}},
      {"lab", {"include/", "lab/"}},
      {"tools", {""}},
      {"tests", {""}},
      {"fuzz", {""}}};
  for (const auto& [path, includes] : Tree()) {
    for (const std::string& include : includes) {
      const std::string target = Resolve(include);
      EXPECT_TRUE(include[0] == '<' || !target.empty()) << path << " includes " << include;
      EXPECT_TRUE(target.empty() || Starts(target, may_include.at(path.substr(0, path.find('/')))))
          << path << " includes " << target;
    }
  }
}

TEST(Layering, TheSystemAndCurlHaveTheirRooms) {
  const std::vector<std::string> of_the_system = {
      "<sys/",     "<netinet/",   "<arpa/",   "<net/",    "<linux/",   "<csignal",  "<dirent.h",
      "<dlfcn.h",  "<fcntl.h",    "<netdb.h", "<poll.h",  "<pthread.", "<sched.h",  "<signal.h",
      "<unistd.h", "<semaphore.", "<syscall", "<termios", "<windows.", "<ifaddrs.h"};
  for (const auto& [path, includes] : Tree()) {
    const bool rim = Starts(path, {"lab/", "tools/", "tests/", "fuzz/"});
    const bool room =
        Starts(path, {"base/platform/", "network/platform/", "net/resolver", "net/sock_addr"});
    for (const std::string& include : includes) {
      EXPECT_TRUE(rim || room || !Starts(include, of_the_system)) << path << include;
      EXPECT_TRUE(rim || Starts(path, {"network/platform/"}) || !Starts(include, {"<curl/"}))
          << path << " includes " << include;
    }
  }
}

// Files go once all that they include has gone; a circle stays.
TEST(Layering, HasNoCircles) {
  std::map<std::string, std::set<std::string>> left;
  for (const auto& [path, includes] : Tree()) {
    for (const std::string& include : includes) {
      left[path].insert(Resolve(include));
    }
  }
  for (size_t before = left.size() + 1; left.size() < before;) {
    before = left.size();
    for (auto file = left.begin(); file != left.end();) {
      const bool waits = std::any_of(file->second.begin(), file->second.end(),
                                     [&](const auto& include) { return left.count(include) != 0; });
      file = waits ? std::next(file) : left.erase(file);
    }
  }
  for (const auto& entry : left) {
    ADD_FAILURE() << entry.first << " is in a circle, or includes a file that is";
  }
}

TEST(Layering, EverySourceIsBuilt) {
  for (const auto& entry : Tree()) {
    const fs::path path = kRoot / entry.first;
    bool named = path.extension() != ".cpp";
    for (fs::path folder = path; !named && folder != kRoot;) {
      folder = folder.parent_path();
      std::ifstream in(folder / "CMakeLists.txt");
      const std::string lists{std::istreambuf_iterator<char>(in), {}};
      named = lists.find(path.filename()) != std::string::npos;
      // Fuzzers are listed by what they feed.
      const std::string stem = path.stem();
      named = named ||
              (Starts(entry.first, {"fuzz/"}) &&
               lists.find("sturdy_fuzzer(" + stem.substr(0, stem.rfind('_'))) != std::string::npos);
    }
    EXPECT_TRUE(named) << entry.first << " is in no CMakeLists.txt";
  }
}

// A reader of the log finds each tag, and each that stands behind one, in the client's guide.
TEST(Guide, ExplainsEveryTagOfTheLog) {
  const auto read = [](const fs::path& path) {
    std::ifstream in(kRoot / path);
    return std::string{std::istreambuf_iterator<char>(in), {}};
  };
  const std::string guide = read("docs/client-guide.md");
  const std::regex begin(R"(ZO_LOG\(LV_\w+\)\s*<<\s*"((\[[a-z ]+\])+))");
  std::set<std::string> tags;
  for (const auto& entry : Tree()) {
    const std::string text =
        Starts(entry.first, {"base/", "net", "src/"}) ? read(entry.first) : std::string();
    for (std::sregex_iterator it(text.begin(), text.end(), begin), end; it != end; ++it) {
      tags.insert((*it)[1].str());
    }
  }
  EXPECT_THAT(tags, testing::SizeIs(testing::Ge(9u)));
  for (const std::string& tag : tags) {
    EXPECT_NE(guide.find(tag), std::string::npos) << tag;
  }
}

}  // namespace
