// Small courses of a request, each compared with a plain account of the rules.
#include <array>
#include <cstdlib>

#include "tests/src/http_agent/agent_fixture.h"

namespace {

using Done = KRBASE::network::IHttpRequestor::Done;
using zo_base::Clock;

enum Dns { kNoNames, kRefuses, kUnknown, kKnown, kSilent, kDnsKinds };

constexpr std::array kCodes = {0, 500, 404, 200};
constexpr std::array kAnswerMs = {0, 1999, 2000, 2001, 5000};
constexpr std::array kEventMs = {0, 1999, 2000, 2001, 4000, 5000, 7001, 37000};
constexpr int64_t kQueryMs = 9000;  // a silent host query fails after it

constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

// When a server answers and how. A silent one's transfer ends in the end.
using Answer = std::pair<int64_t, int>;
constexpr size_t kAnswers = kCodes.size() * kAnswerMs.size() + 1;
Answer AnswerOf(size_t number) {
  number %= kAnswers;
  return number == kAnswers - 1 ? Answer(37000, 0)
                                : Answer(kAnswerMs.at(number % kAnswerMs.size()),
                                         kCodes.at(number / kAnswerMs.size()));
}

// What the servers and the owner of the request do, made from a number. At one instant, time-outs
// come before answers, or after them with the latest request's answer first. The event is an exit,
// or the end of the owner. It comes before both or after both.
struct Course {
  Course(int url_count, uint64_t number) {
    const auto take = [&number](size_t count) {
      return std::exchange(number, number / count) % count;
    };
    dns = static_cast<Dns>(take(kDnsKinds));
    exits = take(16) == 0;  // few, since each costs the start of threads
    event_ms = kEventMs.at(take(kEventMs.size()));
    event_first = take(2) == 0;
    time_out_first = take(2) == 0;
    for (int i = 0; i < url_count; ++i) {
      const std::string end = std::to_string(i) + "/";
      const size_t answer = take(kAnswers);
      urls.push_back("http://" + (dns == kNoNames ? "10.0.0." + end : "u" + end));
      answers[urls.back()] = AnswerOf(answer);
      answers["http://10.0.1." + end] = AnswerOf(answer + 8);
      answers["http://10.0.2." + end] = AnswerOf(answer + 16);
    }
  }

  Dns dns;
  bool exits, event_first, time_out_first;
  int64_t event_ms;
  std::vector<std::string> urls;
  std::map<std::string, Answer> answers;
};

// "0 http://u0/", "2000 true http://u0/": what was sent, and the outcome with the URL that decided
// it, at the times since the start.
using Trace = std::vector<std::string>;

// The rules of a request, told without its code.
class Rules {
 public:
  explicit Rules(const Course& course) : course_(course) {}

  Trace Tell() {
    const bool good = Pass(course_.urls) || (Query() && Pass(SecondUrls()));
    Note((good ? "true " : "false ") + answered_);
    return trace_;
  }

 private:
  // A URL is sent when the one before has failed, or has been silent for 2000 ms. The first good
  // answer ends the pass, or else the last answer.
  bool Pass(const std::vector<std::string>& urls) {
    constexpr int kEvent = -2;
    constexpr int kTimeOut = -1;
    // What is due, by the time, then by the order at that time. An answer is the number of its URL.
    std::map<std::array<int64_t, 3>, int> due;
    if (!event_over_) {
      due[{course_.event_ms, course_.event_first ? 0 : 4}] = kEvent;
    }
    int sent = 0;
    size_t in_flight = 0;
    const auto send_next = [&] {
      std::erase_if(due, [](const auto& entry) { return entry.second == kTimeOut; });
      if (static_cast<size_t>(sent) < urls.size() && !exited()) {
        Note(urls[sent]);
        due[{now_ + course_.answers.at(urls[sent]).first, 2,
             course_.time_out_first ? sent : -sent}] = sent;
        due[{now_ + 2000, course_.time_out_first ? 1 : 3}] = kTimeOut;
        ++sent;
        ++in_flight;
      }
    };
    for (send_next(); in_flight > 0;) {
      const auto [when, what] = *due.begin();
      due.erase(due.begin());
      now_ = std::max(now_, when[0]);
      if (what == kEvent) {
        event_over_ = true;
      } else if (what >= 0) {
        --in_flight;
        answered_ = urls[what];
        // The first answer ends a request whose owner is gone.
        if (course_.answers.at(urls[what]).second == 200 || (event_over_ && !exited())) {
          return true;
        }
      }
      if (what == kTimeOut || what + 1 == sent) {
        send_next();
      }
    }
    return false;
  }
  // Asks for the addresses of the hosts. An exit ends a query.
  bool Query() {
    if (course_.dns == kNoNames || exited()) {
      return false;
    }
    std::string hosts = "u0";
    for (size_t i = 1; i < course_.urls.size(); ++i) {
      hosts += ",u" + std::to_string(i);
    }
    Note("https://localhost/httpdns/v2/d?domain=" + hosts);
    if (course_.dns == kSilent) {
      now_ += kQueryMs;
      now_ = course_.exits ? std::min(now_, course_.event_ms) : now_;
    }
    return course_.dns == kKnown;
  }
  // The first two hosts have two addresses each.
  [[nodiscard]] std::vector<std::string> SecondUrls() const {
    std::vector<std::string> urls = {"http://10.0.1.0/", "http://10.0.2.0/", "http://10.0.1.1/",
                                     "http://10.0.2.1/"};
    urls.resize(course_.urls.size() == 1 ? 2 : 4);
    return urls;
  }
  [[nodiscard]] bool exited() const { return event_over_ && course_.exits; }
  void Note(const std::string& what) { trace_.push_back(std::to_string(now_) + " " + what); }

  const Course& course_;
  int64_t now_ = 0;
  std::string answered_;  // the last one
  bool event_over_ = false;
  Trace trace_;
};

// A loop that runs nothing by itself.
class ManualLoop : public zo_base::ITaskLoop {
 public:
  using Task = std::function<void()>;

  void AttachDelegate(const std::shared_ptr<zo_base::ITaskDelegate>&) override {}
  void PostAndWake(const Task& task) override { due_.emplace(0, task); }
  void PostTask(const Task& task) override { PostAndWake(task); }
  void PostHighPriorityTask(const Task& task) override { PostAndWake(task); }
  void PostDelayedTask(int delay_ms, const Task& task) override {
    due_.emplace(Clock::MonotonicMs() + delay_ms, task);
  }
  void PostRepeatedTask(int, const Task&, int) override { throw std::logic_error("not used"); }

  // The time of the next task; 0 for one that isn't delayed.
  [[nodiscard]] int64_t NextMs() const { return due_.empty() ? kNever : due_.begin()->first; }
  void RunNext() { due_.extract(due_.begin()).mapped()(); }

 private:
  std::multimap<int64_t, Task> due_;
};

// Requests on a loop of the test's own thread.
class RequestCourses : public AgentTest {
 protected:
  RequestCourses() {
    zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->SetLevel(zo_base::LV_KER);
    config->statistic_settings.Set({false, "", 1, 60000, 0});
    lab::WriteServerCache(config->data_path,
                          {.ipv4 = {}, .expires_in = std::chrono::hours(100000)});
    transport_->on_send = [this](const auto& url, const auto& done) { OnSend(url, done); };
    NewAgent();
  }
  ~RequestCourses() override { zo_base::ClearCurrentThreadInfo(); }

  // Plays the course, and returns what happened in it.
  Trace Play(const Course& course) {
    clock.Advance(3000);  // the cached hosts expire, also those that were read at a start
    course_ = course;
    start_ms_ = Clock::MonotonicMs();
    trace_.clear();
    event_over_ = false;
    Outcome outcome;
    zo_sturdy::MultipleURLHttpRequest request = Request(course.urls, outcome);
    request.use_http_dns = true;
    request.check = [this](int32_t, int32_t code, const auto&, const auto&, bool&) {
      return code == 200 || (event_over_ && !course_.exits);
    };
    request.ip_family = net::kIPFamilyV4;
    request.callback = [this](bool good, const auto&, const std::string& body) {
      Collect();
      Note(Clock::MonotonicMs(), (good ? "true " : "false ") + body);
    };
    agent_->InvokeMultipleURLHttpRequest(request);
    Collect();
    while (!in_flight_.empty() || !event_over_) {
      Step();
      Collect();
    }
    if (loop_ == nullptr) {
      NewAgent();
    }
    return trace_;
  }

 private:
  struct Sent {
    int64_t at;  // when its answer is due
    std::string url;
    Done done;
  };

  void NewAgent() {
    agent_->Stop();
    EXPECT_EQ(Live(), 0U);
    agent_ = std::make_shared<zo_sturdy::HttpAgent>();
    agent_->SetEnvironmentConfig(config);
    agent_->Start();
    loop_ = std::make_shared<ManualLoop>();
    zo_base::SetCurrentThreadInfo({"course", loop_});
  }
  // Does what comes next.
  void Step() {
    const auto answer =
        std::min_element(in_flight_.begin(), in_flight_.end(), [&](const Sent& a, const Sent& b) {
          return course_.time_out_first ? a.at < b.at : a.at <= b.at;
        });
    using Next = std::pair<int64_t, int>;  // the time, and the order at that time
    const Next event = {event_over_ ? kNever : start_ms_ + course_.event_ms,
                        course_.event_first ? 0 : 4};
    const Next task = {loop_ == nullptr ? kNever : loop_->NextMs(), course_.time_out_first ? 1 : 3};
    const Next next =
        std::min({event, task, {answer == in_flight_.end() ? kNever : answer->at, 2}});
    clock.Advance(std::max<int64_t>(next.first - Clock::MonotonicMs(), 0));
    if (next == event) {
      event_over_ = true;
      if (course_.exits) {
        zo_base::ClearCurrentThreadInfo();
        loop_.reset();
        if (course_.event_first || course_.dns == kSilent) {
          agent_->Stop();  // else it is about to stop
        }
      }
    } else if (next == task) {
      loop_->RunNext();
    } else {
      const Sent ended = *answer;
      in_flight_.erase(answer);
      Respond(ended.done, course_.answers[ended.url].second, ended.url);
      if (loop_ != nullptr) {
        loop_->RunNext();  // the answer
      }
    }
  }
  static void Respond(const Done& done, int code, const std::string& body) {
    const auto response = std::make_shared<KRBASE::network::HttpResponse>();
    response->status = code;
    response->body = body;
    done(response);
  }
  // Waits until the servers have all that has been sent.
  static void Collect() {
    const auto last = std::make_shared<KRBASE::network::HttpRequestUser>();
    std::promise<void> came;
    last->callback = [&](const auto&...) { came.set_value(); };
    KRBASE::network::HttpClient::Instance()->Send(last);
    came.get_future().wait();
  }
  void Note(int64_t at, const std::string& what) {
    trace_.push_back(std::to_string(at - start_ms_) + " " + what);
  }

  // Runs on the client's thread while the test's thread waits for it, or for a host query.
  void OnSend(const std::string& url, const Done& done) {
    if (url.empty()) {
      Respond(done, 0, "");
      return;
    }
    const int64_t now_ms = Clock::MonotonicMs();
    Note(now_ms, url);
    if (course_.answers.contains(url)) {
      in_flight_.push_back({now_ms + course_.answers[url].first, url, done});
      return;
    }
    // It is a host query.
    const bool may_exit = course_.exits && !event_over_;
    const int64_t exit_ms = may_exit ? start_ms_ + course_.event_ms : kNever;
    const int64_t end_ms = now_ms + (course_.dns == kSilent ? kQueryMs : 0);
    clock.Advance(std::min(exit_ms, end_ms) - now_ms);
    if (exit_ms < end_ms) {
      in_flight_.push_back({end_ms, url, done});
      agent_->RequestStop();
      return;
    }
    Respond(done, course_.dns == kUnknown || course_.dns == kKnown ? 200 : 0,
            std::string(R"({"code":200,"data":{)") + (course_.dns == kKnown ? kHosts : "") + "}}");
  }

  static constexpr char kHosts[] = R"("u0":{"ip":["10.0.1.0","10.0.2.0"],"ipv6":["::1"],"ttl":1},)"
                                   R"("u1":{"ip":["10.0.1.1","10.0.2.1"],"ttl":1})";
  std::shared_ptr<ManualLoop> loop_;
  Course course_{0, 0};
  int64_t start_ms_ = 0;
  bool event_over_ = false;
  Trace trace_;
  std::list<Sent> in_flight_;  // in the order of sending
};

// Set COURSE to the two numbers of a course to run it alone.
TEST_F(RequestCourses, FollowTheRules) {
  constexpr uint64_t kStep = 1000003;  // a prime: meets everything that servers and owner can do
  const uint64_t last = uint64_t{COURSES} * kStep;
  const char* const only = std::getenv("COURSE");
  for (int urls = 1; urls <= 3; ++urls) {
    for (uint64_t number = 0; number < last; number += kStep) {
      const std::string name = std::to_string(urls) + " " + std::to_string(number);
      if (only == nullptr || only == name) {
        const Course course(urls, number);
        ASSERT_EQ(Play(course), Rules(course).Tell()) << "COURSE='" << name << "'";
      }
    }
  }
}

}  // namespace
