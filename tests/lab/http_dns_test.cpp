#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/lab/client.h"

namespace lab {
namespace {

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

}  // namespace
}  // namespace lab
