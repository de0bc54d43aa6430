// One fetch over several URLs: which answer wins, when, and what the log says of it.
#include <gmock/gmock.h>

#include <string>

#include "lab/lbs_document.h"
#include "tests/support/log_lines.h"
#include "tests/system/fetching_client.h"

namespace {

using testing::ElementsAre;

const std::string kGood = lab::LbsDocument()
                              .Link({"192.0.2.1:1"})
                              .LinkDefault({"192.0.2.2:2"})
                              .Lbs("http://127.0.0.1:3/lbs/conf.jsp")
                              .Text();

class FetchTest : public FetchingClientTest {
 protected:
  void ExpectGood(zo_sturdy::IZOSturdyLBSService& service) {
    EXPECT_EQ(AwaitUpdate(), Update(200, kGood));
    EXPECT_EQ(Link(service), "192.0.2.1:1");
  }
  // The turns that the fetch has taken: time-outs, answers, switches, judgements and its end.
  Messages Turns() {
    EXPECT_TRUE(log_.WaitFor("[multiple]Request return,release request object"));
    Messages turns;
    for (const std::string& line : log_.Tagged({"[multiple]"})) {
      for (const char* part : {"url request time out index", "]Index:", "]Switch to index",
                               "check response ", "need statics", "Use http dns"}) {
        if (line.find(part) != std::string::npos) {
          turns.push_back(line.substr(10));
        }
      }
    }
    return turns;
  }

  const LogLines log_{folder_.path()};
};

TEST_F(FetchTest, ARefusedUrlCostsNothingAndASilentOneTwoSeconds) {
  lab::Lab lab({lab::HttpServer("refused").Listens(lab::Listening::kRefuse),
                lab::HttpServer("stuck").Listens(lab::Listening::kNeverConnect),
                lab::HttpServer("good").On(kPath, lab::Answer(kGood))});
  const auto begin = std::chrono::steady_clock::now();
  auto& service = Fetch(lab, {"refused", "stuck", "good"});
  EXPECT_EQ(Link(service), "127.0.0.1:9");
  ExpectGood(service);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(lab.Requests()[0].query, "k=token&sv=0&pv=0&tp=0&networkType=2");
  EXPECT_THAT(Turns(),
              ElementsAre("[rsp]Index:0 code :0", "[rsp]Business check response false,index :0",
                          "[rsp]Switch to index :1 triggered by :0",
                          "[time out]Sub url request time out index:1",
                          "[time out]Switch to index :2 triggered by :1", "[rsp]Index:2 code :200",
                          "[rsp]Business check response true,index :2",
                          "Request fail need statics size 1"));
}

TEST_F(FetchTest, ALateAnswerOfAnEarlierUrlWins) {
  lab::Lab lab({lab::HttpServer("slow").On(kPath, lab::Answer(kGood).InPieces(6, 3000)),
                lab::HttpServer("refused").Listens(lab::Listening::kRefuse)});
  ExpectGood(Fetch(lab, {"slow", "refused"}));
  EXPECT_THAT(Turns(),
              ElementsAre("[time out]Sub url request time out index:0",
                          "[time out]Switch to index :1 triggered by :0", "[rsp]Index:1 code :0",
                          "[rsp]Business check response false,index :1", "[rsp]Index:0 code :200",
                          "[rsp]Business check response true,index :0",
                          "Request fail need statics size 1"));
}

TEST_F(FetchTest, AnswersThatAreNoDocumentLeaveTheOldOne) {
  const std::string incomplete =
      R"({"common":{"link":["192.0.2.1:1"],"lbs":"http://127.0.0.1:3/"}})";
  lab::Lab lab({lab::HttpServer("broken").On(kPath, lab::Answer(500, "no")),
                lab::HttpServer("incomplete").On(kPath, lab::Answer(incomplete)),
                lab::HttpServer("garbage").On(kPath, lab::Garbage())});
  auto& service = Fetch(lab, {"broken", "incomplete", "garbage"});
  const std::string old = Document(service);
  EXPECT_EQ(AwaitUpdate(), Update(0, old));
  EXPECT_EQ(Link(service), "127.0.0.1:9");
  // The servers of this test have addresses, no names.
  EXPECT_THAT(Turns(),
              ElementsAre("[rsp]Index:0 code :500", "[rsp]Business check response false,index :0",
                          "[rsp]Switch to index :1 triggered by :0", "[rsp]Index:1 code :200",
                          "[rsp]Business check response false,index :1",
                          "[rsp]Switch to index :2 triggered by :1", "[rsp]Index:2 code :0",
                          "[rsp]Business check response false,index :2",
                          "Request fail need statics size 3", "Use http dns,host list empty"));
}

// The URL's time-out and the transfer's own fall together: either may come first.
TEST_F(FetchTest, AUrlThatAcceptsAndStaysSilentIsPassedOver) {
  lab::Lab lab({lab::HttpServer("silent").On(kPath, lab::Silent()),
                lab::HttpServer("good").On(kPath, lab::Answer(kGood))});
  ExpectGood(Fetch(lab, {"silent", "good"}));
  EXPECT_EQ(lab.RequestsOf("good").size(), 1u);
  EXPECT_EQ(log_.With("]Switch to index :1 triggered by :0").size(), 1u)
      << "the next URL goes out once, whichever comes first";
}

}  // namespace
