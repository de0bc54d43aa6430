// A client and its servers in two networks, and what can become of the cable between them.
#include <gmock/gmock.h>
#include <sys/mount.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <thread>

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/faults/relay.h"
#include "tests/faults/two_networks.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/own_mounts.h"
#include "tests/support/process_state.h"
#include "tests/support/sanitizers.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::SizeIs;

// For the machine to be slow in.
constexpr milliseconds kSlack(kSanitized ? 8000 : 3000);
constexpr milliseconds kAtOnce(0);
constexpr milliseconds kNextUrl(2000);    // how long a silent URL keeps the next one waiting
constexpr milliseconds kReceive(2000);    // how long a transfer waits for bytes
constexpr milliseconds kConnect(7000);    // for a connection, TLS included
constexpr milliseconds kTransfer(30000);  // for all that comes after it

milliseconds Since(steady_clock::time_point begin) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
}

class NetworkFault : public ClientTest {
 protected:
  void SetUp() override { NEEDS_RIGHT(networks_.is_made(), "make network namespaces"); }
  ~NetworkFault() override {
    EndCalls();
    EXPECT_LT(longest_call_, kSlack) << "a call waited for the network";
  }

  // From here on the test is the client's.
  void CrossOver(const std::vector<std::string>& servers, milliseconds delay = kAtOnce) {
    for (const std::string& server : servers) {
      relays_.try_emplace(server, lab_.Port(server), delay);
    }
    ASSERT_TRUE(networks_.CrossOver());
    Replace("/etc/hosts",
            "127.0.0.1 localhost\n10.9.0.1 both.example\n2001:db8:9::1 both.example\n");
  }
  void Replace(const std::string& path, const std::string& text) const {
    umount2(path.c_str(), MNT_DETACH);  // what another test may have put there, in our mounts alone
    ASSERT_TRUE(ReplaceFile(path, text, folder_.path()));
  }
  std::string Url(const std::string& server, const std::string& host = TwoNetworks::kServerV4,
                  const std::string& path = kLbsPath) {
    return (server == "far" ? "https://" : "http://") + host + ":" +
           std::to_string(relays_.at(server).port()) + path;
  }
  void UseHttpDns(size_t endpoints) {
    dns_endpoints_.assign(endpoints, {TwoNetworks::kServerV4, relays_.at("dns").port(), false});
  }

  // Starts, and from then on keeps on calling what must never wait.
  zo_sturdy::IZOSturdyLBSService& FetchBusily(const std::vector<std::string>& urls) {
    begin_ = steady_clock::now();
    auto& service = Fetch(urls);
    calls_ = std::thread([this, &service, over = over_.get_future()] {
      char host[zo_sturdy::kLinkHostBufferSize];
      uint16_t port = 0;
      net::AddressFamily family = net::kIPFamilyAny;
      while (over.wait_for(milliseconds(10)) != std::future_status::ready) {
        const auto begin = steady_clock::now();
        service.PeekLinkAddress(host, &port, &family);
        Document(service);
        longest_call_ = std::max(longest_call_, Since(begin));
      }
    });
    return service;
  }
  void EndCalls() {
    if (calls_.joinable()) {
      over_.set_value();
      calls_.join();
    }
  }
  // How long the next update may take, reckoned from the start or the last call of this.
  void ExpectUpdate(const Update& update, milliseconds at_least, milliseconds at_most) {
    EXPECT_EQ(AwaitUpdate(), update);
    EXPECT_GE(Since(begin_), at_least);
    EXPECT_LT(Since(begin_), at_most + kSlack);
    begin_ = steady_clock::now();
  }
  void ExpectExitWithin(milliseconds bound) {
    EndCalls();
    const auto begin = steady_clock::now();
    zo_sturdy::ExitSturdyEnvironment(1);
    EXPECT_LT(Since(begin), bound + kSlack);
  }

  TwoNetworks networks_;
  const LogLines log_{folder_.path()};
  lab::Lab lab_{{lab::HttpServer("lbs"), lab::HttpServer("dns"), lab::HttpsServer("far")}};
  std::map<std::string, Relay> relays_;
  steady_clock::time_point begin_;

 private:
  std::thread calls_;
  std::promise<void> over_;
  milliseconds longest_call_{};  // of the thread, as long as it runs
};

// Nearly every third packet, both ways. Each query has six endpoints to be lucky with.
TEST_F(NetworkFault, WithPacketsLostQueriesAreAnswered) {
  constexpr int kThreads = 8;
  constexpr int kEach = kSanitized ? 3 : 5;
  lab::HostBook book;
  for (int i = 0; i < kThreads * kEach; ++i) {
    book.hosts[std::to_string(i) + ".test"] = {.ip = {{"192.0.2.7"}}};
  }
  lab_.SetBehaviours("dns", lab::kHostQueryPath, {lab::Answer(book)});
  CrossOver({"dns"});
  UseHttpDns(6);
  FetchBusily({"http://127.0.0.1:1/"});
  ASSERT_TRUE(networks_.Drop("numgen random mod 100 < 30"));
  std::atomic<int> resolved{0};
  std::vector<std::thread> clients;
  for (int i = 0; i < kThreads; ++i) {
    clients.emplace_back([&, i] {
      for (int host = i * kEach; host < (i + 1) * kEach; ++host) {
        const auto begin = steady_clock::now();
        resolved += Query(std::to_string(host) + ".test").find("192.0.2.7") != std::string::npos;
        EXPECT_LT(Since(begin), 6 * kNextUrl + kConnect + kTransfer);
      }
    });
  }
  for (std::thread& client : clients) {
    client.join();
  }
  EXPECT_GE(resolved, kThreads * kEach - 1);
  ExpectExitWithin(kConnect + kTransfer);
}

// No step waits longer than it may, though their sum outlasts the patience with the URL: handshake,
// redirect, handshake, document.
TEST_F(NetworkFault, WithASlowCableTheLateAnswerWins) {
  constexpr milliseconds kDelay(800);
  CrossOver({"far"}, kDelay);
  const std::vector<std::string> urls = {Url("far"), "http://10.9.0.1:1/"};
  lab_.SetBehaviours("far", kLbsPath, {lab::Redirect(Url("far", TwoNetworks::kServerV4, "/new"))});
  lab_.SetBehaviours("far", "/new", {lab::Answer(TestDocument({"192.0.2.1:1"}, urls).Text())});
  FetchBusily(urls);
  ExpectUpdate({200, TestDocument({"192.0.2.1:1"}, urls).Text()}, 4 * kDelay, 4 * kDelay);
  EXPECT_THAT(lab_.RequestsOf("far"), SizeIs(2));
  EXPECT_THAT(log_.With("[multiple][time out]Switch to index :1 triggered by :0"), SizeIs(1));
  EXPECT_THAT(log_.With("[multiple][rsp]Business check response true,index :0"), SizeIs(1));
}

TEST_F(NetworkFault, ABlackHoleInMidBodyEndsTheTransferAfterItsPatience) {
  const std::string hole = "meta l4proto tcp quota over 40000 bytes";
  CrossOver({"lbs"});
  const std::string document = TestDocument({"192.0.2.1:1"}, {Url("lbs")}).Text();
  const lab::Behaviour too_long = lab::Answer(document + std::string(100000, ' '));
  lab_.SetBehaviours("lbs", kLbsPath, {too_long, lab::Answer(document), too_long});
  ASSERT_TRUE(networks_.Drop(hole));
  auto& service = FetchBusily({Url("lbs")});
  ExpectUpdate({0, Document(service)}, kReceive, kReceive);
  EXPECT_THAT(log_.With("[lbs] Check response index:0 code:200"), SizeIs(1));
  EXPECT_THAT(log_.With("[lbs] Check response res = false for body error"), SizeIs(1));
  ASSERT_TRUE(networks_.Drop(""));
  service.Update(net::kIPFamilyAny);
  ExpectUpdate({200, document}, kAtOnce, kAtOnce);
  ASSERT_TRUE(networks_.Drop(hole));
  const size_t before = relays_.at("lbs").sent_back();
  service.Update(net::kIPFamilyAny);
  EXPECT_TRUE(WaitUntil([&] { return relays_.at("lbs").sent_back() > before; }));
  ExpectExitWithin(kReceive);
}

// The client hears nothing of the cable; what it asks for brings the fetch. An outage shorter than
// the patience doesn't even end a transfer.
TEST_F(NetworkFault, AnInterfaceThatComesBackIsFoundByAsking) {
  CrossOver({"lbs"});
  const Relay& relay = relays_.at("lbs");
  const std::string document = TestDocument({"192.0.2.1:1"}, {Url("lbs")}).Text();
  lab_.SetBehaviours("lbs", kLbsPath,
                     {lab::Answer(document), lab::Answer(document).InPieces(4, 400)});
  ASSERT_TRUE(networks_.SetCable("down"));
  auto& service = FetchBusily({Url("lbs")});
  ExpectUpdate({0, Document(service)}, kAtOnce, kAtOnce);
  EXPECT_EQ(Link(service), "127.0.0.1:9");
  EXPECT_THAT(log_.With("[multiple][rsp]Index:0 code :0"), SizeIs(1));
  ASSERT_TRUE(networks_.SetCable("up"));
  for (int i = 0; i < 9; ++i) {
    Link(service);  // two addresses and a default, in turn
  }
  ExpectUpdate({200, document}, kAtOnce, kAtOnce);
  EXPECT_EQ(Link(service), "192.0.2.1:1");

  const size_t before = relay.sent_back();
  service.Update(net::kIPFamilyAny);
  ASSERT_TRUE(WaitUntil([&] { return relay.sent_back() > before; }));
  ASSERT_TRUE(networks_.SetCable("down"));
  EXPECT_TRUE(WaitUntil([&] { return relay.sent_back() > before + document.size(); }));
  ASSERT_TRUE(networks_.SetCable("up"));
  ExpectUpdate({200, document}, milliseconds(400), kReceive);
  EXPECT_THAT(lab_.Requests(), SizeIs(2));
  ExpectExitWithin(kAtOnce);
}

// Packets of the other family vanish. An address of it costs a URL's patience until the client
// says what it has; a name of both families costs nothing.
class OneFamily : public NetworkFault, public testing::WithParamInterface<net::AddressFamily> {};

INSTANTIATE_TEST_SUITE_P(, OneFamily, testing::Values(net::kIPFamilyV4, net::kIPFamilyV6),
                         [](const auto& live) { return live.param == 1 ? "V4" : "V6"; });

TEST_P(OneFamily, IsLearnedFromTheClient) {
  const bool is_v4 = GetParam() == net::kIPFamilyV4;
  CrossOver({"lbs"});
  const std::vector<std::string> urls = {
      Url("lbs", is_v4 ? "[2001:db8:9::1]" : TwoNetworks::kServerV4), Url("lbs", "both.example")};
  const std::string document = TestDocument({"192.0.2.1:1", "[2001:db8::1]:1"}, urls).Text();
  lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(document)});
  ASSERT_TRUE(networks_.Drop(is_v4 ? "meta nfproto ipv6 meta l4proto tcp" : "meta nfproto ipv4"));
  auto& service = FetchBusily(urls);
  ExpectUpdate({200, document}, kNextUrl, kNextUrl);
  EXPECT_THAT(log_.With("[multiple][time out]Switch to index :1 triggered by :0"), SizeIs(1));
  zo_sturdy::GetSturdyObject(1)->NotifyNetworkChanged(GetParam());
  ExpectUpdate({200, document}, kAtOnce, kAtOnce);
  EXPECT_THAT(log_.With("[multiple]Send sub url request:" + urls[0]), SizeIs(1));
  EXPECT_THAT(lab_.Requests(), SizeIs(2));
  EXPECT_EQ(Link(service, GetParam()), is_v4 ? "192.0.2.1:1" : "[2001:db8::1]:1");
  ExpectExitWithin(kConnect);
}

// A look-up takes two seconds and fails: one in the transfer, one for the report of its failure.
TEST_F(NetworkFault, ASilentNameServerIsReplacedByHttpDns) {
  constexpr milliseconds kLookUp(2000);
  const lab::HostBook book{.hosts = {{"lbs.example", {.ip = {{TwoNetworks::kServerV4}}}}}};
  lab_.SetBehaviours("dns", lab::kHostQueryPath, {lab::Answer(book)});
  CrossOver({"lbs", "dns"});
  Replace("/etc/resolv.conf", "nameserver 127.0.0.1\nsearch .\noptions timeout:1 attempts:1\n");
  const lab::Descriptor swallows(BindLoopback(SOCK_DGRAM, 53));
  UseHttpDns(1);
  const std::vector<std::string> urls = {Url("lbs", "lbs.example")};
  lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(TestDocument({"192.0.2.1:1"}, urls).Text())});
  auto& service = FetchBusily(urls);
  ExpectUpdate({200, TestDocument({"192.0.2.1:1"}, urls).Text()}, 2 * kLookUp, 2 * kLookUp);
  EXPECT_THAT(log_.With("[lbs] Check response index:0 code:0"), SizeIs(1));
  EXPECT_THAT(log_.With("[multiple]User http dns, host:lbs.example"), SizeIs(1));
  EXPECT_EQ(lab_.RequestsOf("lbs").at(0).Header("Host")->substr(0, 11), "lbs.example");
  service.Update(net::kIPFamilyAny);
  ASSERT_TRUE(log_.WaitForCount("[multiple]Send sub url request:http://lbs.example", 2));
  ExpectExitWithin(2 * kLookUp);
}

}  // namespace
