// Clients with random servers. What their logs tell must equal what the servers saw.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/sanitizers.h"
#include "tests/support/test_document.h"
#include "tools/history/read_history.h"
#include "tools/log_reader/find_logs.h"
#include "tools/log_reader/log_reader.h"

namespace {

using history::AskedBecause;
using history::Fetch;
using history::History;
using history::StartedBecause;
using history::Try;
using history::TryOutcome;

constexpr unsigned kSeed = 14;
constexpr size_t kScenarios = kSanitized ? 40 : 200;
constexpr size_t kAtOnce = kSanitized ? 16 : 50;
constexpr int kFirstPort = 10000;
constexpr size_t kMostUrls = 4;

// What a URL does, and what its try must say.
struct Fault {
  const char* name;
  TryOutcome outcome;
  const char* cause;
  bool is_slow = false;
};
constexpr std::array<Fault, 10> kFaults = {{
    {"refused", TryOutcome::kFailed, "refused"},
    {"500", TryOutcome::kBadStatus, ""},
    {"bad document", TryOutcome::kBadDocument, ""},
    {"good", TryOutcome::kTaken, ""},
    {"good", TryOutcome::kTaken, ""},
    {"silent", TryOutcome::kFailed, "head_timeout", true},
    {"late", TryOutcome::kTaken, "", true},
    {"cut", TryOutcome::kFailed, "cut_short"},
    {"reset", TryOutcome::kFailed, "reset"},
    {"garbage", TryOutcome::kFailed, "malformed"},
}};
constexpr size_t kRefused = 0;

struct Url {
  bool is_named = false;           // has a second pass
  std::array<size_t, 2> faults{};  // of the first and the second pass
};

struct Scenario {
  std::vector<Url> urls;
  bool has_http_dns = true;
  std::string change = "none";
  bool is_killed = false;
  // Of its run.
  std::string data_path;
  std::string address;
};

std::vector<Scenario> MakeScenarios() {
  std::mt19937 random(kSeed);
  const auto below = [&](size_t bound) { return static_cast<size_t>(random() % bound); };
  std::vector<Scenario> scenarios(kScenarios);
  for (Scenario& one : scenarios) {
    one.urls.resize(1 + below(kMostUrls));
    bool is_asked = false;  // by a request that a server sees
    for (size_t pass : {0, 1}) {
      size_t slow = 0;
      for (Url& url : one.urls) {
        size_t& fault = url.faults[pass];
        do {
          fault = pass == 0 ? below(kFaults.size()) : 1 + below(kFaults.size() - 1);
        } while (kFaults[fault].is_slow && ++slow > 2);
        is_asked = is_asked || (pass == 0 && fault != kRefused);
        url.is_named = pass == 0 ? below(2) == 0 : url.is_named;
      }
    }
    one.has_http_dns = below(4) != 0;
    if (is_asked && below(3) == 0) {
      one.change = below(2) == 0 ? "token" : "network";
    }
    one.is_killed = one.change == "none" && below(3) == 0;
  }
  return scenarios;
}

std::string PathOf(size_t scenario, size_t url) {
  return "/s" + std::to_string(scenario) + "/" + std::to_string(url);
}

std::string AddressOf(size_t scenario, size_t url, size_t pass) {
  return "127.0.0.1:" + std::to_string(kFirstPort + (scenario * kMostUrls + url) * 2 + pass);
}

class Clients {
 public:
  Clients()
      : scenarios_(MakeScenarios()),
        lab_(Servers(), [this](const lab::Request& request) { OnRequest(request); }) {
    for (size_t s = 0; s < scenarios_.size(); ++s) {
      for (size_t u = 0; u < scenarios_[s].urls.size(); ++u) {
        SetBehaviours(s, u);
      }
    }
  }

  // Runs each client to its end.
  void Run() {
    std::atomic<size_t> next{0};
    std::vector<std::thread> threads;
    for (size_t i = 0; i < kAtOnce; ++i) {
      threads.emplace_back([&] {
        for (size_t s = next++; s < scenarios_.size(); s = next++) {
          RunOne(s);
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  [[nodiscard]] const std::vector<Scenario>& scenarios() const { return scenarios_; }
  [[nodiscard]] std::string UrlOf(size_t scenario, size_t url) const {
    const Url& of = scenarios_[scenario].urls[url];
    return std::string(of.is_named ? "http://localhost:" : "http://127.0.0.1:") +
           std::to_string(lab_.Port(of.faults[0] == kRefused ? "dead" : "web")) +
           PathOf(scenario, url);
  }
  [[nodiscard]] std::vector<lab::Request> Requests() const { return lab_.journal().Requests(); }
  [[nodiscard]] std::string Origin(const std::string& server) const { return lab_.Url(server); }

 private:
  static lab::Scenario Servers() {
    const lab::HostBook book{{{"localhost", {{{"127.0.0.2"}}, {}, 60}}}};
    return {lab::HttpServer("web"), lab::HttpServer("web2").At("127.0.0.2").OnPortOf("web"),
            lab::HttpServer("dead").Listens(lab::Listening::kRefuse),
            lab::HttpServer("dead2").At("127.0.0.2").OnPortOf("dead"),
            lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Answer(book))};
  }

  lab::Behaviour BehaviourOf(size_t scenario, size_t url, size_t pass) const {
    const size_t fault = scenarios_[scenario].urls[url].faults[pass];
    const std::string name = kFaults[fault].name;
    std::vector<std::string> backups;
    for (size_t u = 1; u < scenarios_[scenario].urls.size(); ++u) {
      backups.push_back(UrlOf(scenario, u));
    }
    const std::string document = lab::LbsDocument()
                                     .Link({AddressOf(scenario, url, pass)})
                                     .LinkDefault({"127.0.0.1:9"})
                                     .Lbs(UrlOf(scenario, 0))
                                     .LbsBackup(backups)
                                     .Text();
    if (name == "500") {
      return lab::Answer(500);
    }
    if (name == "bad document") {
      return lab::Answer("{}");
    }
    if (name == "silent") {
      return lab::Silent();
    }
    if (name == "late") {
      return lab::Answer(document).InPieces(3, 3000);
    }
    if (name == "cut") {
      return lab::Answer(document).Truncated(10);
    }
    if (name == "reset") {
      return lab::Reset();
    }
    return name == "garbage" ? lab::Garbage() : lab::Answer(document);
  }

  void SetBehaviours(size_t s, size_t u) {
    const bool is_refused = scenarios_[s].urls[u].faults[0] == kRefused;
    if (!is_refused) {
      lab_.SetBehaviours("web", PathOf(s, u), {BehaviourOf(s, u, 0)});
    }
    lab_.SetBehaviours(is_refused ? "dead2" : "web2", PathOf(s, u), {BehaviourOf(s, u, 1)});
  }

  // The first request of a client is the sign for its change.
  void OnRequest(const lab::Request& request) {
    const std::lock_guard lock(mutex_);
    asked_.insert(request.path.substr(0, request.path.rfind('/')));
    Sign(request.path.substr(0, request.path.rfind('/')));
  }
  void Sign(const std::string& client) {
    const auto running = running_.find(client);
    if (running != running_.end() && asked_.count(client) != 0) {
      running->second->Signal();
      running_.erase(running);
    }
  }

  void RunOne(size_t s) {
    Scenario& one = scenarios_[s];
    one.data_path = folder_.File(std::to_string(s));
    lab::WriteServerCache(
        lab::DataFolder(one.data_path),
        {.ipv4 = {{"127.0.0.1", lab_.Port(one.has_http_dns ? "dns" : "dead"), false}}});
    std::vector<std::string> command = {SCENARIO_CLIENT, one.data_path, one.change,
                                        one.is_killed ? "kill" : "exit"};
    for (size_t u = 0; u < one.urls.size(); ++u) {
      command.push_back(UrlOf(s, u));
    }
    lab::Child child(command);
    const std::string client = "/s" + std::to_string(s);
    if (one.change != "none") {
      const std::lock_guard lock(mutex_);
      running_[client] = &child;
      Sign(client);
    }
    one.address = child.ReadLine();
    child.Wait();
    const std::lock_guard lock(mutex_);
    running_.erase(client);
  }

  const lab::TempFolder folder_;
  std::vector<Scenario> scenarios_;
  std::mutex mutex_;
  std::set<std::string> asked_;                 // clients whose requests have come
  std::map<std::string, lab::Child*> running_;  // those that wait for their sign
  lab::Lab lab_;
};

// What a client's log tells, against its scenario and its requests.
class Comparison {
 public:
  Comparison(const Clients& clients, size_t number)
      : clients_(clients), number_(number), scenario_(clients.scenarios()[number]) {
    const auto logs = log_reader::FindLogs(scenario_.data_path);
    if (!logs.empty()) {
      history_ = history::ReadHistory(log_reader::LogReader(logs.front()).ReadNewMessages());
    }
  }

  void Check(const std::vector<lab::Request>& requests) {
    for (const Fetch& fetch : history_.fetches) {
      for (const Try& one : fetch.tries) {
        ++tries;
        unsure += one.is_unsure ? 1 : 0;
      }
      if (fetch.kind == history::Kind::kLbs) {
        CheckFetch(fetch);
      }
    }
    CheckRequests(requests);
    CheckAnswer();
    CheckOlderLog();
  }

  int tries = 0;
  int unsure = 0;

 private:
  void CheckFetch(const Fetch& fetch) {
    const bool is_first = &fetch == history_.fetches.data();
    EXPECT_EQ(fetch.asked_because, is_first                      ? AskedBecause::kStart
                                   : scenario_.change == "token" ? AskedBecause::kToken
                                                                 : AskedBecause::kNetwork);
    for (const Try& one : fetch.tries) {
      SCOPED_TRACE(one.url);
      const Fault& fault = FaultOf(one);
      const bool is_ended = one.outcome != TryOutcome::kLate &&
                            one.outcome != TryOutcome::kDropped &&
                            one.outcome != TryOutcome::kUnderWay;
      if (is_ended && !one.is_unsure && one.cause != "shut_down") {
        EXPECT_EQ(one.outcome, fault.outcome);
        EXPECT_EQ(one.cause, fault.cause);
      } else if (!one.cause.empty() && one.cause != "shut_down") {
        EXPECT_EQ(one.cause, fault.cause);
      }
      // A URL that is silent can fail just before its silence is noticed.
      const bool is_first_url = one.index == 0;
      EXPECT_EQ(one.started_because == StartedBecause::kFirst, is_first_url);
      if (one.started_because == StartedBecause::kSilence) {
        EXPECT_TRUE(FaultOf(fetch.tries.at(*one.started_by)).is_slow);
      } else if (one.started_because == StartedBecause::kFailure) {
        const Try& before = fetch.tries.at(*one.started_by);
        EXPECT_NE(FaultOf(before).outcome, TryOutcome::kTaken);
        EXPECT_EQ(before.index + 1, one.index);
      }
    }
  }

  // The requests of each fetch, which its query names, in their order.
  void CheckRequests(const std::vector<lab::Request>& requests) {
    std::map<std::string, std::vector<std::string>> seen;
    const std::string prefix = "/s" + std::to_string(number_) + "/";
    for (const lab::Request& request : requests) {
      if (request.path.starts_with(prefix)) {
        seen[request.query].push_back(clients_.Origin(request.server) + request.path);
      }
    }
    std::map<std::string, std::vector<std::string>> told;
    for (const Fetch& fetch : history_.fetches) {
      for (const Try& one : fetch.tries) {
        const size_t query = one.url.find('?');
        const bool is_sent = fetch.kind == history::Kind::kLbs && one.cause != "refused";
        // An exit drops what hasn't been sent.
        const bool is_left = one.outcome == TryOutcome::kUnderWay ||
                             (one.outcome == TryOutcome::kDropped && one.status == 0);
        if (is_sent && !(is_left && told[one.url.substr(query + 1)].size() >=
                                        seen[one.url.substr(query + 1)].size())) {
          std::string origin = one.url.substr(0, query);
          if (const size_t name = origin.find("localhost"); name != std::string::npos) {
            origin.replace(name, 9, "127.0.0.1");
          }
          told[one.url.substr(query + 1)].push_back(origin);
        }
      }
    }
    EXPECT_EQ(told, seen);
  }

  // The address that the client got names the URL whose document won.
  void CheckAnswer() {
    ASSERT_FALSE(history_.answers.empty());
    const history::Answer& answer = history_.answers.back();
    EXPECT_EQ(answer.host + ":" + std::to_string(answer.port), scenario_.address);
    const history::Document& document = history_.documents.at(answer.document.value());
    if (scenario_.address == "127.0.0.1:9") {
      EXPECT_EQ(document.from, history::Document::From::kSettings);
      return;
    }
    const Fetch& fetch = history_.fetches.at(document.fetch.value());
    const Try& taken = fetch.tries.at(fetch.taken.value());
    EXPECT_EQ(AddressOf(number_, UrlNumber(taken), static_cast<size_t>(taken.pass - 1)),
              scenario_.address);
  }

  // Without the lines that older versions didn't write, the tries and the winners are the same.
  void CheckOlderLog() {
    std::vector<log_reader::LogMessage> messages = history_.messages;
    std::erase_if(messages, [](const log_reader::LogMessage& message) {
      constexpr std::array kNewLines = {"[transfer] http", "[lbs] Fetch ", "[lbs] First document ",
                                        "[environment] ", "[multiple]Second pass of "};
      return std::any_of(kNewLines.begin(), kNewLines.end(),
                         [&](const char* begin) { return message.text.starts_with(begin); });
    });
    const History older = history::ReadHistory(messages);
    ASSERT_EQ(older.fetches.size(), history_.fetches.size());
    for (size_t f = 0; f < older.fetches.size(); ++f) {
      const Fetch& fetch = older.fetches[f];
      EXPECT_EQ(fetch.taken, history_.fetches[f].taken);
      ASSERT_EQ(fetch.tries.size(), history_.fetches[f].tries.size());
      for (size_t t = 0; t < fetch.tries.size(); ++t) {
        EXPECT_EQ(fetch.tries[t].url, history_.fetches[f].tries[t].url);
        EXPECT_EQ(fetch.tries[t].started_by, history_.fetches[f].tries[t].started_by);
      }
    }
  }

  static size_t UrlNumber(const Try& one) {
    const std::string path = one.url.substr(0, one.url.find('?'));
    return static_cast<size_t>(path.back() - '0');
  }
  const Fault& FaultOf(const Try& one) const {
    return kFaults[scenario_.urls.at(UrlNumber(one)).faults.at(static_cast<size_t>(one.pass - 1))];
  }

  const Clients& clients_;
  const size_t number_;
  const Scenario& scenario_;
  History history_;
};

TEST(Scenarios, LogsTellWhatTheServersSaw) {
  Clients clients;
  clients.Run();
  const std::vector<lab::Request> requests = clients.Requests();
  int tries = 0;
  int unsure = 0;
  for (size_t s = 0; s < kScenarios; ++s) {
    SCOPED_TRACE("scenario " + std::to_string(s) + ", data in " + clients.scenarios()[s].data_path);
    Comparison comparison(clients, s);
    comparison.Check(requests);
    tries += comparison.tries;
    unsure += comparison.unsure;
  }
  std::printf("seed %u: %zu scenarios, %zu requests seen, %d tries, %d unsure\n", kSeed, kScenarios,
              requests.size(), tries, unsure);
  EXPECT_LE(unsure * 100, tries);
}

}  // namespace
