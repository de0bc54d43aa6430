// The shared library as a stranger's client sees it, over every kind of transport.
#include <gtest/gtest.h>

#include "lab/child.h"
#include "lab/lab.h"
#include "tests/support/client.h"

namespace {

class Cpp11Client : public testing::TestWithParam<lab::Server> {};

INSTANTIATE_TEST_SUITE_P(Servers, Cpp11Client,
                         testing::Values(lab::HttpServer("lbs"), lab::HttpServer("lbs").At("::1"),
                                         lab::HttpsServer("lbs", lab::Certificate::kSelfSigned),
                                         lab::HttpsServer("lbs", lab::Certificate::kWrongName),
                                         lab::HttpsServer("lbs", lab::Certificate::kExpired)));

TEST(Version, IsTheBuilds) {
  EXPECT_STREQ(STURDY_VERSION_STRING, BUILD_VERSION);
  EXPECT_EQ(std::to_string(STURDY_VERSION_MAJOR) + "." + std::to_string(STURDY_VERSION_MINOR) +
                "." + std::to_string(STURDY_VERSION_PATCH),
            BUILD_VERSION);
}

TEST_P(Cpp11Client, GetsItsLinkAddresses) {
  auto server = GetParam();
  const std::string document = TestDocument({"10.0.0.1:1", "[::2]:2"}).Text();
  lab::Lab lab({server.On(kLbsPath, lab::Answer(document).HeldAt("gate"))});
  const lab::TempFolder folder;
  lab::Child client({CPP11_CLIENT, folder.path(), lab.Url("lbs", kLbsPath), "10.0.0.9:9"});
  EXPECT_EQ(client.ReadLine(), "10.0.0.9:9 family 1");
  EXPECT_TRUE(lab.WaitForHeld("gate", 1, std::chrono::seconds(30)));
  lab.Release("gate");
  EXPECT_EQ(client.ReadRest(),
            "code 200\n"
            "10.0.0.1:1 family 1\n"
            "[::2]:2 family 2\n");
  EXPECT_EQ(client.Wait(), 0);
}

}  // namespace
