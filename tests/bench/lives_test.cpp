// Random lives of a client, played by the library and by the rules of the herd: each step must be
// the same, at the same millisecond.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/herd/rules.h"
#include "lab/lbs_document.h"
#include "lab/server_cache.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "tests/src/http_agent/agent_fixture.h"
#include "tests/support/client_calls.h"
#include "tests/support/sanitizers.h"

namespace {

using herd::Kind;
using herd::Stage;

constexpr int64_t kLifeMs = 60000;
constexpr char kDefault[] = "10.9.9.9:9";
constexpr size_t kEndpoints = 3;

// What the world does in one life, drawn from its number. The n-th request, or the n-th attempt to
// connect, gets the n-th entry, whoever asks.
class Script {
 public:
  struct Step {
    int64_t after_ms;
    bool good;
  };

  explicit Script(uint64_t number) : number_(number), random_(number) {
    urls = 1 + Draw(3);
    named = Draw(2) == 0;
    loop.base_ms = Draw(4) == 0 ? 0 : static_cast<uint32_t>(1 + Draw(4000));
    loop.pause_each = Draw(4) == 0;
    loop.wake_on = static_cast<herd::WakeOn>(Draw(3));
    good_urls = Draw(100);
    good_links = Draw(20);
    for (size_t i = 0; i < 4; ++i) {
      calls_ms.push_back(static_cast<int64_t>(Draw(kLifeMs)));
    }
  }

  // A refusal comes soon, an answer may be late.
  Step Url(size_t n) const { return Entry(n, 1, good_urls, {30, 500, 1900, 2500, 6000, 8000}); }
  Step Link(size_t n) const { return Entry(n, 3, good_links, {20, 300, 5000}); }
  bool Knows(size_t n) const { return Entry(n, 4, good_urls, {1}).good; }  // of HTTP DNS
  int64_t StayMs(size_t n) const { return Entry(n, 5, 0, {20000}).after_ms; }
  // The list of the document with this number: two documents in a row have the same. List 0 is that
  // of the settings, which is the default.
  static size_t List(size_t document) { return (document + 1) / 2; }
  static int Links(size_t list) { return list == 0 ? 1 : static_cast<int>(1 + list * 7 % 4); }

  size_t urls;
  bool named;  // the URLs have names, so HTTP DNS can help
  herd::Loop loop;
  size_t good_urls, good_links;   // per cent
  std::vector<int64_t> calls_ms;  // of Update and of a new token, in turn
  uint32_t seed() const { return static_cast<uint32_t>(number_) + 1; }

 private:
  size_t Draw(size_t count) { return random_() % count; }
  Step Entry(size_t n, uint64_t kind, size_t good, const std::vector<size_t>& most_ms) const {
    std::mt19937_64 random(((number_ * 8 + kind) << 20) + n);
    const size_t most = most_ms[random() % most_ms.size()];
    return {static_cast<int64_t>(1 + random() % most), random() % 100 < good};
  }

  uint64_t number_;
  std::mt19937_64 random_;
};

// Things that will happen, by their times. Two at the same millisecond leave their order open.
class Agenda {
 public:
  int64_t now() const { return now_; }
  bool is_ambiguous() const { return ambiguous_; }

  void At(int64_t ms, const std::function<void()>& task) {
    ambiguous_ = ambiguous_ || (ms != now_ && due_.contains(ms));
    due_.emplace(ms, task);
  }
  // Goes to the time of what comes next, and returns it; nothing at the end of the life.
  std::function<void()> Next() {
    if (due_.empty() || due_.begin()->first > kLifeMs) {
      return nullptr;
    }
    auto next = due_.extract(due_.begin());
    now_ = next.key();
    return std::move(next.mapped());
  }

 private:
  int64_t now_ = 0;
  bool ambiguous_ = false;
  std::multimap<int64_t, std::function<void()>> due_;
};

// What happened, as "1234 link 10.0.0.1:1". The order within a millisecond doesn't matter.
class Trace {
 public:
  void Note(int64_t ms, const std::string& what) { lines_.emplace_back(ms, what); }
  std::string Text() {
    std::sort(lines_.begin(), lines_.end());
    std::string text;
    for (const auto& [ms, what] : lines_) {
      text.append(std::to_string(ms)).append(" ").append(what).append("\n");
    }
    return text;
  }

 private:
  std::vector<std::pair<int64_t, std::string>> lines_;
};

std::string LinkText(size_t list, size_t place) {
  return list == 0 ? kDefault : "10.0." + std::to_string(list) + "." + std::to_string(place) + ":1";
}

// A life by the rules of the herd.
class HerdLife {
 public:
  explicit HerdLife(const Script& script) : script_(script) {}

  // Returns nothing if the order of two steps is open.
  std::optional<std::string> Play() {
    for (size_t i = 0; i < script_.calls_ms.size(); ++i) {
      agenda_.At(script_.calls_ms[i], [this, i] {
        if (!client_.fetch.under_way) {
          rules_.Fetch(client_, i % 2 == 1, false);
        }
      });
    }
    rules_.Fetch(client_, false, false);
    rules_.Connect(client_);
    while (const auto task = agenda_.Next()) {
      task();
    }
    return agenda_.is_ambiguous() ? std::nullopt : std::optional(trace_.Text());
  }

  // --- The World of the rules ---
  herd::Ms now() const { return static_cast<herd::Ms>(agenda_.now()); }
  const herd::Loop& loop() const { return script_.loop; }
  int LinkCount(const herd::Client&) const { return Script::Links(list_); }
  int UrlCount(const herd::Client& client, Kind) const {
    return static_cast<int>(client.stage == Stage::kHostQuery ? kEndpoints : script_.urls);
  }
  int PlaceToHold(const herd::Client&) const {
    for (int place = 0; place < Script::Links(list_); ++place) {
      if (LinkText(list_, static_cast<size_t>(place)) == link_) {
        return place;
      }
    }
    return 0;
  }
  void TryLink(herd::Client& client, std::optional<size_t> place) {
    link_ = place ? LinkText(list_, *place) : kDefault;
    trace_.Note(now(), "link " + link_);
    const size_t n = links_++;
    const Script::Step step = script_.Link(n);
    agenda_.At(now() + step.after_ms, [this, &client, step, n] {
      if (!step.good) {
        rules_.LinkFails(client);
        return;
      }
      rules_.LinkWorks(client);
      agenda_.At(now() + script_.StayMs(n), [this, &client] { rules_.Connect(client); });
    });
  }
  void Send(herd::Client& client, Kind kind, int url) {
    const uint16_t number = client.Of(kind).number;
    const auto end = [this, &client, kind, number, url](bool good) {
      rules_.End(client, kind, number, url, good);
    };
    Script::Step step{};
    const bool is_document = client.stage != Stage::kHostQuery;
    if (!is_document) {
      trace_.Note(now(), "query " + std::to_string(url));
      step = {0, script_.Knows(queries_++)};
    } else {
      trace_.Note(now(),
                  (client.stage == Stage::kFirstPass ? "url " : "address ") + std::to_string(url));
      step = script_.Url(sent_++);
    }
    agenda_.At(now() + step.after_ms, [this, end, step, is_document] {
      documents_ += step.good && is_document ? 1 : 0;
      end(step.good);
    });
  }
  void StartTimeOut(herd::Client& client, Kind kind, int url) {
    const uint16_t number = client.Of(kind).number;
    if (kind == Kind::kFetch && client.stage == Stage::kHostQuery) {
      return;  // answered at once
    }
    agenda_.At(now() + herd::kSilenceMs,
               [this, &client, kind, number, url] { rules_.TimeOut(client, kind, number, url); });
  }
  void StartPause(herd::Client& client, herd::Ms ms) {
    agenda_.At(now() + ms,
               [this, &client, number = client.pause] { rules_.PauseEnded(client, number); });
  }
  void StartUpdateAfter(herd::Client&, int64_t) {}
  bool NeedsHostQuery(const herd::Client&) const { return script_.named; }
  bool Take(herd::Client&) {
    trace_.Note(now(), "list");
    const size_t list = Script::List(documents_);
    return std::exchange(list_, list) != list;
  }
  int64_t UpdateLifetimeMs() const { return 0; }

 private:
  const Script& script_;
  Agenda agenda_;
  Trace trace_;
  std::string link_;
  size_t list_ = 0;       // of the document that the client holds
  size_t documents_ = 0;  // good answers so far, taken or not
  size_t links_ = 0, sent_ = 0, queries_ = 0;
  herd::Client client_{sturdy::Backoff(script_.loop.base_ms, script_.seed())};
  herd::Rules<HerdLife> rules_{*this};
};

// A life played by the library, on a clock that the test sets.
class LibraryLife : public ServiceHarness {
 public:
  explicit LibraryLife(const Script& script) : script_(script) {
    zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->SetLevel(zo_base::LV_KER);
    transport_->on_send = [this](const std::string& url, const auto& done) { OnSend(url, done); };
    KRBASE::network::HttpClient::Instance()->StartForTest(transport_);
    lab::WriteServerCache(config->data_path, {.ipv4 = {{"10.8.8.1"}, {"10.8.8.2"}},
                                              .expires_in = std::chrono::hours(100000)});
    config->business_token = "0";
    agent_->SetEnvironmentConfig(config);
    service_->SetEnvironmentConfig(config);
    playing_ = this;
    service_->SetUpdateCallback([](int code, const char* document) {
      if (code == 200) {
        playing_->Locked([document] { playing_->fetched_ = document; });
      }
    });
  }
  ~LibraryLife() {
    service_->Stop();
    agent_->Stop();
    KRBASE::network::HttpClient::Instance()->Stop();
  }

  std::string Play() {
    for (size_t i = 0; i < script_.calls_ms.size(); ++i) {
      agenda_.At(script_.calls_ms[i], [this, i] {
        if (service_->IsUpdatingForTest()) {
          return;
        }
        stirred_ = true;
        if (i % 2 == 1) {
          SetToken(std::to_string(i));
        } else {
          service_->Update(net::kIPFamilyAny);
        }
      });
    }
    agent_->Start();
    zo_sturdy::_ZOSturdyLBSSettings record = LBSRecord(Url(0), kDefault);
    Fill(record.default_link_v6, kDefault);
    Fill(record.default_link_list[0], kDefault);
    for (size_t i = 1; i < script_.urls; ++i) {
      Fill(record.lbs_backup_urls[i - 1], Url(i));
    }
    service_->Start(record);
    Locked([this] { Connect(); });
    stirred_ = true;
    Settle();
    for (int64_t last_ms = 0; const auto task = agenda_.Next(); last_ms = agenda_.now()) {
      clock.Advance(agenda_.now() - last_ms);
      Locked(task);
      Settle();
    }
    return trace_.Text();
  }

 private:
  using Done = KRBASE::network::IHttpRequestor::Done;

  std::string Url(size_t i) const {
    return (script_.named ? "http://u" : "http://10.1.1.") + std::to_string(i) + "/lbs";
  }

  void Locked(const std::function<void()>& task) {
    const std::lock_guard lock(life_mutex_);
    task();
  }
  // Lets the service, the agent and HTTP DNS do what they can do at this time. A turn of all
  // threads is dear, so a step that leaves them alone takes none.
  void Settle() {
    while (std::exchange(stirred_, false)) {
      constexpr int kTurns = 3;  // an answer passes from thread to thread until it is taken
      for (int i = 0; i < kTurns; ++i) {
        RunOn(*service_);
        RunOnAgent();
      }
      // Wait until the transport has all that has been sent.
      const auto last = std::make_shared<KRBASE::network::HttpRequestUser>();
      std::promise<void> came;
      last->callback = [&](const auto&...) { came.set_value(); };
      KRBASE::network::HttpClient::Instance()->Send(last);
      came.get_future().wait();
      Locked([this] { WakeLoop(); });
    }
  }
  // The agent's thread runs it after all that it has, and after what is due.
  void RunOnAgent() {
    std::promise<void> ran;
    zo_sturdy::MultipleURLHttpRequest none;  // without URLs it fails at once
    none.callback = [&](bool, const std::string&, const std::string&) { ran.set_value(); };
    config->GetHttpRequestInvoker()(none, true);
    ran.get_future().wait();
  }
  void SetToken(const std::string& token) {
    const zo_base::RecursiveMutexLock lock(config->mutex);
    config->business_token = token;
    config->Emit(zo_sturdy::_EnvironmentConfig::SIG_BusinessTokenChanged, token);
  }

  // --- The client's loop, as in the examples ---
  void Connect() {
    const std::string link = Link(*service_);
    stirred_ = stirred_ || link == kDefault;
    trace_.Note(agenda_.now(), "link " + link);
    const size_t n = links_++;
    const Script::Step step = script_.Link(n);
    agenda_.At(agenda_.now() + step.after_ms, [this, link, n, good = step.good] {
      if (!good) {
        Fail();
        return;
      }
      const size_t colon = link.rfind(':');
      service_->HoldLinkAddress(link.substr(0, colon).c_str(),
                                static_cast<int16_t>(std::stoi(link.substr(colon + 1))));
      backoff_.Reset();
      agenda_.At(agenda_.now() + script_.StayMs(n), [this] { Connect(); });
    });
  }
  void Fail() {
    const uint32_t pause_ms =
        backoff_.AfterFailure(script_.loop.pause_each ? 0 : service_->GetLinkHostCount());
    if (pause_ms == 0) {
      Connect();
      return;
    }
    pausing_ = ++pauses_;
    agenda_.At(agenda_.now() + pause_ms, [this, number = pauses_] {
      if (pausing_ == number) {
        pausing_ = 0;
        Connect();
      }
    });
  }
  void WakeLoop() {
    if (!fetched_) {
      return;
    }
    trace_.Note(agenda_.now(), "list");
    const bool is_new = document_ != *fetched_;
    document_ = *std::exchange(fetched_, std::nullopt);
    if (!is_new && script_.loop.wake_on != herd::WakeOn::kAnyList) {
      return;
    }
    backoff_.Reset();
    if (pausing_ != 0 && script_.loop.wake_on != herd::WakeOn::kNothing) {
      pausing_ = 0;
      Connect();
    }
  }

  // Runs on the client's thread of requests.
  void OnSend(const std::string& url, const Done& done) {
    const bool is_report = url.find("/statics/") != std::string::npos;
    if (url.empty() || is_report) {
      Respond(done, is_report ? 200 : 0, "");
      return;
    }
    const std::lock_guard lock(life_mutex_);
    if (url.find("/httpdns/v2/d") != std::string::npos) {
      Note("query " + std::to_string(query_++ % kEndpoints));
      const bool knows = script_.Knows(queries_++);
      query_ = knows ? 0 : query_;
      Respond(done, knows ? 200 : 0, kHosts);
      return;
    }
    const bool is_address = script_.named && url.find("//u") == std::string::npos;
    Note((is_address ? "address " : "url ") + url.substr(url.find("/lbs") - 1, 1));
    const Script::Step step = script_.Url(sent_++);
    const int64_t now = agenda_.now();
    agenda_.At(now + step.after_ms, [this, done, good = step.good] {
      stirred_ = true;
      Respond(done, good ? 200 : 500, good ? NextDocument() : "");
    });
    agenda_.At(now + herd::kSilenceMs, [this] { stirred_ = true; });
  }
  void Note(const std::string& what) { trace_.Note(agenda_.now(), what); }
  std::string NextDocument() {
    const size_t list = Script::List(++documents_);
    std::vector<std::string> links;
    for (int place = 0; place < Script::Links(list); ++place) {
      links.push_back(LinkText(list, static_cast<size_t>(place)));
    }
    std::vector<std::string> backup;
    for (size_t i = 1; i < script_.urls; ++i) {
      backup.push_back(Url(i));
    }
    return lab::LbsDocument()
        .Link(links)
        .LinkDefault({kDefault})
        .Lbs(Url(0))
        .LbsBackup(backup)
        .Text();
  }
  static void Respond(const Done& done, int code, const std::string& body) {
    const auto response = std::make_shared<KRBASE::network::HttpResponse>();
    response->status = code;
    response->body = body;
    done(response);
  }

  static constexpr char kHosts[] = R"({"code":200,"data":{"u0":{"ip":["10.2.2.0"],"ttl":100000},)"
                                   R"("u1":{"ip":["10.2.2.1"],"ttl":100000},)"
                                   R"("u2":{"ip":["10.2.2.2"],"ttl":100000}}})";
  static inline LibraryLife* playing_ = nullptr;

  const Script& script_;
  std::mutex life_mutex_;  // of all that a sent request changes
  Agenda agenda_;
  Trace trace_;
  const std::shared_ptr<ManualTransport> transport_ = std::make_shared<ManualTransport>();
  const std::shared_ptr<zo_sturdy::HttpAgent> agent_ = std::make_shared<zo_sturdy::HttpAgent>();
  const std::shared_ptr<zo_sturdy::ZOSturdyLBSServiceImpl> service_ =
      std::make_shared<zo_sturdy::ZOSturdyLBSServiceImpl>();
  sturdy::Backoff backoff_{script_.loop.base_ms, script_.seed()};
  std::optional<std::string> fetched_;  // the newest document, until the loop has looked at it
  std::string document_;                // whose list the loop walks
  bool stirred_ = false;                // the library's threads may have something to do
  size_t pauses_ = 0, pausing_ = 0;     // the number of the newest pause, and of the one that lasts
  size_t documents_ = 0, links_ = 0, sent_ = 0, queries_ = 0, query_ = 0;
};

// Set LIFE to the number of a life to play it alone.
TEST(Lives, AreTheSameInTheLibraryAndInTheHerd) {
  constexpr size_t kLives = kSanitized ? 100 : 1000;
  constexpr int kPlays = 20;
  const char* const only = std::getenv("LIFE");
  size_t played = 0;
  size_t steps = 0;
  for (uint64_t number = only == nullptr ? 0 : std::strtoull(only, nullptr, 10); played < kLives;
       ++number) {
    const Script script(number);
    const auto expected = HerdLife(script).Play();
    if (expected) {
      ++played;
      steps += static_cast<size_t>(std::count(expected->begin(), expected->end(), '\n'));
      // A busy machine can hold a thread up between a send and its timer, while the test sets the
      // clock. Such a life is played again; a rule that differs does so each time.
      std::string found;
      for (int plays = 0; plays < kPlays && found != *expected; ++plays) {
        found = LibraryLife(script).Play();
      }
      ASSERT_EQ(found, *expected) << "LIFE=" << number;
    }
    if (only != nullptr) {
      break;
    }
  }
  RecordProperty("steps", static_cast<int>(steps));
  EXPECT_GT(steps, 20 * played) << "lives in which little happens";
}

}  // namespace
