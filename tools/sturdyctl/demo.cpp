#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/story.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

using std::chrono::milliseconds;

// Nothing takes longer than this unless it is broken.
constexpr milliseconds kPatience(20000);
constexpr char kDefaultLink[] = "localhost:7000";
constexpr char kPath[] = "/lbs/conf.jsp";
// How long a silent URL is waited for before the next one is asked.
constexpr double kSilenceMs = 2000;

using List = std::vector<std::string>;
// Addresses reserved for documentation: the demo asks for them and never connects to them.
const List kFirstList = {"192.0.2.1:8001", "192.0.2.2:8002", "192.0.2.3:8003"};
const List kSecondList = {"198.51.100.1:9001", "198.51.100.2:9002"};

std::string Join(const List& list) {
  std::string text;
  for (const std::string& item : list) {
    text += (text.empty() ? "" : ", ") + item;
  }
  return text;
}

std::string Document(const List& links) {
  return lab::LbsDocument()
      .Link(links)
      .LinkDefault({"192.0.2.99:8099"})
      .Lbs(std::string("${url:good}") + kPath)
      .Text();
}

// The update callbacks that have come. Threads: any.
class Updates {
 public:
  struct Update {
    int code;
    List links;
  };

  void Add(int code, const std::string& document) {
    const std::lock_guard<std::mutex> lock(mutex_);
    updates_.push_back({code, LinkList(document)});
    added_.notify_all();
  }

  size_t Count() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return updates_.size();
  }

  Update WaitFor(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    Expect("the update callback did not come",
           added_.wait_for(lock, kPatience, [&] { return updates_.size() >= count; }));
    return updates_[count - 1];
  }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<Update> updates_;
};

class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "sturdy-demo-XXXXXX")) {
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::runtime_error("no temporary folder can be made");
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// The servers of the story, the client, and one method a step.
class Demo {
 public:
  Demo()
      : lab_({lab::HttpServer("dead").Listens(lab::Listening::kRefuse),
              lab::HttpsServer("mute").Listens(lab::Listening::kNoHandshake),
              lab::HttpServer("good").On(kPath, lab::Answer(Document(kFirstList)))}) {
    options_.token = "first-key";
    options_.data_folder = folder_.path();
    options_.lbs_urls = {lab_.Url("dead", kPath), lab_.Url("mute", kPath), lab_.Url("good", kPath)};
    options_.default_v4 = kDefaultLink;
  }

  bool Tell() {
    Story story;
    return story.Step("cold start", [this] { return ColdStart(); }) &&
           story.Step("fail-over", [this] { return FailOver(); }) &&
           story.Step("rotation", [this] { return Rotation(); }) &&
           story.Step("hold", [this] { return Hold(); }) &&
           story.Step("fall-back", [this] { return FallBack(); }) &&
           story.Step("token change", [this] { return TokenChange(); }) &&
           story.Step("servers gone", [this] { return ServersGone(); });
  }

 private:
  LinkAnswer Next() { return client_->NextLink(net::kIPFamilyAny); }

  void ExpectNext(const std::string& address, bool from_default) {
    const LinkAnswer answer = Next();
    Expect("the next link address", address, answer.HostPort());
    Expect("the source of " + address, from_default ? "default" : "list",
           answer.from_default ? "default" : "list");
  }

  std::string ColdStart() {
    started_ = std::chrono::steady_clock::now();
    client_ = std::make_unique<Client>(
        options_, [this](int code, const std::string& text) { updates_.Add(code, text); });
    Expect("the first link address", kDefaultLink, Next().HostPort());
    Expect("a document came before the first answer", updates_.Count() == 0);
    return std::string(kDefaultLink) + " at once: no cache, no server has answered yet";
  }

  std::string FailOver() {
    const Updates::Update update = WaitForUpdate(1);
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
    client_->service().HoldLinkAddress("192.0.2.2", 8002);
    ExpectNext(kFirstList[1], false);
    ExpectNext(kFirstList[2], false);
    return "the one that worked comes first next time: " + kFirstList[1];
  }

  std::string FallBack() {
    const size_t requests = lab_.RequestsOf("good").size();
    ExpectNext("192.0.2.99:8099", true);  // the second default, after that of the rotation
    Expect("two defaults caused no fetch", lab_.RequestsOf("good").size() == requests);
    for (const std::string& link : kFirstList) {
      ExpectNext(link, false);
    }
    ExpectNext("192.0.2.99:8099", true);
    const Updates::Update update = WaitForUpdate(2);
    Expect("the code of the update", "200", std::to_string(update.code));
    Expect("the third default caused one request", lab_.RequestsOf("good").size() == requests + 1);
    return "the third default handed out caused a fetch, answered by the document's own URL";
  }

  std::string TokenChange() {
    lab_.SetBehaviours(
        "good", kPath,
        {lab::Answer(Document(kFirstList)).HeldAt("late"), lab::Answer(Document(kSecondList))});
    client_->service().Update(net::kIPFamilyAny);
    Expect("the fetch is under way", lab_.WaitForHeld("late", 1, kPatience));
    client_->object().SetBusinessToken("second-key");
    const Updates::Update update = WaitForUpdate(3);
    Expect("the new list", Join(kSecondList), Join(update.links));
    const std::string query = lab_.RequestsOf("good").back().query;
    Expect("the key of the new request", "k=second-key", query.substr(0, query.find('&')));
    client_->log().SkipToEnd();
    lab_.Release("late");
    WaitForLog("business token :second-key request business token:first-key");
    Expect("the old answer caused no update", updates_.Count() == 3);
    ExpectNext(kSecondList[0], false);
    return "the new key was fetched with at once, the old key's late answer was ignored\nlist: " +
           Join(update.links);
  }

  std::string ServersGone() {
    lab_.StopListeningAll();
    client_.reset();
    std::string command = "/proc/self/exe";
    command = std::filesystem::read_symlink(command).string();
    command += " link --json --token second-key --default-v4 " + std::string(kDefaultLink) +
               " --data " + options_.data_folder;
    for (const std::string& url : options_.lbs_urls) {
      command += " --lbs " + url;
    }
    const auto output = nlohmann::json::parse(Run(command), nullptr, false);
    Expect("the new process printed its answer", output.is_object());
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

  Updates::Update WaitForUpdate(size_t count) {
    Updates::Update update = updates_.WaitFor(count);
    Expect("the document that was announced", Join(update.links),
           Join(LinkList(client_->Document(true))));
    return update;
  }

  void WaitForLog(const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < end) {
      for (const std::string& line : client_->log().ReadNewLines()) {
        if (line.find(text) != std::string::npos) {
          return;
        }
      }
      usleep(1000);
    }
    throw StepFailed("the log never said: " + text);
  }

  static std::string Run(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "re");
    Expect("a new process can be started", pipe != nullptr);
    char block[4096];
    for (size_t got; (got = fread(block, 1, sizeof(block), pipe)) > 0;) {
      output.append(block, got);
    }
    Expect("the new process ended well", pclose(pipe) == 0);
    return output;
  }

  TemporaryFolder folder_;
  lab::Lab lab_;
  ClientOptions options_;
  Updates updates_;
  std::unique_ptr<Client> client_;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace

int RunDemo() {
  std::puts("A client looks for its link server while its LBS servers fail.\n");
  Demo demo;
  if (!demo.Tell()) {
    std::puts("\nThe story did not come out as told.");
    return kExitFailed;
  }
  std::puts("\nEvery step came out as told.");
  return kExitOk;
}

}  // namespace sturdyctl
