// Servers that would keep a client for ever or fill its memory: each fetch ends at its bound.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "lab/lab.h"
#include "tests/support/client.h"
#include "tests/support/sanitizers.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

struct Hostile {
  const char* name;
  lab::Server server;
  seconds bound;

  friend std::ostream& operator<<(std::ostream& out, const Hostile& hostile) {
    return out << hostile.name;
  }
};

lab::Server Http(const lab::Behaviour& behaviour) {
  return lab::HttpServer("lbs").On(kLbsPath, behaviour);
}

class HostileServer : public ClientTest, public testing::WithParamInterface<Hostile> {
 protected:
  static constexpr seconds kSlack{5};  // for the machine to be slow in

  void ExpectSmall() const {
    uintmax_t log_bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
      log_bytes += entry.is_regular_file() ? entry.file_size() : 0;
    }
    EXPECT_LT(log_bytes, 12u << 20);
    std::ifstream file("/proc/self/status");
    const std::string status{std::istreambuf_iterator<char>(file), {}};
    if (!kSanitized) {
      EXPECT_LT(std::stol(status.substr(status.find("VmHWM:") + 6)), 64 << 10)
          << "resident KiB, the lab's included";
    }
  }

  const lab::Lab lab_{{GetParam().server}};
};

INSTANTIATE_TEST_SUITE_P(
    , HostileServer,
    testing::Values(Hostile{"HeadDripped", Http(lab::Answer("late").HeadDripped(100)), seconds(2)},
                    Hostile{"BodyDripped",
                            Http(lab::Answer(std::string(1000, ' ')).InPieces(1000, 500000)),
                            seconds(30)},
                    Hostile{"BodyWithoutEnd", Http(lab::Endless()), seconds(0)},
                    Hostile{"HandshakeSilent",
                            lab::HttpsServer("lbs").Listens(lab::Listening::kNoHandshake),
                            seconds(7)},
                    Hostile{"RedirectsWithoutEnd", Http(lab::RedirectLoop()), seconds(0)}),
    [](const auto& hostile) { return std::string(hostile.param.name); });

TEST_P(HostileServer, FailsAtItsBoundAndAnExitMeanwhileAtTheStatedSum) {
  auto begin = steady_clock::now();
  auto& service = Fetch({lab_.Url("lbs", kLbsPath)});
  EXPECT_EQ(AwaitUpdate().first, 0);
  const auto passed = steady_clock::now() - begin;
  EXPECT_GE(passed, GetParam().bound);
  EXPECT_LT(passed, GetParam().bound + kSlack);
  EXPECT_EQ(Link(service), "127.0.0.1:9");
  ExpectSmall();

  const int accepted = lab_.Accepted("lbs");
  service.Update(net::kIPFamilyAny);
  ASSERT_TRUE(lab_.WaitForAccepted("lbs", accepted + 1, kPatience));
  begin = steady_clock::now();
  zo_sturdy::ExitSturdyEnvironment(1);
  EXPECT_LT(steady_clock::now() - begin, seconds(zo_sturdy::kExitBoundSeconds));
  ExpectSmall();
}

}  // namespace
