// The wrapper of the boundary that clients compile in.
#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <stdexcept>
#include <system_error>

#include "base/platform/thread.h"
#include "base/platform/thread_for_test.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "sturdy/backoff.h"
#include "sturdy/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_document.h"

namespace {

void ExpectNothingStarted() {
  EXPECT_EQ(zo_sturdy::GetSturdyObject(1), nullptr);
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
}

TEST(Backoff, PausesOnceARoundForAnyTimeUpToItsBase) {
  sturdy::Backoff backoff(1000, 1);
  sturdy::Backoff of_another_client(1000, 2);
  uint32_t least = UINT32_MAX;
  uint32_t most = 0;
  int same = 0;
  for (int round = 0; round < 1000; ++round) {
    EXPECT_EQ(backoff.AfterFailure(2) + backoff.AfterFailure(2), 0U) << "the list has two servers";
    if (round % 2 == 0) {
      backoff.Reset();  // a new list, of one server
      EXPECT_EQ(backoff.AfterFailure(1), 0U);
    }
    const uint32_t pause_ms = backoff.AfterFailure(round % 2 == 0 ? 1 : 2);
    least = std::min(least, pause_ms);
    most = std::max(most, pause_ms);
    same += pause_ms == of_another_client.AfterFailure(0) ? 1 : 0;
  }
  EXPECT_LT(least, 20U);
  EXPECT_GT(most, 980U);
  EXPECT_LE(most, 1000U);
  EXPECT_LT(same, 20);
}

class ClientHeader : public testing::Test {
 protected:
  ClientHeader() {
    // A start sends no service update, which needs a thread of its own.
    lab::WriteServerCache(lab::DataFolder(folder_.path()));
    settings_.data_path = folder_.path();
    settings_.default_link_v4 = "d4.example:4";
  }

  const lab::TempFolder folder_;
  sturdy::Settings settings_;
};

TEST_F(ClientHeader, AnswersFromConstructionToDestruction) {
  const auto document = TestDocument({"a.example:1", "[::1]:2", "[::2]:40000"}).Text();
  const lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, lab::Answer(document))});
  settings_.lbs_urls = {lab.Url("lbs", kLbsPath)};
  settings_.token = "token";
  for (int round = 0; round < 2; ++round) {
    std::promise<std::string> update;
    settings_.on_update = [&](sturdy::Client& client, bool fetched, const std::string& text) {
      EXPECT_EQ(client.Document(), text);
      update.set_value(fetched ? text : "failed");
    };
    sturdy::Client client(settings_);
    std::future<std::string> answer = update.get_future();
    ASSERT_EQ(answer.wait_for(kPatience), std::future_status::ready);
    EXPECT_THAT(answer.get(), testing::HasSubstr(R"("link":["a.example:1",)"));
    EXPECT_THROW(sturdy::Client second(settings_), std::logic_error);
    EXPECT_EQ(client.NextLink().HostPort(), "a.example:1");
    const sturdy::Link v6 = client.NextLink();
    EXPECT_EQ(v6.host, "::1");
    client.Hold(v6);
    EXPECT_EQ(client.NextLink().HostPort(), "[::1]:2");
    client.Hold(client.NextLink());  // whose port can't be held
    EXPECT_EQ(client.NextLink().HostPort(), "spare.example:9");
  }
  ExpectNothingStarted();
}

TEST_F(ClientHeader, SettingsReachTheRecords) {
  settings_.sdk_version = "v7";
  settings_.sv = 1;
  settings_.pv = 2;
  settings_.tp = 3;
  settings_.lbs_urls = {"http://u0/", "http://u1/", "http://u2/",
                        "http://u3/", "http://u4/", "http://u5/"};
  settings_.default_link_v6 = "[::1]:6";
  settings_.default_links = {"l0:1", "l1:1", "l2:1", "l3:1", "l4:1"};
  settings_.family = net::kIPFamilyV6;
  {
    sturdy::Client client(settings_);
    for (const char* link : {"l0:1", "l1:1", "l2:1", "l3:1", "l4:1", "[::1]:6"}) {
      EXPECT_EQ(client.NextLink().HostPort(), link);
    }
  }
  const LogLines log(folder_.path());
  EXPECT_TRUE(log.WaitFor("business:im_g1 sdk_version:v7 sv:1 pv:2 tp:3 key:none"));
  EXPECT_TRUE(log.WaitFor(
      "enable:true address_family:2 lbs_url:http://u0/ default_link_v4:d4.example:4 "
      "default_link_v6:[::1]:6 backup_urls:5 http://u1/ http://u2/ http://u3/ http://u4/ "
      "http://u5/ default_link_list:5 l0:1 l1:1 l2:1 l3:1 l4:1"));
}

TEST_F(ClientHeader, FailedConstructionStartsNothing) {
  for (const auto spoil : std::initializer_list<void (*)(sturdy::Settings&)>{
           [](sturdy::Settings& s) { s.data_path.clear(); },
           [](sturdy::Settings& s) { s.business = std::string(32, 'x'); },
           [](sturdy::Settings& s) { s.lbs_urls.resize(7); },
           [](sturdy::Settings& s) { s.default_links.resize(6); }}) {
    sturdy::Settings settings = settings_;
    spoil(settings);
    EXPECT_THROW(sturdy::Client client(settings), std::invalid_argument);
    ExpectNothingStarted();
  }
  int failures = 0;
  for (bool passed = false; !passed; failures += !passed) {
    zo_base::FailThreadStartForTest(failures + 1);
    try {
      sturdy::Client client(settings_);
      passed = true;
    } catch (const std::system_error&) {
      ExpectNothingStarted();
    }
    zo_base::FailThreadStartForTest(0);
  }
  EXPECT_EQ(failures, 16) << "twelve workers, the agent's three threads and the service's";
}

}  // namespace
