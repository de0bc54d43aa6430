#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "lab/lab.h"
#include "tests/support/sanitizers.h"

namespace {

// Exit status and all output of a program that ends by itself.
std::pair<int, std::string> RunProgram(const std::string& command) {
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  std::string output;
  for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
    output += static_cast<char>(byte);
  }
  return {pclose(pipe), output};
}

// The lab is in this process, so that only the client's side ends.
TEST(ProcessEnd, InTransfersNeitherCrashesNorHangsNorPrints) {
  const lab::Lab lab({lab::HttpsServer("secure").On("/", lab::Answer("fine")),
                      lab::HttpServer("silent").On("/", lab::Silent()),
                      lab::HttpsServer("deaf").Listens(lab::Listening::kNoHandshake)});
  std::vector<std::string> all_options = {"", "openssl-first"};
  if (!kSanitized) {
    all_options.emplace_back("fork");  // the sanitizers can't end a forked child of many threads
  }
  for (const std::string& options : all_options) {
    for (const int answers : {0, 12, 24, 48, -1, -2}) {
      const std::string url = lab.Url(answers >= 0    ? "secure"
                                      : answers == -1 ? "silent"
                                                      : "deaf",
                                      "/");
      EXPECT_EQ(
          RunProgram(END_IN_TRANSFER " " + url + " " + std::to_string(answers) + " " + options),
          std::pair(0, std::string()))
          << answers << " " << options;
    }
  }
}

}  // namespace
