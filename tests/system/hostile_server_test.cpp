// Servers that would keep a client busy for ever or fill its memory: each fetch ends at its bound.
#include <sys/resource.h>

#include <filesystem>

#include "lab/lab.h"
#include "src/sturdy/http_agent/logic/live_requests.h"
#include "tests/support/frozen_client.h"

namespace {

struct Hostile {
  const char* name;
  lab::Server server;
  int64_t bound_ms;

  friend std::ostream& operator<<(std::ostream& out, const Hostile& hostile) {
    return out << hostile.name;
  }
};

// A fetch without a bound lasts longer: a dripped body takes 300 s.
constexpr std::chrono::seconds kSoon{30};

lab::Server Http(const lab::Behaviour& behaviour) {
  return lab::HttpServer("lbs").On(kLbsPath, behaviour);
}

class HostileServer : public FrozenClient, public testing::WithParamInterface<Hostile> {
 protected:
  // Waits until the bound has begun: with the request, or with the connect if there is no end to
  // the handshake.
  void AwaitTransfer(int number) {
    ASSERT_TRUE(GetParam().server.listening == lab::Listening::kNoHandshake
                    ? lab_.journal().WaitForAccepted("lbs", number, kPatience)
                    : lab_.journal().WaitForRequests(1, kPatience));
  }
  // Advances just past the bound, in steps that leave the transfer time to read.
  void AdvancePastBound() {
    constexpr int64_t kStepMs = 25;
    constexpr int64_t kLateMs = 1000;  // the transfer may begin so much later than that
    for (int64_t passed_ms = 0; passed_ms < GetParam().bound_ms; passed_ms += kStepMs) {
      EXPECT_FALSE(TryUpdate(std::chrono::milliseconds(5)).has_value()) << "after " << passed_ms;
      clock_.Advance(kStepMs);
    }
    clock_.Advance(kLateMs);
  }
  void ExpectSmall() const {
    uintmax_t log_bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
      log_bytes += entry.is_regular_file() ? entry.file_size() : 0;
    }
    EXPECT_LT(log_bytes, 12u << 20);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    if (!kSanitized) {
      EXPECT_LT(usage.ru_maxrss, 64 << 10) << "resident KiB, the lab's included";
    }
  }

  lab::Lab lab_{{GetParam().server}};
};

INSTANTIATE_TEST_SUITE_P(
    , HostileServer,
    testing::Values(Hostile{"HeadDripped", Http(lab::Answer("late").HeadDripped(100)), 2000},
                    Hostile{"BodyDripped",
                            Http(lab::Answer(std::string(60000, ' ')).InPieces(60000, 300000)),
                            30000},
                    Hostile{"BodyWithoutEnd", Http(lab::Endless()), 0},
                    Hostile{"HandshakeSilent",
                            lab::HttpsServer("lbs").Listens(lab::Listening::kNoHandshake), 7000},
                    Hostile{"RedirectsWithoutEnd", Http(lab::RedirectLoop()), 0}),
    [](const auto& hostile) { return std::string(hostile.param.name); });

TEST_P(HostileServer, FailsAtItsBoundAndSoDoesAnExitMeanwhile) {
  auto& service = Fetch({lab_.Url("lbs", kLbsPath)});
  AwaitTransfer(1);
  AdvancePastBound();
  ASSERT_EQ(TryUpdate(kSoon).value_or(Update(-1, "none came")).first, 0);
  EXPECT_EQ(Link(service), kDefaultLink);
  ExpectSmall();

  lab_.ForgetRequests();
  service.Update(net::kIPFamilyAny);
  AwaitTransfer(2);
  auto exit = std::async(std::launch::async, [] { zo_sturdy::ExitSturdyEnvironment(1); });
  AdvancePastBound();
  EXPECT_EQ(exit.wait_for(kSoon), std::future_status::ready);
  AdvanceUntil([&] { return exit.wait_for(kGlance) == std::future_status::ready; });
  EXPECT_EQ(zo_sturdy::LiveRequests::Instance().CountForTest(), 0U);
  ExpectSmall();
}

}  // namespace
