// The end of a process that runs an environment.
#include "lab/lab.h"
#include "tests/environment/client.h"
#include "tests/support/child.h"
#include "tests/support/sanitizers.h"

namespace {

TEST(ProcessEnd, WithFetchesInFlightIsClean) {
  std::vector<std::string> ways = {"return", "thread", "callback", "call"};
  if (!kSanitized) {
    ways.emplace_back("fork");  // the sanitizers can't end a forked child of many threads
  }
  const lab::Behaviour document = lab::Answer(OwnDocument().Text());
  for (const std::string& way : ways) {
    for (const lab::Behaviour& in_flight : {lab::Silent(), lab::Endless(1)}) {
      for (const char* openssl : {"openssl-later", "openssl-first"}) {
        SCOPED_TRACE(way + " " + openssl);
        const lab::Lab lab({lab::HttpsServer("lbs").On(kLbsPath, {document, in_flight, document})});
        const TempFolder folder;
        Child host({LIFECYCLE_HOST, way, folder.path(), lab.Url("lbs", kLbsPath), openssl});
        EXPECT_TRUE(lab.WaitForRequests(2, std::chrono::seconds(30)));
        host.Signal();
        EXPECT_EQ(host.ReadRest(), "");
        EXPECT_EQ(host.Wait(), 0);
      }
    }
  }
}

}  // namespace
