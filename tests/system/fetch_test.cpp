// One fetch over several URLs at real servers: which answer wins, and what the log says of it.
#include <gmock/gmock.h>

#include <algorithm>
#include <initializer_list>
#include <optional>

#include "lab/lab.h"
#include "src/sturdy/config/multiple_url_request.h"
#include "tests/support/frozen_client.h"
#include "tests/support/request_lines.h"

namespace {

class FetchTest : public FrozenClient {
 protected:
  // Fetches from the servers in this order.
  void FetchFrom(std::initializer_list<lab::Server> servers) {
    lab_.emplace(servers);
    std::vector<std::string> urls;
    for (const lab::Server& server : servers) {
      urls.push_back(lab_->Url(server.name, kLbsPath));
      request_.urls.push_back({urls.back() + "?k=token&sv=0&pv=0&tp=0&networkType=2", ""});
    }
    Fetch(urls);
  }
  // The log has these lines of the fetch, from its begin to the release of its request.
  void ExpectLog(const std::string& sentences, const Messages& texts) {
    EXPECT_TRUE(log_.WaitFor("[multiple]Request return,release request object"));
    Messages lines = log_.Tagged({"[multiple]", "[lbs]"});
    lines.erase(lines.begin(), std::ranges::find(lines, "[lbs]UpdateLBS force = false"));
    // The thread that calls the client writes this one at any place near the end.
    EXPECT_EQ(std::erase(lines, "[lbs] Update LBS compare callback sdk"), 1u);
    std::erase_if(lines, [](const std::string& line) {  // the test's own calls
      return line.find("link addr") != std::string::npos ||
             line.find("Get link") != std::string::npos ||
             line.find("Addr may be") != std::string::npos ||
             line.starts_with("[lbs] Fetch begins");
    });
    EXPECT_EQ(lines, RequestLines(request_, sentences, texts));
  }

  const std::string good_ =
      TestDocument({"192.0.2.1:1"}, {"http://127.0.0.1:3/lbs/conf.jsp"}).Text();
  const lab::Server good_server_ = lab::HttpServer("good").On(kLbsPath, lab::Answer(good_));
  const lab::Server refused_ = lab::HttpServer("refused").Listens(lab::Listening::kRefuse);
  zo_sturdy::MultipleURLHttpRequest request_;
  std::optional<lab::Lab> lab_;
};

TEST_F(FetchTest, RefusedUrlCostsNothingAndSilentOneTwoSeconds) {
  FetchFrom(
      {refused_, lab::HttpServer("stuck").Listens(lab::Listening::kNeverConnect), good_server_});
  EXPECT_EQ(Link(*service_), kDefaultLink);
  ASSERT_TRUE(log_.WaitFor("[multiple]Start timer index:1"));
  AdvanceAgent(1999);
  EXPECT_THAT(log_.With("[time out]"), testing::IsEmpty());
  clock_.Advance(1);
  EXPECT_EQ(AwaitUpdate(), Update(200, good_));
  EXPECT_EQ(Link(*service_), "192.0.2.1:1");
  ExpectLog(
      "update;send 0;bad 0 0 false;stop 0;remove 0;waits false;-> 0 1;send 1;"
      "silent 1 false;silent-> 1 2;send 2;good 2 200 true;failures 1;complete true 0;"
      "parsed 0;end;release",
      {good_});
}

TEST_F(FetchTest, AnswersThatAreNoDocumentLeaveTheOldOne) {
  const std::string incomplete =
      R"({"common":{"link":["192.0.2.1:1"],"lbs":"http://127.0.0.1:3/"}})";
  FetchFrom({lab::HttpServer("broken").On(kLbsPath, lab::Answer(500, "no")),
             lab::HttpServer("incomplete").On(kLbsPath, lab::Answer(incomplete)),
             lab::HttpServer("garbage").On(kLbsPath, lab::Garbage())});
  const std::string old = Document(*service_);
  EXPECT_EQ(AwaitUpdate(), Update(0, old));
  EXPECT_EQ(Link(*service_), kDefaultLink);
  ExpectLog(
      "update;send 0;bad 0 500 false;stop 0;remove 0;waits false;-> 0 1;send 1;"
      "unusable 1 200 false 0;stop 1;remove 1;waits false;-> 1 2;send 2;bad 2 0 true;"
      "stop 2;remove 2;last;failures 3;second;nameless;complete false 1;end;release",
      {incomplete, ""});
}

}  // namespace
