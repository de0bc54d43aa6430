// The shared library as a stranger's client sees it, over every kind of transport.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "sturdy/sturdy.h"
#include "tests/support/child.h"
#include "tests/support/temp_folder.h"

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
  lab::Lab lab({server.On("/lbs/conf.jsp", lab::Answer(lab::LbsDocument()
                                                           .Link({"10.0.0.1:1", "[::2]:2"})
                                                           .LinkDefault({"10.0.0.3:3"})
                                                           .Lbs("${url:lbs}/lbs/conf.jsp")
                                                           .Text())
                                               .HeldAt("gate"))});
  const TempFolder folder;
  Child client({CPP11_CLIENT, folder.path(), lab.Url("lbs", "/lbs/conf.jsp"), "10.0.0.9:9"});
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
