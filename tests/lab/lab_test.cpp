#include "lab/lab.h"

#include <gmock/gmock.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tests/lab/client.h"

namespace lab {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;

std::string Get(const Lab& lab, const std::string& target) {
  RawClient client(lab);
  client.Send("GET " + target + " HTTP/1.1\r\nConnection: close\r\n\r\n");
  return client.ReadAll();
}

TEST(LabTest, RecordsExactBytesOfEachRequest) {
  std::string observed;
  const Lab lab({HttpServer("it").On("/x", Answer("ok"))},
                [&](const Request& request) { observed += request.path; });
  RawClient client(lab);
  const std::string head =
      "POST /x?k=a%20b&k=c HTTP/1.1\r\nhost: it \r\nX-Twice: 1\r\nx-tWICE:\t2\r\n"
      "Empty:\r\nContent-Length: 5\r\n\r\n";
  client.Send(head.substr(0, 9));
  client.Send(head.substr(9) + "a");
  client.Send(std::string("\0\r\nb", 4));
  EXPECT_THAT(client.ReadTo("ok"), HasSubstr("Connection: keep-alive\r\n"));
  // Two more on the same connection, sent together. The last one ends it.
  client.Send(
      "GET /x HTTP/1.1\r\n\r\nPUT /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n"
      "Connection: close\r\n\r\n2\r\nab\r\n1\r\nc\r\n0\r\n\r\n");
  EXPECT_THAT(client.ReadAll(), EndsWith("Connection: close\r\n\r\nok<closed>"));
  const std::vector<Request> all = lab.journal().Requests();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(observed, "/x/x/x");
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
  EXPECT_EQ(lab.journal().Accepted("it"), 1);
}

TEST(LabTest, EachBehaviourSendsItsBytes) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string keep = "Connection: keep-alive\r\n\r\n";
  const std::string close = "Connection: close\r\n\r\n";
  const std::string chunked = ok + "Transfer-Encoding: chunked\r\n";
  const std::pair<Behaviour, std::string> cases[] = {
      {Answer(500, "no"),
       "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 2\r\n" + keep + "no"},
      {Answer(204).Reason("R"), "HTTP/1.1 204 R\r\n" + keep},
      {Answer("x").Field("A", "1").Field("content-length", "9").CloseAfter(),
       ok + "A: 1\r\ncontent-length: 9\r\n" + close + "x<closed>"},
      {Answer(std::string("a\0b", 3)).Framed(Framing::kChunked).InPieces(3, 3),
       chunked + keep + std::string("1\r\na\r\n1\r\n\0\r\n1\r\nb\r\n0\r\n\r\n", 23)},
      {Answer("abc").Framed(Framing::kChunked).Truncated(5),
       chunked + close + "3\r\nabc\r\n<closed>"},
      {Answer("abc").Truncated(5).InPieces(4, 1),
       ok + "Content-Length: 8\r\n" + close + "abc<closed>"},
      {Answer("abc").Framed(Framing::kUntilClose).HeadDripped(1).Delayed(1),
       ok + close + "abc<closed>"},
      {Redirect("/y", 307),
       "HTTP/1.1 307 Temporary Redirect\r\nLocation: /y\r\nContent-Length: 0\r\n" + keep},
      {RedirectLoop(), "HTTP/1.1 302 Found\r\nLocation: /x?hop=1\r\nContent-Length: 0\r\n" + keep},
      {Answer(HostBook{{{"a", {{{"${ip:it}", "::2"}}, {{"${ip:it}"}}}}}}),
       ok + "Content-Length: 73\r\n" + keep +
           R"({"code":200,"data":{"a":{"ip":["127.0.0.1","::2"],"ipv6":["127.0.0.1"]}}})"},
      {Garbage("raw"), "raw<closed>"},
      {CloseEarly(), "<closed>"},
  };
  for (const auto& [behaviour, bytes] : cases) {
    const Lab lab({HttpServer("it").On("/x", behaviour)});
    {
      RawClient client(lab);
      client.Send("GET /x?domain=a HTTP/1.1\r\n\r\n");
      EXPECT_EQ(client.ReadTo(bytes.ends_with(">") ? "<never>" : bytes), bytes);
    }
    EXPECT_TRUE(lab.journal().WaitForOpen("it", 0, kLimit));
  }
}

TEST(LabTest, ResetReachesTheClient) {
  const Lab lab({HttpServer("it").On("/x", Reset())});
  EXPECT_EQ(Get(lab, "/x"), "<reset>");
}

TEST(LabTest, BehavioursTakeTurnsUntilReplaced) {
  Lab lab({HttpServer("it").On("/x", {Answer(503), Answer("$${url:b} ${url:b}")}),
           HttpServer("b").At("::1")});
  EXPECT_THAT(Get(lab, "/x?any=query"), StartsWith("HTTP/1.1 503 Service Unavailable\r\n"));
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(Get(lab, "/x"), EndsWith("\r\n${url:b} http://" + lab.HostPort("b") + "<closed>"));
  }
  EXPECT_THAT(Get(lab, "/other"), StartsWith("HTTP/1.1 404 Not Found\r\n"));
  lab.SetBehaviours("it", "/x", {Answer("new")});
  lab.SetBehaviours("it", "/other", {Answer(201)});
  EXPECT_THAT(Get(lab, "/x"), EndsWith("new<closed>"));
  EXPECT_THAT(Get(lab, "/other"), StartsWith("HTTP/1.1 201 Scripted\r\n"));
  EXPECT_EQ(lab.journal().RequestsOf("it").size(), 6u);
  EXPECT_THROW(lab.SetBehaviours("it", "/x", {Answer("${c}")}), ScenarioError);
  EXPECT_THROW(lab.SetBehaviours("c", "/x", {Answer("")}), std::invalid_argument);
}

TEST(LabTest, RequestThatFindsTheQueueFullGets503AtOnce) {
  const Lab lab({HttpServer("it").On("/x", Answer("ok")).Limited(1, 1)});
  std::array<std::unique_ptr<RawClient>, 3> clients;
  for (size_t i = 0; i < clients.size(); ++i) {
    clients.at(i) = std::make_unique<RawClient>(lab);
    clients.at(i)->Send("GET /x HTTP/1.1\r\nConnection: close\r\n\r\n");
    ASSERT_TRUE(lab.journal().WaitForRequests(i + 1, kLimit));
  }
  EXPECT_THAT(clients[2]->ReadAll(), StartsWith("HTTP/1.1 503 "));
  EXPECT_THAT(clients[0]->ReadAll(), EndsWith("ok<closed>"));
}

TEST(LabTest, TakenPortIsRefusedByKey) {
  const Lab one({HttpServer("a")});
  EXPECT_THAT([&] { Lab({HttpServer("c").OnPort(one.Port("a"))}); },
              testing::ThrowsMessage<ScenarioError>(
                  StartsWith("servers[0].port: cannot listen on 127.0.0.1 port ")));
}

}  // namespace
}  // namespace lab
