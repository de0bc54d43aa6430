// Clients with random servers. What their logs tell must equal what the servers saw.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/run_threads.h"
#include "tests/support/sanitizers.h"
#include "tests/support/test_document.h"
#include "tests/support/wait_until.h"
#include "tools/history/history_json.h"
#include "tools/history/read_history.h"
#include "tools/history/redact_history.h"
#include "tools/history/why_words.h"
#include "tools/log_reader/find_logs.h"
#include "tools/log_reader/log_reader.h"

namespace {

using history::Fetch;
using history::History;
using history::StartedBecause;
using history::Try;
using history::TryOutcome;

constexpr unsigned kSeed = 14;
constexpr size_t kScenarios = kSanitized ? 40 : 200;
constexpr int kAtOnce = kSanitized ? 16 : 50;
constexpr int kFirstPort = 10000;
constexpr size_t kMostUrls = 4;

// What a URL does, and what its try must say.
using Text = const std::string&;  // of a good document
struct Fault {
  lab::Behaviour (*behave)(Text);
  TryOutcome outcome;
  int status;
  const char* cause;
  bool is_slow = false;
};
constexpr std::array<Fault, 10> kFaults = {{
    {nullptr, TryOutcome::kFailed, 0, "refused"},
    {[](Text) { return lab::Answer(500); }, TryOutcome::kBadStatus, 500, ""},
    {[](Text) { return lab::Answer("{}"); }, TryOutcome::kBadDocument, 200, ""},
    {[](Text good) { return lab::Answer(good); }, TryOutcome::kTaken, 200, ""},
    {[](Text good) { return lab::Answer(good); }, TryOutcome::kTaken, 200, ""},
    {[](Text) { return lab::Silent(); }, TryOutcome::kFailed, 0, "head_timeout", true},
    {[](Text good) { return lab::Answer(good).InPieces(3, 3000); }, TryOutcome::kTaken, 200, "",
     true},
    {[](Text good) { return lab::Answer(good).Truncated(10); }, TryOutcome::kFailed, 200,
     "cut_short"},
    {[](Text) { return lab::Reset(); }, TryOutcome::kFailed, 0, "reset"},
    {[](Text) { return lab::Garbage(); }, TryOutcome::kFailed, 0, "malformed"},
}};
constexpr size_t kRefused = 0;

// Why a client fetches again.
constexpr std::array kReasons = {"token", "network", "update", "third_default", "default_timer"};

struct Url {
  bool is_named = false;           // has a second pass
  std::array<size_t, 2> faults{};  // of the first and the second pass
};

struct Scenario {
  std::vector<Url> urls;
  bool has_http_dns = true;
  std::string reason = "none";
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
    if (is_asked && below(2) == 0) {
      one.reason = kReasons[below(kReasons.size())];
    }
    one.is_killed = one.reason == "none" && below(3) == 0;
  }
  return scenarios;
}

// Returns the begin of the paths of a scenario's URLs. The number of the URL follows.
std::string FolderOf(size_t scenario) {
  return "/s" + std::to_string(scenario) + "/";
}

std::string PathOf(size_t scenario, size_t url) {
  return FolderOf(scenario) + std::to_string(url);
}

std::string AddressOf(size_t scenario, size_t url, size_t pass) {
  return "127.0.0.1:" + std::to_string(kFirstPort + (scenario * kMostUrls + url) * 2 + pass);
}

class Clients {
 public:
  Clients() : scenarios_(MakeScenarios()), lab_(Servers()) {
    for (size_t s = 0; s < scenarios_.size(); ++s) {
      for (size_t u = 0; u < scenarios_[s].urls.size(); ++u) {
        SetBehaviours(s, u);
      }
    }
  }

  // Runs each client to its end.
  void Run() {
    std::atomic<size_t> next{0};
    RunThreads(kAtOnce, [&](int /*thread*/) {
      for (size_t s = next++; s < scenarios_.size(); s = next++) {
        RunOne(s);
      }
    });
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
    return kFaults[scenarios_[scenario].urls[url].faults[pass]].behave(document);
  }

  void SetBehaviours(size_t s, size_t u) {
    const bool is_refused = scenarios_[s].urls[u].faults[0] == kRefused;
    if (!is_refused) {
      lab_.SetBehaviours("web", PathOf(s, u), {BehaviourOf(s, u, 0)});
    }
    lab_.SetBehaviours(is_refused ? "dead2" : "web2", PathOf(s, u), {BehaviourOf(s, u, 1)});
  }

  void RunOne(size_t s) {
    Scenario& one = scenarios_[s];
    one.data_path = folder_.File(std::to_string(s));
    lab::WriteServerCache(
        lab::DataFolder(one.data_path),
        {.ipv4 = {{"127.0.0.1", lab_.Port(one.has_http_dns ? "dns" : "dead"), false}}});
    std::vector<std::string> command = {SCENARIO_CLIENT, one.data_path, one.reason,
                                        one.is_killed ? "kill" : "exit"};
    for (size_t u = 0; u < one.urls.size(); ++u) {
      command.push_back(UrlOf(s, u));
    }
    lab::Child child(command);
    // The first request of a client is the sign for its change.
    if (one.reason == "token" || one.reason == "network") {
      const std::string prefix = FolderOf(s);
      EXPECT_TRUE(lab_.journal().WaitFor(
          [&](const std::vector<lab::Request>& requests) {
            return std::any_of(
                requests.rbegin(), requests.rend(),
                [&](const lab::Request& request) { return request.path.starts_with(prefix); });
          },
          kPatience));
      child.Signal();
    }
    one.address = child.ReadLine();
    child.Wait();
  }

  const lab::TempFolder folder_;
  std::vector<Scenario> scenarios_;
  lab::Lab lab_;
};

// Of all clients.
struct Counts {
  int tries = 0;
  int unsure = 0;
  int left = 0;  // that an exit dropped before they were sent
};

// What a client's log tells, against its scenario and its requests.
class Comparison {
 public:
  Comparison(const Clients& clients, size_t number, Counts& counts)
      : clients_(clients),
        number_(number),
        scenario_(clients.scenarios()[number]),
        counts_(counts) {
    const auto logs = log_reader::FindLogs(scenario_.data_path);
    history_ = history::ReadHistory(log_reader::LogReader(logs.at(0)).ReadNewMessages());
  }

  void Check(const std::vector<lab::Request>& requests) {
    std::vector<std::string> reasons;
    for (const Fetch& fetch : history_.fetches) {
      for (const Try& one : fetch.tries) {
        ++counts_.tries;
        counts_.unsure += one.is_unsure ? 1 : 0;
      }
      if (fetch.kind == history::Kind::kLbs) {
        reasons.emplace_back(TextOf(fetch.asked_because));
        CheckTries(fetch);
      }
    }
    std::vector<std::string> expected = {"start", scenario_.reason};
    expected.resize(scenario_.reason == "none" ? 1 : 2);
    EXPECT_EQ(reasons, expected);
    CheckRequests(requests);
    CheckAnswer();
    CheckOlderLog();
    CheckRedactedLog();
  }

 private:
  void CheckTries(const Fetch& fetch) {
    for (const Try& one : fetch.tries) {
      SCOPED_TRACE(one.url);
      const Fault& fault = FaultOf(one);
      const bool is_ended = one.outcome != TryOutcome::kLate &&
                            one.outcome != TryOutcome::kDropped &&
                            one.outcome != TryOutcome::kUnderWay;
      if (is_ended && !one.is_unsure && one.cause != "shut_down") {
        EXPECT_EQ(one.outcome, fault.outcome);
        // An exit can come before the line that has the status of a failed transfer.
        EXPECT_EQ(one.status, one.status == 0 && !one.cause.empty() ? 0 : fault.status);
        EXPECT_EQ(one.cause, fault.cause);
      } else if (!one.cause.empty() && one.cause != "shut_down") {
        EXPECT_EQ(one.cause, fault.cause);
      }
      // A URL that is silent can fail just before its silence is noticed.
      EXPECT_EQ(one.started_because == StartedBecause::kFirst, one.index == 0);
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
    for (const lab::Request& request : requests) {
      if (request.path.starts_with(FolderOf(number_))) {
        seen[request.query].push_back(clients_.Origin(request.server) + request.path);
      }
    }
    std::map<std::string, std::vector<std::string>> told;
    for (const Fetch& fetch : history_.fetches) {
      for (const Try& one : fetch.tries) {
        if (fetch.kind != history::Kind::kLbs || one.cause == "refused") {
          continue;
        }
        const size_t query_begin = one.url.find('?');
        const std::string query = one.url.substr(query_begin + 1);
        // An exit drops what hasn't been sent.
        const bool may_be_left = one.outcome == TryOutcome::kUnderWay ||
                                 (one.outcome == TryOutcome::kDropped && one.status == 0);
        if (may_be_left && told[query].size() >= seen[query].size()) {
          ++counts_.left;
          continue;
        }
        std::string origin = one.url.substr(0, query_begin);
        if (const size_t name = origin.find("localhost"); name != std::string::npos) {
          origin.replace(name, 9, "127.0.0.1");
        }
        told[query].push_back(origin);
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

  // A bundle's log is redacted, and tells the same.
  void CheckRedactedLog() {
    History redacted = history_;
    redactor::Redactor redactor;
    history::RedactHistory(redactor, redacted);
    const History again = history::ReadHistory(redacted.messages);
    EXPECT_EQ(history::WhyWords(again).All(), history::WhyWords(redacted).All());
    EXPECT_EQ(history::ToJson(again), history::ToJson(redacted));
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
  Counts& counts_;
  History history_;
};

TEST(Scenarios, LogsTellWhatTheServersSaw) {
  Clients clients;
  clients.Run();
  const std::vector<lab::Request> requests = clients.Requests();
  Counts counts;
  for (size_t s = 0; s < kScenarios; ++s) {
    SCOPED_TRACE("scenario " + std::to_string(s) + ", data in " + clients.scenarios()[s].data_path);
    Comparison(clients, s, counts).Check(requests);
  }
  std::printf("seed %u: %zu scenarios, %zu requests seen, %d tries, %d unsure, %d not sent\n",
              kSeed, kScenarios, requests.size(), counts.tries, counts.unsure, counts.left);
  EXPECT_LE(counts.unsure * 100, counts.tries);
  EXPECT_LE(counts.left * 100, counts.tries + 100);  // an exit can overtake a send
}

}  // namespace
