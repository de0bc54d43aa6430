#include <gtest/gtest.h>

#include "lab/child.h"
#include "lab/lab.h"
#include "tests/support/sanitizers.h"

namespace {

// The lab is in this process, so that only the client's side ends.
TEST(ProcessEnd, InTransfersNeitherCrashesNorHangsNorPrints) {
  const lab::Lab lab({lab::HttpsServer("secure").On("/", lab::Answer("fine")),
                      lab::HttpServer("silent").On("/", lab::Silent()),
                      lab::HttpsServer("deaf").Listens(lab::Listening::kNoHandshake)});
  const std::pair<const char*, const char*> moments[] = {{"secure", "0"},  {"secure", "12"},
                                                         {"secure", "24"}, {"secure", "48"},
                                                         {"silent", "0"},  {"deaf", "0"}};
  for (const std::string option : {"plain", "openssl-first", "fork"}) {
    for (const auto& [server, answers] : moments) {
      if (option == "fork" && kSanitized) {
        continue;  // the sanitizers can't end a forked child of many threads
      }
      lab::Child child({END_IN_TRANSFER, lab.Url(server, "/"), answers, option});
      EXPECT_EQ(child.ReadRest(), "") << server << answers << option;
      EXPECT_EQ(child.Wait(), 0) << server << answers << option;
    }
  }
}

}  // namespace
