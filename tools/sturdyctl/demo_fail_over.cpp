#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tools/sturdyctl/demo_scenes.h"
#include "tools/sturdyctl/demo_stage.h"

namespace sturdyctl {

namespace {

constexpr char kDefaultLink[] = "localhost:7000";
// How long a URL may stay silent before the client tries the next one.
constexpr double kSilenceMs = 2000;

// The link servers have addresses reserved for documentation. The demo never connects to them.
List FirstList() {
  return {"192.0.2.1:8001", "192.0.2.2:8002", "192.0.2.3:8003"};
}

List SecondList() {
  return {"198.51.100.1:9001", "198.51.100.2:9002"};
}

std::string Document(const List& links) {
  return lab::LbsDocument()
      .Link(links)
      .LinkDefault({"192.0.2.99:8099"})
      .Lbs(std::string("${url:good}") + kLbsPath)
      .Text();
}

// The servers, the client, and one method for each step.
class FailOverScene {
 public:
  FailOverScene()
      : lab_({lab::HttpServer("dead").Listens(lab::Listening::kRefuse),
              lab::HttpsServer("silent").Listens(lab::Listening::kNoHandshake),
              lab::HttpServer("good").On(kLbsPath, lab::Answer(Document(FirstList())))}) {
    stage_.options().token = "first-key";
    stage_.options().default_v4 = kDefaultLink;
    for (const char* server : {"dead", "silent", "good"}) {
      stage_.options().lbs_urls.push_back(lab_.Url(server, kLbsPath));
    }
    stage_.WriteServerCache(lab_.Port("dead"));
  }

  bool Play(Story& story) {
    return story.Step("cold start", [this] { return ColdStart(); }) &&
           story.Step("fail-over", [this] { return FailOver(); }) &&
           story.Step("rotation", [this] { return Rotation(); }) &&
           story.Step("hold", [this] { return Hold(); }) &&
           story.Step("fall-back", [this] { return FallBack(); }) &&
           story.Step("token change", [this] { return TokenChange(); }) &&
           story.Step("servers gone", [this] { return ServersGone(); });
  }

 private:
  LinkAnswer Next() { return stage_.client().NextLink(net::kIPFamilyAny); }

  void ExpectNext(const std::string& address, bool from_default) {
    const LinkAnswer answer = Next();
    Expect("the next link address", address, answer.HostPort());
    Expect("the source of " + address, from_default ? "default" : "list",
           answer.from_default ? "default" : "list");
  }

  std::string ColdStart() {
    started_ = std::chrono::steady_clock::now();
    stage_.StartClient();
    Expect("the first link address", kDefaultLink, Next().HostPort());
    Expect("no fetch has ended before the first answer", stage_.updates().Count() == 0);
    return "There is no cached document, and no server has answered yet.\n"
           "The client gets its default link server: " +
           std::string(kDefaultLink) + ".";
  }

  std::string FailOver() {
    const Updates::Update update = stage_.WaitForUpdate(1);
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - started_;
    Expect("the code of the update", "200", std::to_string(update.code));
    Expect("the new list", Join(FirstList()), Join(update.links));
    Expect("the silent URL is tried once", lab_.journal().Accepted("silent") == 1);
    Expect("the good URL is tried once", lab_.journal().RequestsOf("good").size() == 1);
    Expect("the silent URL gets its 2 s", passed.count() >= kSilenceMs);
    Expect("the silent URL gets no more than that", passed.count() < 2 * kSilenceMs);
    return "URL 0 refuses the connection.\n"
           "URL 1 stays silent, so the client tries the next one after 2 s.\n"
           "URL 2 answers with the list: " +
           Join(update.links) + ".";
  }

  std::string Rotation() {
    for (const std::string& link : FirstList()) {
      ExpectNext(link, false);
    }
    ExpectNext("192.0.2.99:8099", true);
    ExpectNext(FirstList()[0], false);
    return "The client gets the servers of the list in turn.\n"
           "Then it gets the document's default, and then the first server again.";
  }

  std::string Hold() {
    // Hold a server out of turn.
    stage_.client().service().HoldLinkAddress("192.0.2.3", 8003);
    ExpectNext(FirstList()[2], false);
    return "The client holds the server that worked: " + FirstList()[2] +
           ".\nIt is the next address.";
  }

  std::string FallBack() {
    const size_t requests = lab_.journal().RequestsOf("good").size();
    // The rotation got the first default. The second causes no fetch.
    ExpectNext("192.0.2.99:8099", true);
    Expect("two defaults cause no fetch", lab_.journal().RequestsOf("good").size() == requests);
    // The third one does.
    for (const std::string& link : FirstList()) {
      ExpectNext(link, false);
    }
    ExpectNext("192.0.2.99:8099", true);
    const Updates::Update update = stage_.WaitForUpdate(2);
    Expect("the code of the update", "200", std::to_string(update.code));
    Expect("the third default causes one request",
           lab_.journal().RequestsOf("good").size() == requests + 1);
    return "Two defaults cause no fetch.\nThe third causes one, from the URL in the document.";
  }

  std::string TokenChange() {
    // Hold the answer of a fetch, and change the token meanwhile.
    lab_.SetBehaviours(
        "good", kLbsPath,
        {lab::Answer(Document(FirstList())).HeldAt("late"), lab::Answer(Document(SecondList()))});
    stage_.client().service().Update(net::kIPFamilyAny);
    Expect("a fetch is running", lab_.gates().WaitForHeld("late", 1, kStepLimit));
    stage_.client().object().SetBusinessToken("second-key");
    // The client fetches with the new token at once.
    const Updates::Update update = stage_.WaitForUpdate(3);
    Expect("the new list", Join(SecondList()), Join(update.links));
    const std::string query = lab_.journal().RequestsOf("good").back().query;
    Expect("the token of the new request", "k=second-key", query.substr(0, query.find('&')));
    // The held answer comes late and is ignored.
    stage_.client().log().SkipToEnd();
    lab_.gates().Release("late");
    stage_.WaitForLog("business token :second-key request business token:first-key");
    Expect("the old answer causes no update", stage_.updates().Count() == 3);
    ExpectNext(SecondList()[0], false);
    return "The client changes its token during a fetch.\n"
           "It fetches again at once: " +
           Join(update.links) + ".\nThe late answer to the old token is ignored.";
  }

  std::string ServersGone() {
    lab_.StopListeningAll();
    stage_.ExitClient();
    std::vector<std::string> arguments = {"link", "--token", "second-key", "--default-v4",
                                          kDefaultLink};
    for (const std::string& url : stage_.options().lbs_urls) {
      arguments.insert(arguments.end(), {"--lbs", url});
    }
    const nlohmann::json output = stage_.RunAnother(arguments);
    const auto& link = output.at("links").at(0);
    Expect("the new process's address", SecondList()[0],
           link.at("host").get<std::string>() + ":" + std::to_string(link.at("port").get<int>()));
    Expect("its source", "list", link.at("source").get<std::string>());
    std::array<char, 128> text = {};
    std::snprintf(text.data(), text.size(),
                  "All servers are gone, and a new process starts.\n"
                  "It gets %s from the cache after %.1f ms.",
                  SecondList()[0].c_str(), link.at("after_ms").get<double>());
    return text.data();
  }

  lab::Lab lab_;
  Stage stage_;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace

bool PlayFailOver(Story& story) {
  FailOverScene scene;
  return scene.Play(story);
}

}  // namespace sturdyctl
