// One fetch over several URLs: which answer wins, when, and what the log says of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "lab/lbs_document.h"
#include "tests/support/log_lines.h"
#include "tests/system/fetching_client.h"

namespace {

using testing::ElementsAreArray;

constexpr char kQuery[] = "?k=token&sv=0&pv=0&tp=0&networkType=2";

std::string GoodDocument() {
  return lab::LbsDocument()
      .Link({"192.0.2.1:1"})
      .LinkDefault({"192.0.2.2:2"})
      .Lbs("http://127.0.0.1:3/lbs/conf.jsp")
      .Text();
}

// Writes the lines that the rules demand of a fetch, step by step.
class Told {
 public:
  explicit Told(std::vector<std::string> urls) : urls_(std::move(urls)) {
    std::string list;
    for (const std::string& url : urls_) {
      list += "host: url:" + url + "\r\n";
    }
    Add({"[lbs]UpdateLBS force = false", "[lbs]UpdateLBS set updatting = true",
         "[lbs] Begin update LBS",
         "[multiple]Invoke send multiple_time_out:2000 time_out:7000 use http dns:true",
         "[multiple]Invoke send multiple url\r\n-----------------------\r\nurl list:\r\n" + list +
             "-----------------------"});
    Send(0);
  }

  Told& TimesOut(int i, bool last) {
    const std::string n = std::to_string(i);
    Add({"[multiple][time out]Sub url request time out index:" + n,
         "[multiple][time out]Stop sub url request timer index :" + n,
         std::string("[multiple][time out]All url requested :") + (last ? "true" : "false")});
    if (!last) {
      Add({"[multiple][time out]Switch to index :" + std::to_string(i + 1) +
           " triggered by :" + n});
      Send(i + 1);
    }
    return *this;
  }

  Told& Answers(int i, int code, bool last) {
    const std::string n = std::to_string(i);
    const std::string c = std::to_string(code);
    Add({"[multiple][rsp]Index:" + n + " code :" + c,
         std::string("[multiple][rsp]All url requested :") + (last ? "true" : "false"),
         "[lbs] Check response current business token :token request business token:token",
         "[lbs] Check response index:" + n + " code:" + c});
    return *this;
  }

  Told& Fails(int i, int code, bool last, bool armed, const std::string& bad_body = "") {
    const std::string n = std::to_string(i);
    Answers(i, code, last);
    Add({bad_body.empty() ? "[lbs] Check response res = false"
                          : "[lbs] Check response res = false for body "
                            "error\r\n-----------------------\r\nbody:\r\n" +
                                bad_body + "\r\n-----------------------",
         "[multiple][rsp]Business check response false,index :" + n});
    if (armed) {
      Add({"[multiple][rsp]Stop timer index :" + n});
    }
    Add({"[multiple][rsp]Remove timer index :" + n});
    failures_.insert(n + " " + std::to_string(code));
    if (!last) {
      Add({"[multiple][rsp]Has waitting request false",
           "[multiple][rsp]Switch to index :" + std::to_string(i + 1) + " triggered by :" + n});
      Send(i + 1);
    }
    return *this;
  }

  Told& Wins(int i, bool last, const std::string& body) {
    Answers(i, 200, last);
    Add({"[lbs] Check response res = true",
         "[multiple][rsp]Business check response true,index :" + std::to_string(i)});
    HandsOnFailures();
    Completes(true, body);
    Add({"[lbs]ParseLBSResponse rsp:\r\n--------------------------\r\n" + body +
             "\r\n--------------------------",
         "[lbs]ParseLBSResponse parsel result = true,update active lbs"});
    return Ends();
  }

  Told& AllFail(const std::string& last_body) {
    Add({"[multiple][rsp]All sub url has been requested"});
    HandsOnFailures();
    // The servers of these tests have addresses, no names.
    Add({"[multiple]Request return false, use http dns if fail:true",
         "[multiple]Use http dns,host list empty"});
    return Completes(false, last_body).Ends();
  }

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  Told& Add(const std::vector<std::string>& lines) {
    lines_.insert(lines_.end(), lines.begin(), lines.end());
    return *this;
  }
  void Send(int i) {
    Add({"[multiple]Send sub url request:" + urls_[i],
         "[multiple]Start timer index:" + std::to_string(i)});
  }
  void HandsOnFailures() {
    if (!failures_.empty()) {
      Add({"[multiple]Request fail need statics size " + std::to_string(failures_.size())});
    }
  }
  Told& Completes(bool success, const std::string& body) {
    return Add(
        {"[lbs] Update LBS complete current business token :token request business token:token",
         std::string("[lbs] Update LBS success = ") + (success ? "true" : "false"),
         "[lbs] Update LBS \r\n-----------------------\r\n" + body +
             "\r\n-----------------------"});
  }
  Told& Ends() {
    return Add({"[lbs] Update LBS compare post task to lbs thread for callback",
                "[lbs]UpdateLBS set updatting = false",
                "[multiple]Request return,release request object"});
  }

  const std::vector<std::string> urls_;
  std::vector<std::string> lines_;
  std::set<std::string> failures_;
};

class FetchTest : public FetchingClientTest {
 protected:
  static std::vector<std::string> Urls(const lab::Lab& lab,
                                       const std::vector<std::string>& servers) {
    std::vector<std::string> urls;
    for (const std::string& server : servers) {
      urls.push_back(lab.Url(server, kPath) + kQuery);
    }
    return urls;
  }

  // The lines of the fetch, from its begin to the release of its request. The line of the thread
  // that calls the client may stand anywhere near the end, and is taken out.
  Messages Logged() {
    const LogLines log(folder_.path());
    EXPECT_TRUE(log.WaitFor("[multiple]Request return,release request object"));
    Messages lines = log.Tagged({"[multiple]", "[lbs]"});
    lines.erase(lines.begin(),
                std::find(lines.begin(), lines.end(), "[lbs]UpdateLBS force = false"));
    const size_t all = lines.size();
    std::erase(lines, "[lbs] Update LBS compare callback sdk");
    EXPECT_EQ(lines.size(), all - 1);
    std::erase_if(lines, [](const std::string& line) {  // the test's own calls
      return line.find("link addr") != std::string::npos ||
             line.find("Get link") != std::string::npos ||
             line.find("Addr may be") != std::string::npos;
    });
    return lines;
  }
};

TEST_F(FetchTest, ARefusedUrlCostsNothingAndASilentOneTwoSeconds) {
  const std::string good = GoodDocument();
  lab::Lab lab({lab::HttpServer("refused").Listens(lab::Listening::kRefuse),
                lab::HttpServer("stuck").Listens(lab::Listening::kNeverConnect),
                lab::HttpServer("good").On(kPath, lab::Answer(good))});
  const auto begin = std::chrono::steady_clock::now();
  auto& service = Fetch(lab, {"refused", "stuck", "good"});
  EXPECT_EQ(Link(service), "127.0.0.1:9");
  EXPECT_EQ(AwaitUpdate(), Update(200, good));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(Link(service), "192.0.2.1:1");
  EXPECT_THAT(Logged(), ElementsAreArray(Told(Urls(lab, {"refused", "stuck", "good"}))
                                             .Fails(0, 0, false, true)
                                             .TimesOut(1, false)
                                             .Wins(2, true, good)
                                             .lines()));
}

TEST_F(FetchTest, ALateAnswerOfAnEarlierUrlWins) {
  const std::string good = GoodDocument();
  lab::Lab lab({lab::HttpServer("slow").On(kPath, lab::Answer(good).InPieces(6, 3000)),
                lab::HttpServer("refused").Listens(lab::Listening::kRefuse)});
  auto& service = Fetch(lab, {"slow", "refused"});
  EXPECT_EQ(AwaitUpdate(), Update(200, good));
  EXPECT_EQ(Link(service), "192.0.2.1:1");
  EXPECT_THAT(Logged(), ElementsAreArray(Told(Urls(lab, {"slow", "refused"}))
                                             .TimesOut(0, false)
                                             .Fails(1, 0, true, true)
                                             .Wins(0, true, good)
                                             .lines()));
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
  EXPECT_THAT(Logged(), ElementsAreArray(Told(Urls(lab, {"broken", "incomplete", "garbage"}))
                                             .Fails(0, 500, false, true)
                                             .Fails(1, 200, false, true, incomplete)
                                             .Fails(2, 0, true, true)
                                             .AllFail("")
                                             .lines()));
}

// The URL's time-out and the transfer's own fall together: either may come first.
TEST_F(FetchTest, AUrlThatAcceptsAndStaysSilentIsPassedOver) {
  const std::string good = GoodDocument();
  lab::Lab lab({lab::HttpServer("silent").On(kPath, lab::Silent()),
                lab::HttpServer("good").On(kPath, lab::Answer(good))});
  auto& service = Fetch(lab, {"silent", "good"});
  EXPECT_EQ(AwaitUpdate(), Update(200, good));
  EXPECT_EQ(Link(service), "192.0.2.1:1");
  EXPECT_EQ(lab.RequestsOf("good").size(), 1u);
  const LogLines log(folder_.path());
  const size_t switches =
      log.With("[multiple][time out]Switch to index :1 triggered by :0").size() +
      log.With("[multiple][rsp]Switch to index :1 triggered by :0").size();
  EXPECT_EQ(switches, 1u) << "the next URL goes out once, whichever comes first";
}

}  // namespace
