#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/service_table.h"
#include "tests/lab/client.h"

namespace lab {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(HttpDnsTest, AnswersExactlyTheHostsAskedForThatItKnows) {
  const HostBook book{{{"a.test", {{{"${ip:dns}", "::2"}}, {{"${ip:six}"}}, 60}},
                       {"b.test", {{{}}}},
                       {"c.test", {{}, {}, -1}}}};
  const std::string a = R"("a.test":{"ip":["127.0.0.3","::2"],"ipv6":["::1"],"ttl":60})";
  const Lab lab({HttpServer("dns")
                     .At("127.0.0.3")
                     .On(kHostQueryPath,
                         {Answer(book), Answer(book).Framed(Framing::kChunked).InPieces(4, 20),
                          Answer(book).Truncated(5), Answer(book)}),
                 HttpServer("six").At("::1")});
  const auto ask = [&](const std::string& query) {
    return Fetch(lab.Url("dns", kHostQueryPath + query));
  };
  EXPECT_EQ(ask("?domain=a.test").body, R"({"code":200,"data":{)" + a + "}}");
  EXPECT_EQ(ask("?domain=c.test,no.test,,a.test").body,
            R"({"code":200,"data":{"c.test":{"ttl":-1},)" + a + "}}");
  const Fetched cut = ask("?domain=b.test");
  EXPECT_EQ(cut.code, CURLE_PARTIAL_FILE);
  EXPECT_EQ(cut.body, R"({"code":200,"data":{"b.test":{"ip":[]}}})");
  for (const char* nothing : {"", "?", "?domain", "?domain=", "?domain=A.test", "?x=a.test"}) {
    EXPECT_EQ(ask(nothing).body, R"({"code":200,"data":{}})") << nothing;
  }
  EXPECT_EQ(lab.RequestsFor(kHostQueryPath).size(), 9u);
  EXPECT_EQ(lab.RequestsFor(kHostQueryPath)[1].query, "domain=c.test,no.test,,a.test");
}

TEST(HttpDnsTest, ATableNamesServersOfTheLab) {
  const Lab lab(
      {HttpServer("dns").On(kServiceTablePath, Answer(ServiceTable()
                                                          .Domain("d\"")
                                                          .V4({"dns", {"192.0.2.1", 1, false}})
                                                          .V6({"six"})
                                                          .Ttl(9)
                                                          .Text())),
       HttpsServer("six").At("::1").OnPortOf("dns")});
  const std::string port = std::to_string(lab.Port("dns"));
  EXPECT_EQ(Fetch(lab.Url("dns", kServiceTablePath)).body,
            R"({"host":"d\"","ipv4":[{"host":"127.0.0.1","port":)" + port +
                R"(,"https":false},{"host":"192.0.2.1","port":1,"https":false}],)" +
                R"("ipv6":[{"host":"[::1]","port":)" + port + R"(,"https":true}],"ttl":9})");
}

TEST(HttpDnsTest, OnePortOnSeveralAddresses) {
  for (int round = 0; round < 20; ++round) {
    Lab lab({HttpServer("dead").Listens(Listening::kRefuse),
             HttpServer("live").At("127.0.0.2").OnPortOf("dead").On("/", Answer("live")),
             HttpsServer("tls").At("127.0.0.3").OnPortOf("dead").On("/", Answer("tls")),
             HttpServer("dead6").At("::1").OnPortOf("dead").Listens(Listening::kRefuse)});
    EXPECT_EQ(lab.Url("live"), "http://127.0.0.2:" + std::to_string(lab.Port("dead")));
    EXPECT_EQ(Fetch(lab.Url("dead", "/")).code, CURLE_COULDNT_CONNECT);
    EXPECT_EQ(Fetch(lab.Url("dead6", "/")).code, CURLE_COULDNT_CONNECT);
    EXPECT_EQ(Fetch(lab.Url("live", "/")).body + Fetch(lab.Url("tls", "/")).body, "livetls");
  }
}

TEST(HttpDnsTest, APortThatIsTakenOnTheOtherAddressIsToldByItsKey) {
  const Lab other({HttpServer("taken").At("127.0.0.2")});
  const int port = other.Port("taken");
  try {
    const Lab lab({HttpServer("a").OnPort(port), HttpServer("b").At("127.0.0.2").OnPortOf("a")});
    FAIL();
  } catch (const ScenarioError& error) {
    EXPECT_STREQ(error.what(),
                 "servers[1].port_of: cannot listen on 127.0.0.2 port of \"a\" (Address already in "
                 "use).");
  }
}

TEST(HttpDnsTest, KeepsWhatAReportBrings) {
  const Lab lab({HttpServer("stat").On(kReportPath, {Answer(500), Answer(200)})});
  RawClient client(lab.Port("stat"));
  client.Send(
      "POST /statics/report/im/api/error HTTP/1.1\r\nB:  x \r\na:y\r\nContent-Length: "
      "4\r\n\r\n[{}]");
  EXPECT_THAT(client.ReadTo("\r\n\r\n"), testing::StartsWith("HTTP/1.1 500 "));
  ASSERT_TRUE(lab.WaitForRequestsFor(kReportPath, 1, 10s));
  EXPECT_FALSE(lab.WaitForRequestsFor("/", 1, 1ms));
  const Request report = lab.RequestsFor(kReportPath).at(0);
  EXPECT_THAT(report.HeaderLines(), ElementsAre("B:  x ", "a:y", "Content-Length: 4"));
  EXPECT_EQ(report.body, "[{}]");
}

TEST(ServerCacheTest, IsOneObjectOfTexts) {
  const auto folder = std::filesystem::path(testing::TempDir()) / "lab_server_cache";
  WriteServerCache(folder.string(), {"d", {{"127.0.0.2", 8, false}}, {{"[::1]"}}, 5s});
  std::ifstream file(folder / "http_dns" / "http_server_cache.data");
  const auto json = nlohmann::json::parse(file);
  EXPECT_EQ(json.at("host"), "d");
  EXPECT_EQ(json.at("ipv4"), R"([{"host":"127.0.0.2","port":8,"https":false}])");
  EXPECT_EQ(json.at("ipv6"), R"([{"host":"[::1]","port":443,"https":true}])");
  EXPECT_EQ(json.at("ttl"), "5000");
  const auto now = std::chrono::system_clock::now().time_since_epoch() / 1ms;
  EXPECT_NEAR(std::stod(json.at("expired_time").get<std::string>()),
              static_cast<double>(now + 5000), 5000);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace lab
