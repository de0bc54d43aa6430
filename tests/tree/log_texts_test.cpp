#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>

// Finds the log texts that no test expects: a reader of the log could be misled by each of them.

namespace {

namespace fs = std::filesystem;
using Iterator = std::sregex_token_iterator;

// Returns the sources below a folder, except these tests of the tree. Leaves out whole-line
// comments, and joins the parts of literals.
std::string Sources(const std::string& folder) {
  std::string text;
  for (const auto& entry : fs::recursive_directory_iterator(fs::path(STURDY_SOURCE_DIR) / folder)) {
    const fs::path& path = entry.path();
    if ((path.extension() == ".h" || path.extension() == ".cpp") &&
        path.parent_path().filename() != "tree") {
      std::ifstream in(path);
      for (std::string line; std::getline(in, line);) {
        const size_t begin = std::min(line.find_first_not_of(' '), line.size());
        text += line.compare(begin, 2, "//") == 0 ? "" : line + "\n";
      }
    }
  }
  return std::regex_replace(text, std::regex(R"re("\s+")re"), "");
}

// Returns the texts of the log, cut at their operands, line ends and dashes. A text that a
// statement takes from elsewhere begins with a tag or, like a banner, with a line end.
std::set<std::string> LogTexts() {
  std::set<std::string> texts;
  for (const char* folder : {"base", "net", "network", "src"}) {
    const std::string sources = Sources(folder);
    const std::regex uses(R"re(ZO_LOG\(LV_[^;]*;|"(\[[a-z ]+\]|\\r\\n ?-)[^"\n]*")re");
    for (Iterator use(sources.begin(), sources.end(), uses), end; use != end; ++use) {
      const std::string operands = *use;
      const std::regex part(R"re("((\\r\\n)|[^"])*")re");
      for (Iterator text(operands.begin(), operands.end(), part); text != end; ++text) {
        const std::string literal = text->str().substr(1, text->length() - 2);
        const std::regex frame(R"re((\\r\\n ?|-{3,})+)re");
        for (Iterator line(literal.begin(), literal.end(), frame, -1); line != end; ++line) {
          if (std::regex_search(line->str(), std::regex("[a-z]"))) {
            texts.insert(*line);
          }
        }
      }
    }
  }
  return texts;
}

// A test may leave out the first tag of a text if no other text has the rest.
TEST(LogTexts, EachIsExpectedByATest) {
  // Texts that can't come, each with its reason.
  const std::set<std::string> unreachable = {
      // A query that has succeeded has an address for each of its hosts.
      "[multiple]Use http dns,url empty",
      // Nothing but a lack of memory throws there.
      "[http dns] Sync update,exception",
  };
  const std::string tests = Sources("tests");
  const std::set<std::string> texts = LogTexts();
  EXPECT_GE(texts.size(), 100U);
  for (const std::string& text : texts) {
    const std::string rest = std::regex_replace(text, std::regex(R"re(^\[[a-z ]+\])re"), "");
    const bool is_alone = std::ranges::count_if(texts, [&](const std::string& other) {
                            return other.find(rest) != std::string::npos;
                          }) == 1;
    const bool is_expected = tests.find(is_alone ? rest : text) != std::string::npos;
    EXPECT_NE(is_expected, unreachable.count(text) == 1) << text;
  }
}

// Each tag, and each that follows one.
TEST(LogTexts, HaveTagsThatTheGuideExplains) {
  std::ifstream in(STURDY_SOURCE_DIR "/docs/client-guide.md");
  const std::string guide{std::istreambuf_iterator<char>(in), {}};
  for (const std::string& text : LogTexts()) {
    std::smatch tags;
    std::regex_search(text, tags, std::regex(R"re(^(\[[a-z ]+\])*)re"));
    EXPECT_NE(guide.find(tags.str()), std::string::npos) << text;
  }
}

}  // namespace
