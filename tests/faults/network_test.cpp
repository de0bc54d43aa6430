// A client and its servers in two networks, and a cable between them that fails.
#include <gmock/gmock.h>
#include <sys/mount.h>

#include <chrono>
#include <map>

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/faults/relay.h"
#include "tests/faults/two_networks.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/own_mounts.h"

namespace {

using std::chrono::steady_clock;
using testing::SizeIs;

class NetworkFault : public ClientTest {
 protected:
  void SetUp() override { NEEDS_RIGHT(networks_.is_made(), "make network namespaces"); }

  // Moves the test to the client's side. The servers stay on theirs, each with a relay.
  void CrossOver(const std::vector<std::string>& servers) {
    for (const std::string& server : servers) {
      relays_.try_emplace(server, lab_.Port(server));
    }
    ASSERT_TRUE(networks_.CrossOver());
    Replace("/etc/hosts",
            "127.0.0.1 localhost\n10.9.0.1 both.example\n2001:db8:9::1 both.example\n");
  }
  void Replace(const std::string& path, const std::string& text) const {
    umount2(path.c_str(), MNT_DETACH);  // of an earlier test, in our own mounts alone
    ASSERT_TRUE(ReplaceFile(path, text, folder_.path()));
  }
  std::string Url(const std::string& host) const {
    return "http://" + host + ":" + std::to_string(relays_.at("lbs").port()) + kLbsPath;
  }

  TwoNetworks networks_;
  const LogLines log_{folder_.path()};
  lab::Lab lab_{{lab::HttpServer("lbs"), lab::HttpServer("dns")}};
  std::map<std::string, Relay> relays_;
};

// An address of the dead family costs a URL's patience until the client reports its families; a
// name with addresses of both families costs nothing.
class OneFamily : public NetworkFault, public testing::WithParamInterface<net::AddressFamily> {};

INSTANTIATE_TEST_SUITE_P(, OneFamily, testing::Values(net::kIPFamilyV4, net::kIPFamilyV6),
                         [](const auto& live) { return live.param == 1 ? "V4" : "V6"; });

TEST_P(OneFamily, IsLearnedFromTheClient) {
  const bool is_v4 = GetParam() == net::kIPFamilyV4;
  CrossOver({"lbs"});
  const std::vector<std::string> urls = {Url(is_v4 ? "[2001:db8:9::1]" : TwoNetworks::kServerV4),
                                         Url("both.example")};
  const std::string document = TestDocument({"192.0.2.1:1", "[2001:db8::1]:1"}, urls).Text();
  lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(document)});
  ASSERT_TRUE(networks_.Drop(is_v4 ? "meta nfproto ipv6 meta l4proto tcp" : "meta nfproto ipv4"));
  auto& service = Fetch(urls);
  EXPECT_EQ(AwaitUpdate(), Update(200, document));
  EXPECT_THAT(log_.With("[multiple][time out]Switch to index :1 triggered by :0"), SizeIs(1));
  zo_sturdy::GetSturdyObject(1)->NotifyNetworkChanged(GetParam());
  EXPECT_EQ(AwaitUpdate(), Update(200, document));
  EXPECT_THAT(log_.With("[multiple]Send sub url request:" + urls[0]), SizeIs(1));
  EXPECT_THAT(lab_.Requests(), SizeIs(2));
  EXPECT_EQ(Link(service, GetParam()), is_v4 ? "192.0.2.1:1" : "[2001:db8::1]:1");
}

// A look-up takes two seconds and fails: one in the transfer, one for the report of its failure.
TEST_F(NetworkFault, ASilentNameServerIsReplacedByHttpDns) {
  const lab::HostBook book{.hosts = {{"lbs.example", {.ip = {{TwoNetworks::kServerV4}}}}}};
  lab_.SetBehaviours("dns", lab::kHostQueryPath, {lab::Answer(book)});
  CrossOver({"lbs", "dns"});
  Replace("/etc/resolv.conf", "nameserver 127.0.0.1\nsearch .\noptions timeout:1 attempts:1\n");
  const lab::Descriptor swallows(BindAllAddresses(SOCK_DGRAM, 53));
  dns_endpoints_ = {{TwoNetworks::kServerV4, relays_.at("dns").port(), false}};
  const std::vector<std::string> urls = {Url("lbs.example")};
  const std::string document = TestDocument({"192.0.2.1:1"}, urls).Text();
  lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(document)});
  auto& service = Fetch(urls);
  EXPECT_EQ(AwaitUpdate(), Update(200, document));
  EXPECT_THAT(log_.With("[lbs] Check response index:0 code:0"), SizeIs(1));
  EXPECT_THAT(log_.With("[multiple]User http dns, host:lbs.example"), SizeIs(1));
  EXPECT_EQ(lab_.RequestsOf("lbs").at(0).Header("Host")->substr(0, 11), "lbs.example");

  service.Update(net::kIPFamilyAny);
  ASSERT_TRUE(log_.WaitForCount("[multiple]Send sub url request:http://lbs.example", 2));
  const auto begin = steady_clock::now();
  zo_sturdy::ExitSturdyEnvironment(1);
  EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(zo_sturdy::kExitBoundSeconds))
      << "the exit waits for one look-up in each of two threads";
}

}  // namespace
