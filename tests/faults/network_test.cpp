// A client in a network where one family is dead, or whose name server is silent.
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <chrono>

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/support/client.h"
#include "tests/support/descriptor.h"
#include "tests/support/log_lines.h"
#include "tests/support/own_mounts.h"
#include "tests/support/own_network.h"

namespace {

using std::chrono::steady_clock;
using testing::SizeIs;

class NetworkFault : public ClientTest {
 protected:
  const LogLines log_{folder_.path()};
};

// An address of the dead family costs a URL's patience until the client reports its families; a
// name with addresses of both families costs nothing.
class OneFamily : public NetworkFault, public testing::WithParamInterface<net::AddressFamily> {};

INSTANTIATE_TEST_SUITE_P(, OneFamily, testing::Values(net::kIPFamilyV4, net::kIPFamilyV6),
                         [](const auto& live) { return live.param == 1 ? "V4" : "V6"; });

TEST_P(OneFamily, IsLearnedFromTheClient) {
  const bool is_v4 = GetParam() == net::kIPFamilyV4;
  const std::string hosts = "127.0.0.1 localhost both.example\n::1 both.example\n";
  NEEDS_RIGHT(EnterOwnNetwork() && ReplaceFile("/etc/hosts", hosts, folder_.path()),
              "make a network namespace");
  const std::string live = is_v4 ? "127.0.0.1" : "::1";
  const std::string dead = is_v4 ? "::1" : "127.0.0.1";
  lab::Lab lab(
      {lab::HttpServer("live").At(live),
       lab::HttpServer("dead").At(dead).OnPortOf("live").Listens(lab::Listening::kNeverConnect)});
  const std::vector<std::string> urls = {
      lab.Url("dead", kLbsPath),
      "http://both.example:" + std::to_string(lab.Port("live")) + kLbsPath};
  const std::string document = TestDocument({"192.0.2.1:1", "[2001:db8::1]:1"}, urls).Text();
  lab.SetBehaviours("live", kLbsPath, {lab::Answer(document)});
  auto& service = Fetch(urls);
  EXPECT_EQ(AwaitUpdate(), Update(200, document));
  EXPECT_THAT(log_.With("[multiple][time out]Switch to index :1 triggered by :0"), SizeIs(1));
  zo_sturdy::GetSturdyObject(1)->NotifyNetworkChanged(GetParam());
  EXPECT_EQ(AwaitUpdate(), Update(200, document));
  EXPECT_THAT(log_.With("[multiple]Send sub url request:" + urls[0]), SizeIs(1));
  EXPECT_THAT(lab.journal().Requests(), SizeIs(2));
  EXPECT_EQ(Link(service, GetParam()), is_v4 ? "192.0.2.1:1" : "[2001:db8::1]:1");
}

// A look-up takes two seconds and fails.
TEST_F(NetworkFault, ASilentNameServerIsReplacedByHttpDns) {
  const std::string setting = "nameserver 127.0.0.1\nsearch .\noptions timeout:1 attempts:1\n";
  NEEDS_RIGHT(EnterOwnNetwork() && ReplaceFile("/etc/resolv.conf", setting, folder_.path()),
              "make a network namespace");
  const lab::HostBook book{.hosts = {{"lbs.example", {.ip = {{"127.0.0.1"}}}}}};
  lab::Lab lab(
      {lab::HttpServer("lbs"), lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Answer(book))});
  const Descriptor swallows(BindAllAddresses(SOCK_DGRAM, 53));
  dns_endpoints_ = {{"127.0.0.1", lab.Port("dns"), false}};
  const std::vector<std::string> urls = {
      "http://lbs.example:" + std::to_string(lab.Port("lbs")) + kLbsPath, "http://192.0.2.1:1/lbs"};
  const std::string document = TestDocument({"192.0.2.1:1"}, urls).Text();
  lab.SetBehaviours("lbs", kLbsPath, {lab::Answer(document)});
  auto& service = Fetch(urls);
  EXPECT_EQ(AwaitUpdate(), Update(200, document));
  EXPECT_THAT(log_.With("[lbs] Check response index:0 code:0"), SizeIs(1));
  EXPECT_THAT(log_.With("[multiple]User http dns, host:lbs.example"), SizeIs(1));
  EXPECT_EQ(lab.journal().RequestsOf("lbs").at(0).Header("Host")->substr(0, 11), "lbs.example");

  service.Update(net::kIPFamilyAny);
  ASSERT_TRUE(log_.WaitForCount("[multiple]Send sub url request:http://lbs.example", 2));
  const auto begin = steady_clock::now();
  zo_sturdy::ExitSturdyEnvironment(1);
  EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(zo_sturdy::kExitBoundSeconds))
      << "the exit waits for one look-up";
}

}  // namespace
