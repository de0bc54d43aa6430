#pragma once

#include <future>

#include "base/thread/clock.h"
#include "base/thread/clock_for_test.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/sanitizers.h"

// A client under a clock that doesn't move unless the test advances it: a call that waits for a
// time limit would block for ever.
class FrozenClient : public ClientTest {
 protected:
  ~FrozenClient() override { Exit(); }

  // Advances the clock until `done` holds; `done` takes a little true time.
  template <class Done>
  void AdvanceUntil(const Done& done) {
    while (!done()) {
      clock_.Advance(500);
    }
  }
  // Returns the result of a call that waits for the network.
  template <class Call>
  auto Await(const Call& call) {
    auto result = std::async(std::launch::async, call);
    AdvanceUntil([&] { return result.wait_for(kGlance) == std::future_status::ready; });
    return result.get();
  }
  // Returns the next update, advancing the clock until it comes. The next fetch can begin then.
  Update AdvanceToUpdate() {
    std::optional<Update> update;
    AdvanceUntil([&] { return (update = TryUpdate(kGlance)).has_value(); });
    Await([this] { AwaitFetchEnd(*service_); });
    return *update;
  }
  void Exit() {
    Await([] { zo_sturdy::ExitSturdyEnvironment(1); });
  }

  static constexpr std::chrono::milliseconds kGlance{kSanitized ? 20 : 4};

  zo_base::ScopedTestClock clock_;
  const LogLines log_{folder_.path()};
};
