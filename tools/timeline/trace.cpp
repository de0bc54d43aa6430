#include "tools/timeline/trace.h"

#include <algorithm>
#include <string>

#include "tools/history/try_words.h"

namespace timeline {

namespace {

using Json = nlohmann::ordered_json;
using history::History;

constexpr int64_t kUsPerMs = 1000;

// The threads of each process of the trace.
enum Track { kAnswers = 1, kAsks = 2, kEnds = 3, kBegins = 4 };

Json Event(const char* phase, const std::string& name, int64_t at_ms, size_t run, Track track) {
  return {{"ph", phase},          {"name", name},
          {"cat", "sturdy_comp"}, {"ts", at_ms * kUsPerMs},
          {"pid", run + 1},       {"tid", static_cast<int>(track)}};
}

Json Name(const char* what, const std::string& name, size_t run, int track) {
  return {
      {"ph", "M"}, {"name", what}, {"pid", run + 1}, {"tid", track}, {"args", {{"name", name}}}};
}

// Writes the events of one history. The id of a try and of a flow is its number over all fetches.
class TraceWriter {
 public:
  explicit TraceWriter(const History& history) : history_(history) {}

  Json Write() {
    for (size_t run = 0; run < history_.runs.size(); ++run) {
      AddRun(run);
    }
    for (const history::Fetch& fetch : history_.fetches) {
      for (const history::Try& one : fetch.tries) {
        AddTry(fetch, one);
      }
    }
    for (const history::Answer& answer : history_.answers) {
      Add(Instant(answer.host + ":" + std::to_string(answer.port), answer.at_ms, answer.run,
                  kAnswers));
    }
    for (const history::Ask& ask : history_.asks) {
      Add(Instant(history::TextOf(ask.because), ask.at_ms, ask.run, kAsks));
    }
    return {{"displayTimeUnit", "ms"}, {"traceEvents", std::move(events_)}};
  }

 private:
  void Add(Json event) { events_.push_back(std::move(event)); }

  static Json Instant(const std::string& name, int64_t at_ms, size_t run, Track track) {
    Json event = Event("i", name, at_ms, run, track);
    event["s"] = "t";
    return event;
  }

  void AddRun(size_t run) {
    Add(Name("process_name",
             "run " + std::to_string(run + 1) + ", process " +
                 std::to_string(history_.runs[run].process_id),
             run, 0));
    Add(Name("thread_name", "answers to the client", run, kAnswers));
    Add(Name("thread_name", "fetches asked for", run, kAsks));
    Add(Name("thread_name", "silences and failures", run, kEnds));
    Add(Name("thread_name", "requests that they caused", run, kBegins));
  }

  void AddTry(const history::Fetch& fetch, const history::Try& one) {
    const size_t id = ++last_id_;
    const std::string name = history::ShortUrl(one.url);
    Json begin = Event("b", name, one.begin_ms, fetch.run, kBegins);
    begin["id"] = id;
    begin["args"] = {{"kind", history::TextOf(fetch.kind)},
                     {"asked_because", history::TextOf(fetch.asked_because)},
                     {"index", one.index},
                     {"pass", one.pass},
                     {"outcome", history::TextOf(one.outcome)},
                     {"status", one.status},
                     {"cause", one.cause},
                     {"words", history::TryWords(one)}};
    Add(std::move(begin));
    if (one.silent_ms) {
      Json silence = Event("n", "silent", *one.silent_ms, fetch.run, kBegins);
      silence["id"] = id;
      Add(std::move(silence));
    }
    // A request without an end lasts as long as the run.
    const int64_t last_ms =
        fetch.run < history_.runs.size() ? history_.runs[fetch.run].last_ms : one.begin_ms;
    Json end =
        Event("e", name, one.end_ms.value_or(std::max(last_ms, one.begin_ms)), fetch.run, kBegins);
    end["id"] = id;
    Add(std::move(end));
    if (one.started_by) {
      AddFlow(fetch, fetch.tries.at(*one.started_by), one, id);
    }
  }

  // A flow binds to a slice of a thread, so each of its ends gets one of 1 µs.
  void AddFlow(const history::Fetch& fetch, const history::Try& from, const history::Try& to,
               size_t id) {
    const bool is_silence = to.started_because == history::StartedBecause::kSilence;
    const auto& cause_ms = is_silence ? from.silent_ms : from.end_ms;
    AddFlowEnd("s",
               (is_silence ? "silence of URL " : "failure of URL ") + std::to_string(from.index),
               cause_ms.value_or(to.begin_ms), fetch.run, kEnds, id);
    AddFlowEnd("f", "URL " + std::to_string(to.index), to.begin_ms, fetch.run, kBegins, id);
  }

  void AddFlowEnd(const char* phase, const std::string& name, int64_t at_ms, size_t run,
                  Track track, size_t id) {
    Json slice = Event("X", name, at_ms, run, track);
    slice["dur"] = 1;
    Add(std::move(slice));
    Json flow = Event(phase, "started because", at_ms, run, track);
    flow["id"] = id;
    flow["bp"] = "e";
    Add(std::move(flow));
  }

  const History& history_;
  Json events_ = Json::array();
  size_t last_id_ = 0;
};

}  // namespace

Json MakeTrace(const History& history) {
  return TraceWriter(history).Write();
}

}  // namespace timeline
