#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tools/sturdyctl/demo_scenes.h"
#include "tools/sturdyctl/demo_stage.h"

namespace sturdyctl {

namespace {

constexpr char kDefaultLink[] = "localhost:7000";
// How long a silent URL is waited for before the next one is asked.
constexpr double kSilenceMs = 2000;

// Addresses reserved for documentation: the demo asks for them and never connects to them.
const List kFirstList = {"192.0.2.1:8001", "192.0.2.2:8002", "192.0.2.3:8003"};
const List kSecondList = {"198.51.100.1:9001", "198.51.100.2:9002"};

std::string Document(const List& links) {
  return lab::LbsDocument()
      .Link(links)
      .LinkDefault({"192.0.2.99:8099"})
      .Lbs(std::string("${url:good}") + kLbsPath)
      .Text();
}

// The servers of the scene, the client, and one method a step.
class FailOverScene {
 public:
  FailOverScene()
      : lab_({lab::HttpServer("dead").Listens(lab::Listening::kRefuse),
              lab::HttpsServer("mute").Listens(lab::Listening::kNoHandshake),
              lab::HttpServer("good").On(kLbsPath, lab::Answer(Document(kFirstList)))}) {
    stage_.options().token = "first-key";
    stage_.options().default_v4 = kDefaultLink;
    for (const char* server : {"dead", "mute", "good"}) {
      stage_.options().lbs_urls.push_back(lab_.Url(server, kLbsPath));
    }
    stage_.LeaveServerCache(lab_.Port("dead"));
  }

  bool Tell(Story& story) {
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
    Expect("a document came before the first answer", stage_.updates().Count() == 0);
    return std::string(kDefaultLink) + " at once: no cache, no server has answered yet";
  }

  std::string FailOver() {
    const Updates::Update update = stage_.WaitForUpdate(1);
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - started_;
    Expect("the code of the update", "200", std::to_string(update.code));
    Expect("the new list", Join(kFirstList), Join(update.links));
    Expect("the silent URL was asked once", lab_.Accepted("mute") == 1);
    Expect("the good URL was asked once", lab_.RequestsOf("good").size() == 1);
    Expect("the good URL waited for the silent one's 2 s", passed.count() >= kSilenceMs);
    Expect("and not for more", passed.count() < 2 * kSilenceMs);
    return "URL 0 refused, URL 1 stayed silent for 2 s, URL 2 answered\nlist: " +
           Join(update.links);
  }

  std::string Rotation() {
    for (const std::string& link : kFirstList) {
      ExpectNext(link, false);
    }
    ExpectNext("192.0.2.99:8099", true);
    ExpectNext(kFirstList[0], false);
    return "all servers of the list, then the document's default, then the first again";
  }

  std::string Hold() {
    // Not the one whose turn it is.
    stage_.client().service().HoldLinkAddress("192.0.2.3", 8003);
    ExpectNext(kFirstList[2], false);
    return "the one that worked comes first next time: " + kFirstList[2];
  }

  std::string FallBack() {
    const size_t requests = lab_.RequestsOf("good").size();
    ExpectNext("192.0.2.99:8099", true);  // the second default, after that of the rotation
    Expect("two defaults caused no fetch", lab_.RequestsOf("good").size() == requests);
    for (const std::string& link : kFirstList) {
      ExpectNext(link, false);
    }
    ExpectNext("192.0.2.99:8099", true);
    const Updates::Update update = stage_.WaitForUpdate(2);
    Expect("the code of the update", "200", std::to_string(update.code));
    Expect("the third default caused one request", lab_.RequestsOf("good").size() == requests + 1);
    return "the third default handed out caused a fetch, answered by the document's own URL";
  }

  std::string TokenChange() {
    lab_.SetBehaviours(
        "good", kLbsPath,
        {lab::Answer(Document(kFirstList)).HeldAt("late"), lab::Answer(Document(kSecondList))});
    stage_.client().service().Update(net::kIPFamilyAny);
    Expect("the fetch is under way", lab_.WaitForHeld("late", 1, kPatience));
    stage_.client().object().SetBusinessToken("second-key");
    const Updates::Update update = stage_.WaitForUpdate(3);
    Expect("the new list", Join(kSecondList), Join(update.links));
    const std::string query = lab_.RequestsOf("good").back().query;
    Expect("the key of the new request", "k=second-key", query.substr(0, query.find('&')));
    stage_.client().log().SkipToEnd();
    lab_.Release("late");
    stage_.WaitForLog("business token :second-key request business token:first-key");
    Expect("the old answer caused no update", stage_.updates().Count() == 3);
    ExpectNext(kSecondList[0], false);
    return "the new key was fetched with at once, the old key's late answer was ignored\nlist: " +
           Join(update.links);
  }

  std::string ServersGone() {
    lab_.StopListeningAll();
    stage_.ExitClient();
    std::string arguments = "link --token second-key --default-v4 " + std::string(kDefaultLink);
    for (const std::string& url : stage_.options().lbs_urls) {
      arguments += " --lbs " + url;
    }
    const nlohmann::json output = stage_.RunAnother(arguments);
    const auto& link = output.at("links").at(0);
    Expect("the new process's address", kSecondList[0],
           link.at("host").get<std::string>() + ":" + std::to_string(link.at("port").get<int>()));
    Expect("its source", "list", link.at("source").get<std::string>());
    char told[128];
    std::snprintf(told, sizeof(told),
                  "a new process answers %s from the cache, %.1f ms after its start",
                  kSecondList[0].c_str(), link.at("after_ms").get<double>());
    return told;
  }

  lab::Lab lab_;
  Stage stage_;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace

bool TellFailOver(Story& story) {
  FailOverScene scene;
  return scene.Tell(story);
}

}  // namespace sturdyctl
