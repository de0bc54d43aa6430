// The first request for the endpoints of HTTP DNS is made while the threads that carry it begin.
#include <gmock/gmock.h>

#include <chrono>

#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/service_table.h"
#include "tests/environment/client.h"
#include "tests/support/sanitizers.h"
#include "tests/support/server_cache.h"

namespace {

TEST(FirstServiceUpdate, IsSentOnceAtEachOfManyStarts) {
  constexpr size_t kStarts = kSanitized ? 50 : 200;
  const lab::Lab lab({lab::HttpServer("dns").On(
      lab::kServiceTablePath,
      lab::Answer(lab::ServiceTable().Domain("localhost").V4({"dns"}).Ttl(3600).Text()))});
  for (size_t start = 1; start <= kStarts; ++start) {
    const TempFolder folder;
    WriteServerCache(FinalDataFolder(folder.path()), {{"127.0.0.1", lab.Port("dns"), false}}, {},
                     "localhost", -1);
    EXPECT_EQ(zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder.path())), 1);
    EXPECT_TRUE(lab.WaitForRequestsFor(lab::kServiceTablePath, start, std::chrono::seconds(30)));
    zo_sturdy::ExitSturdyEnvironment(1);
    ASSERT_EQ(lab.RequestsFor(lab::kServiceTablePath).size(), start);
  }
  EXPECT_THAT(lab.Requests().back().HeaderLines(),
              testing::IsSupersetOf({"Host: localhost", "X-QORVIN-BUSINESS:  im_g1",
                                     "X-QORVIN-SDKVER:  _0_0", "X-QORVIN-APPKEY:"}));
}

}  // namespace
