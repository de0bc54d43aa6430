// One fetch over several URLs: which answer wins, when, and what the log says of it.
#include <algorithm>

#include "lab/lab.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"

namespace {

std::string Framed(const std::string& begin, const std::string& text, size_t dashes = 23) {
  const std::string frame = "\r\n" + std::string(dashes, '-');
  return begin + frame + "\r\n" + text + frame;
}

// Writes the lines that the rules demand of a fetch, step by step. URLs go by their index.
class Told {
 public:
  explicit Told(Messages urls) : urls_(std::move(urls)) {
    std::string list = "url list:";
    for (const std::string& url : urls_) {
      list += "\r\nhost: url:" + url;
    }
    Add({"[lbs]UpdateLBS force = false", "[lbs]UpdateLBS set updatting = true",
         "[lbs] Begin update LBS",
         "[multiple]Invoke send multiple_time_out:2000 time_out:7000 use http dns:true",
         Framed("[multiple]Invoke send multiple url", list)});
    SendNext();
  }

  Told& TimesOut(const std::string& i) {
    Add({"[multiple][time out]Sub url request time out index:" + i,
         "[multiple][time out]Stop sub url request timer index :" + i,
         "[multiple][time out]All url requested :false"});
    return SwitchFrom(i, "[multiple][time out]");
  }

  Told& Fails(const std::string& i, int code, const std::string& bad_body = "") {
    Answers(i, code);
    const std::string bad = "[lbs] Check response res = false";
    Add({bad_body.empty() ? bad : Framed(bad + " for body error", "body:\r\n" + bad_body),
         "[multiple][rsp]Business check response false,index :" + i,
         "[multiple][rsp]Stop timer index :" + i, "[multiple][rsp]Remove timer index :" + i});
    ++failures_;
    if (sent_ == urls_.size()) {
      return *this;
    }
    Add({"[multiple][rsp]Has waitting request false"});
    return SwitchFrom(i, "[multiple][rsp]");
  }

  const Messages& Wins(const std::string& i, const std::string& body) {
    Answers(i, 200);
    Add({"[lbs] Check response res = true",
         "[multiple][rsp]Business check response true,index :" + i});
    HandOnFailures();
    Complete("true", body);
    Add({Framed("[lbs]ParseLBSResponse rsp:", body, 26),
         "[lbs]ParseLBSResponse parsel result = true,update active lbs"});
    return End();
  }

  const Messages& AllFail() {
    Add({"[multiple][rsp]All sub url has been requested"});
    HandOnFailures();
    // The servers of these tests have addresses, no names.
    Add({"[multiple]Request return false, use http dns if fail:true",
         "[multiple]Use http dns,host list empty"});
    Complete("false", "");
    return End();
  }

 private:
  void Add(const Messages& lines) { lines_.insert(lines_.end(), lines.begin(), lines.end()); }
  void SendNext() {
    Add({"[multiple]Send sub url request:" + urls_[sent_],
         "[multiple]Start timer index:" + std::to_string(sent_)});
    ++sent_;
  }
  Told& SwitchFrom(const std::string& i, const std::string& tags) {
    Add({tags + "Switch to index :" + std::to_string(sent_) + " triggered by :" + i});
    SendNext();
    return *this;
  }
  void Answers(const std::string& i, int code) {
    Add({"[multiple][rsp]Index:" + i + " code :" + std::to_string(code),
         std::string("[multiple][rsp]All url requested :") +
             (sent_ == urls_.size() ? "true" : "false"),
         "[lbs] Check response current business token :token request business token:token",
         "[lbs] Check response index:" + i + " code:" + std::to_string(code)});
  }
  void HandOnFailures() {
    Add({"[multiple]Request fail need statics size " + std::to_string(failures_)});
  }
  void Complete(const std::string& success, const std::string& body) {
    Add({"[lbs] Update LBS complete current business token :token request business token:token",
         "[lbs] Update LBS success = " + success, Framed("[lbs] Update LBS ", body)});
  }
  const Messages& End() {
    Add({"[lbs] Update LBS compare post task to lbs thread for callback",
         "[lbs]UpdateLBS set updatting = false",
         "[multiple]Request return,release request object"});
    return lines_;
  }

  Messages urls_;
  Messages lines_;
  size_t sent_ = 0;
  int failures_ = 0;
};

class FetchTest : public ClientTest {
 protected:
  // In the order of trial. Gives what is to be told of it at first.
  Told FetchFrom(std::initializer_list<lab::Server> servers) {
    lab_.emplace(servers);
    Messages urls;
    for (const lab::Server& server : servers) {
      urls.push_back(lab_->Url(server.name, kLbsPath));
    }
    Fetch(urls);
    for (std::string& url : urls) {
      url += "?k=token&sv=0&pv=0&tp=0&networkType=2";
    }
    return Told(urls);
  }

  // The lines of the fetch, from its begin to the release of its request. The line of the thread
  // that calls the client may stand anywhere near the end, and is taken out.
  Messages Logged() {
    EXPECT_TRUE(log_.WaitFor("[multiple]Request return,release request object"));
    Messages lines = log_.Tagged({"[multiple]", "[lbs]"});
    lines.erase(lines.begin(), std::ranges::find(lines, "[lbs]UpdateLBS force = false"));
    EXPECT_EQ(std::erase(lines, "[lbs] Update LBS compare callback sdk"), 1u);
    std::erase_if(lines, [](const std::string& line) {  // the test's own calls
      return line.find("link addr") != std::string::npos ||
             line.find("Get link") != std::string::npos ||
             line.find("Addr may be") != std::string::npos;
    });
    return lines;
  }

  const std::string good_ =
      TestDocument({"192.0.2.1:1"}, {"http://127.0.0.1:3/lbs/conf.jsp"}).Text();
  const lab::Server good_server_ = lab::HttpServer("good").On(kLbsPath, lab::Answer(good_));
  const lab::Server refused_ = lab::HttpServer("refused").Listens(lab::Listening::kRefuse);
  const LogLines log_{folder_.path()};
  std::optional<lab::Lab> lab_;
};

TEST_F(FetchTest, ARefusedUrlCostsNothingAndASilentOneTwoSeconds) {
  const auto begin = std::chrono::steady_clock::now();
  Told told = FetchFrom(
      {refused_, lab::HttpServer("stuck").Listens(lab::Listening::kNeverConnect), good_server_});
  EXPECT_EQ(Link(*service_), "127.0.0.1:9");
  EXPECT_EQ(AwaitUpdate(), Update(200, good_));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(Link(*service_), "192.0.2.1:1");
  EXPECT_EQ(Logged(), told.Fails("0", 0).TimesOut("1").Wins("2", good_));
}

TEST_F(FetchTest, ALateAnswerOfAnEarlierUrlWins) {
  Told told = FetchFrom(
      {lab::HttpServer("slow").On(kLbsPath, lab::Answer(good_).InPieces(6, 3000)), refused_});
  EXPECT_EQ(AwaitUpdate(), Update(200, good_));
  EXPECT_EQ(Link(*service_), "192.0.2.1:1");
  EXPECT_EQ(Logged(), told.TimesOut("0").Fails("1", 0).Wins("0", good_));
}

TEST_F(FetchTest, AnswersThatAreNoDocumentLeaveTheOldOne) {
  const std::string incomplete =
      R"({"common":{"link":["192.0.2.1:1"],"lbs":"http://127.0.0.1:3/"}})";
  Told told = FetchFrom({lab::HttpServer("broken").On(kLbsPath, lab::Answer(500, "no")),
                         lab::HttpServer("incomplete").On(kLbsPath, lab::Answer(incomplete)),
                         lab::HttpServer("garbage").On(kLbsPath, lab::Garbage())});
  const std::string old = Document(*service_);
  EXPECT_EQ(AwaitUpdate(), Update(0, old));
  EXPECT_EQ(Link(*service_), "127.0.0.1:9");
  EXPECT_EQ(Logged(), told.Fails("0", 500).Fails("1", 200, incomplete).Fails("2", 0).AllFail());
}

// The URL's time-out and the transfer's own fall together: either may come first.
TEST_F(FetchTest, AUrlThatAcceptsAndStaysSilentIsPassedOver) {
  FetchFrom({lab::HttpServer("silent").On(kLbsPath, lab::Silent()), good_server_});
  EXPECT_EQ(AwaitUpdate(), Update(200, good_));
  EXPECT_EQ(Link(*service_), "192.0.2.1:1");
  EXPECT_EQ(lab_->RequestsOf("good").size(), 1u);
  EXPECT_EQ(log_.With("Switch to index :1 triggered by :0").size(), 1u)
      << "the next URL goes out once, whichever comes first";
}

}  // namespace
