#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>

#include "base/thread/clock_for_test.h"
#include "network/http_interface_error.h"
#include "network/transfer_cause.h"
#include "network/win_http.h"

namespace KRBASE::network {

// Hours, so that a limit that ignores the set clock never ends its test. The other two are shorter:
// the 30 s of a whole transfer would end it first.
inline constexpr int32_t kConnectMs = 7200000;
inline constexpr int32_t kSendMs = 15000;
inline constexpr int32_t kReceiveMs = 20000;

// Expects a stalled transfer to end with these results, and not before its limit. Calls `each_time`
// whenever it has advanced the clock, which leaves the transfer time to reach its stall.
inline void ExpectEnd(
    const std::string& url, const std::string& post_data, HttpInterfaceError error,
    TransferCause cause, int32_t status, int64_t limit_ms,
    const std::function<void()>& each_time = [] {},
    std::chrono::milliseconds step = std::chrono::milliseconds(1)) {
  zo_base::ScopedTestClock clock;
  std::future<void> transfer = std::async(std::launch::async, [&] {
    CWinHttp http;
    http.SetTimeOut(kConnectMs, kSendMs, kReceiveMs);
    EXPECT_EQ(http.Request(url, post_data.empty() ? 0 : 1, "", post_data), "");
    EXPECT_EQ(http.GetErrorCode(), error);
    EXPECT_EQ(WordOf(http.GetFailure()->cause), WordOf(cause));
    EXPECT_EQ(http.GetStatusCode(), status);
  });
  int64_t passed_ms = 0;
  for (; transfer.wait_for(step) != std::future_status::ready; passed_ms += limit_ms / 40) {
    clock.Advance(limit_ms / 40);
    each_time();
  }
  EXPECT_GE(passed_ms, limit_ms);
}

}  // namespace KRBASE::network
