#include "lab/lab.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "tests/lab/client.h"

namespace lab {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;

constexpr auto kLimit = 10s;

TEST(LabTest, RecordsTheExactBytesOfEachRequest) {
  std::atomic<int> observed{0};
  const Lab lab({HttpServer("it").On("/x", Answer("ok"))},
                [&](const Request& request) { observed += request.path == "/x" ? 1 : 100; });
  RawClient client(lab.Port("it"));
  const std::string head =
      "POST /x?k=a%20b&k=c HTTP/1.1\r\nhost: it \r\nX-Twice: 1\r\nx-tWICE:\t2\r\n"
      "Empty:\r\nContent-Length: 5\r\n\r\n";
  client.Send(head.substr(0, 9));
  client.Send(head.substr(9) + "a");
  client.Send(std::string("\0\r\nb", 4));
  EXPECT_THAT(client.ReadTo("ok"), HasSubstr("Connection: keep-alive\r\n"));
  // Two more on the same connection, sent together; the last one ends it.
  client.Send(
      "GET /x HTTP/1.1\r\n\r\nPUT /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n"
      "Connection: close\r\n\r\n2\r\nab\r\n1\r\nc\r\n0\r\n\r\n");
  EXPECT_THAT(client.ReadAll(), testing::EndsWith("Connection: close\r\n\r\nok<closed>"));
  const std::vector<Request> all = lab.Requests();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(observed, 3);
  EXPECT_EQ(all[0].raw_head, head);
  EXPECT_EQ(all[0].method + " " + all[0].target + " " + all[0].path + " " + all[0].query,
            "POST /x?k=a%20b&k=c /x k=a%20b&k=c");
  EXPECT_THAT(all[0].headers,
              ElementsAre(Pair("host", "it "), Pair("X-Twice", "1"), Pair("x-tWICE", "2"),
                          Pair("Empty", ""), Pair("Content-Length", "5")));
  EXPECT_EQ(*all[0].Header("HOST"), "it ");
  EXPECT_EQ(all[0].Header("hos"), nullptr);
  EXPECT_EQ(all[0].body, std::string("a\0\r\nb", 5));
  EXPECT_EQ(all[2].body, "abc");
  EXPECT_EQ(all[0].connection, all[2].connection);
  EXPECT_EQ(lab.Accepted("it"), 1);
}

TEST(LabTest, RefusesWhatIsNoRequest) {
  const Lab lab({HttpServer("it").On("/x", Answer("ok"))});
  const std::string bad[] = {"GET /x HTTP/1.1\r\nName : value\r\n\r\n",
                             "GET /x HTTP/1.1\r\nno colon\r\n\r\n",
                             "GET /x HTTP/1.1\r\n: empty\r\n\r\n",
                             "GET /x HTTP/3.7\r\n\r\n",
                             "\x16\x03\x01 hello\r\n\r\n",
                             "GET  HTTP/1.1\r\nA: b\r\n\r\n"};
  for (const std::string& bytes : bad) {
    RawClient client(lab.Port("it"));
    client.Send(bytes);
    EXPECT_THAT(client.ReadAll(), StartsWith("HTTP/1.1 400 Bad Request\r\n")) << bytes;
    EXPECT_TRUE(lab.Requests().back().malformed);
    EXPECT_EQ(lab.Requests().back().raw_head, bytes);
  }
  { RawClient(lab.Port("it")).Send("GET /half"); }  // an end in mid-head is on record too
  EXPECT_TRUE(lab.WaitFor(
      [](const std::vector<Request>& all) {
        return all.back().malformed && all.back().raw_head == "GET /half";
      },
      kLimit));
}

TEST(LabTest, BehavioursTakeTurnsAndCanBeReplaced) {
  Lab lab({HttpServer("a").On("/x", {Answer(503), Answer("at ${b}"), Answer("$${url:b} ${url:b}")}),
           HttpsServer("b")});
  const std::string url = lab.Url("a", "/x?any=query");
  EXPECT_EQ(Fetch(url).status, 503);
  EXPECT_EQ(Fetch(url).body, "at " + lab.HostPort("b"));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Fetch(url).body, "${url:b} https://" + lab.HostPort("b"));
  }
  EXPECT_EQ(Fetch(lab.Url("a", "/other")).status, 404);
  lab.SetBehaviours("a", "/x", {Answer("new")});
  lab.SetBehaviours("a", "/other", {Answer(201)});
  EXPECT_EQ(Fetch(url).body, "new");
  EXPECT_EQ(Fetch(lab.Url("a", "/other")).status, 201);
  EXPECT_EQ(lab.RequestsOf("a").size(), 7u);
  EXPECT_TRUE(lab.RequestsOf("b").empty());
  EXPECT_THROW(lab.SetBehaviours("a", "/x", {}), ScenarioError);
  EXPECT_THROW(lab.SetBehaviours("a", "/x", {Answer("${c}")}), ScenarioError);
  EXPECT_THROW(lab.SetBehaviours("c", "/x", {Answer("")}), std::invalid_argument);
  lab.ForgetRequests();
  EXPECT_FALSE(lab.WaitForRequests(1, 1ms));
}

TEST(LabTest, KeepsItsPortsApart) {
  const Lab one({HttpServer("a"), HttpServer("b").Listens(Listening::kRefuse)});
  const Lab two({HttpServer("a"), HttpServer("b").At("::1")});
  EXPECT_NE(one.Port("a"), two.Port("a"));
  EXPECT_EQ(two.Url("b", "/p"), "http://[::1]:" + std::to_string(two.Port("b")) + "/p");
  try {
    const Lab taken({HttpServer("c").OnPort(one.Port("a"))});
    FAIL();
  } catch (const ScenarioError& error) {
    EXPECT_THAT(error.what(), StartsWith("servers[0].port: cannot listen on 127.0.0.1 port "));
  }
  EXPECT_THROW(one.Port("c"), std::invalid_argument);
}

}  // namespace
}  // namespace lab
