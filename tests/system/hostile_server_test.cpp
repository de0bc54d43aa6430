// Servers that would keep a client for ever or fill its memory: each fetch ends at its bound.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/sanitizers.h"
#include "tests/system/fetching_client.h"

namespace {

using std::chrono::milliseconds;

struct Hostile {
  const char* name;
  lab::Server server;
  milliseconds at_least;  // the bound that ends the fetch
  milliseconds at_most;

  friend std::ostream& operator<<(std::ostream& out, const Hostile& hostile) {
    return out << hostile.name;
  }
};

constexpr char kLbsPath[] = "/lbs/conf.jsp";
// For the machine to be slow in.
constexpr milliseconds kSlack(5000);

const Hostile kHostile[] = {
    {"HeadDripped", lab::HttpServer("lbs").On(kLbsPath, lab::Answer("late").HeadDripped(100)),
     milliseconds(2000), milliseconds(2000) + kSlack},
    {"BodyDripped",
     lab::HttpServer("lbs").On(kLbsPath,
                               lab::Answer(std::string(1000, ' ')).InPieces(1000, 500000)),
     milliseconds(30000), milliseconds(30000) + kSlack},
    {"BodyWithoutEnd", lab::HttpServer("lbs").On(kLbsPath, lab::Endless()), milliseconds(0),
     kSlack},
    {"HandshakeSilent", lab::HttpsServer("lbs").Listens(lab::Listening::kNoHandshake),
     milliseconds(7000), milliseconds(7000) + kSlack},
    {"RedirectsWithoutEnd", lab::HttpServer("lbs").On(kLbsPath, lab::RedirectLoop()),
     milliseconds(0), kSlack},
};

class HostileServer : public FetchingClientTest, public testing::WithParamInterface<Hostile> {
 protected:
  HostileServer() : lab_({GetParam().server}) {}

  void ExpectSmall() const {
    uintmax_t log_bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
      log_bytes += entry.is_regular_file() ? entry.file_size() : 0;
    }
    EXPECT_LT(log_bytes, 12u << 20);
    std::ifstream status("/proc/self/status");
    for (std::string line; !kSanitized && std::getline(status, line);) {
      if (line.rfind("VmHWM:", 0) == 0) {
        EXPECT_LT(std::stol(line.substr(6)), 64 << 10) << "resident KiB, the lab's included";
      }
    }
  }

  const lab::Lab lab_;
};

INSTANTIATE_TEST_SUITE_P(, HostileServer, testing::ValuesIn(kHostile),
                         [](const auto& hostile) { return std::string(hostile.param.name); });

TEST_P(HostileServer, FailsAtItsBound) {
  const auto begin = std::chrono::steady_clock::now();
  auto& service = Fetch(lab_, {"lbs"});
  EXPECT_EQ(AwaitUpdate().first, 0);
  const auto passed = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(passed, GetParam().at_least);
  EXPECT_LT(passed, GetParam().at_most);
  EXPECT_EQ(Link(service), "127.0.0.1:9");
  ExpectSmall();
}

TEST_P(HostileServer, AnExitMeanwhileEndsWithinTheStatedSum) {
  Fetch(lab_, {"lbs"});
  ASSERT_TRUE(lab_.WaitForAccepted("lbs", 1, kLimit));
  const auto begin = std::chrono::steady_clock::now();
  zo_sturdy::ExitSturdyEnvironment(1);
  EXPECT_LT(std::chrono::steady_clock::now() - begin,
            std::chrono::seconds(zo_sturdy::kExitBoundSeconds));
  ExpectSmall();
}

}  // namespace
