// Reads any bytes as the two files of a client's log, and makes of them what the command line
// shows: the messages, the history, its words, its JSON, its counts, its page and its trace, as
// they are and without secrets.
//
// The last three bytes of an input are its Plan.
#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/log/log_format.h"
#include "base/platform/file.h"
#include "fuzz/expect.h"
#include "lab/temp_folder.h"
#include "tools/history/calendar.h"
#include "tools/history/history_json.h"
#include "tools/history/read_history.h"
#include "tools/history/redact_history.h"
#include "tools/history/stats.h"
#include "tools/history/why_words.h"
#include "tools/log_reader/log_reader.h"
#include "tools/timeline/page.h"
#include "tools/timeline/page_template.h"
#include "tools/timeline/trace.h"

namespace {

using history::FetchOutcome;
using history::History;
using history::TryOutcome;
using log_reader::LogMessage;
using log_reader::LogReader;

constexpr size_t kShares = 256;

// The application's key and the value of a query, which a redacted log must not show.
constexpr std::string_view kKey = "Planted-Key-7";
constexpr std::string_view kValue = "PlantedValue7";
constexpr std::string_view kPlanted =
    "03-14 15:09:26.535 4-8 [LV_APP] [multiple]Send sub url request:http://a/p?x=PlantedValue7&"
    "k=Planted-Key-7&sv=0&pv=0\n";

struct Plan {
  Plan(const uint8_t* bytes, std::string text)
      : has_buffer((bytes[0] & 1) != 0), second_share(bytes[2]), log(std::move(text)) {
    if (has_buffer) {
      buffer = log.substr(log.size() * bytes[1] / kShares);
      log.resize(log.size() - buffer.size());
    }
  }

  const bool has_buffer;
  const size_t second_share;  // how much of the log the first of two reads finds
  std::string log;
  std::string buffer;
};

// Returns the text of a buffer file, without the zeros of a clearing.
std::string TextOf(const std::string& buffer) {
  if (buffer.size() < zo_base::kLogBufferHeaderBytes) {
    return {};
  }
  int32_t count = 0;
  std::memcpy(&count, buffer.data(), sizeof count);
  std::string text =
      buffer.substr(zo_base::kLogBufferHeaderBytes, static_cast<size_t>(std::max(count, 0)));
  text.erase(text.find_last_not_of('\0') + 1);
  return text;
}

template <class Range>
std::string Joined(const Range& messages) {
  std::string bytes;
  for (const LogMessage& message : messages) {
    bytes += message.bytes;
  }
  return bytes;
}

// --- The reader ---

std::string ReadFiles(const std::string& path, const Plan& plan) {
  const std::string buffer_path = path + std::string(zo_base::kLogBufferSuffix);
  zo_base::WriteWholeFile(path, plan.log);
  plan.has_buffer ? static_cast<void>(zo_base::WriteWholeFile(buffer_path, plan.buffer))
                  : static_cast<void>(zo_base::RemoveFile(buffer_path));
  LogReader reader(path, LogReader::Writer::kIsGone);
  std::string text = reader.ReadNewText();
  Expect(text.starts_with(plan.log), "the log comes first", text);
  Expect(TextOf(plan.buffer).ends_with(std::string_view(text).substr(plan.log.size())),
         "the end of the buffer's text follows", text);
  Expect(reader.ReadNewText().empty(), "nothing comes twice");
  zo_base::RemoveFile(buffer_path);
  return text;
}

// Reads the log when it has a part of its messages, and again when it has all.
void ReadInTwoPieces(const std::string& path, const Plan& plan) {
  const std::vector<LogMessage> all = log_reader::ParseMessages(plan.log);
  auto second = all.begin() + static_cast<ptrdiff_t>(all.size() * plan.second_share / kShares);
  while (second != all.end() && second->level == "cut") {
    ++second;
  }
  zo_base::WriteWholeFile(path, Joined(std::vector<LogMessage>(all.begin(), second)));
  LogReader reader(path, LogReader::Writer::kIsGone);
  std::vector<LogMessage> pieces = reader.ReadNewMessages();
  zo_base::WriteWholeFile(path, plan.log);
  for (LogMessage& message : reader.ReadNewMessages()) {
    pieces.push_back(std::move(message));
  }
  Expect(std::equal(all.begin(), all.end(), pieces.begin(), pieces.end(),
                    [](const LogMessage& one, const LogMessage& other) {
                      return one.bytes == other.bytes && one.text == other.text &&
                             one.level == other.level && one.location == other.location;
                    }),
         "the same in two pieces", Joined(pieces));
}

// --- The history ---

bool IsInOrder(const History& history) {
  history::Calendar calendar;
  int64_t last_ms = 0;
  for (const LogMessage& message : history.messages) {
    if (message.time.empty()) {
      continue;
    }
    const int64_t at_ms = calendar.ToMs(message.time);
    if (at_ms < std::exchange(last_ms, at_ms)) {
      return false;
    }
  }
  return true;
}

void CheckFetch(const History& history, const history::Fetch& fetch, bool is_in_order) {
  const auto is_taken = [](const history::Try& one) { return one.outcome == TryOutcome::kTaken; };
  const auto wins = std::count_if(fetch.tries.begin(), fetch.tries.end(), is_taken);
  Expect(fetch.run < history.runs.size(), "a fetch has a run");
  Expect(!fetch.ask || &history.fetches.at(*history.asks.at(*fetch.ask).fetch) == &fetch,
         "an ask and its fetch know each other");
  Expect((fetch.outcome == FetchOutcome::kTaken) == fetch.taken.has_value() &&
             wins == (fetch.taken ? 1 : 0) &&
             (!fetch.taken || is_taken(fetch.tries.at(*fetch.taken))),
         "a fetch that is taken has one try that is");
  for (size_t i = 0; i < fetch.tries.size(); ++i) {
    const history::Try& one = fetch.tries[i];
    Expect(one.started_by.value_or(0) <= i && (!one.started_by || *one.started_by < i),
           "an earlier try causes a later one");
    Expect(!is_in_order || (one.end_ms.value_or(one.begin_ms) >= one.begin_ms &&
                            one.silent_ms.value_or(one.begin_ms) >= one.begin_ms),
           "a try ends after its begin", one.url);
    Expect(!one.messages.empty() && one.messages.back() < history.messages.size(),
           "a try has its lines");
  }
}

void Check(const History& history) {
  const bool is_in_order = IsInOrder(history);
  for (const history::Fetch& fetch : history.fetches) {
    CheckFetch(history, fetch, is_in_order);
  }
  for (const history::Document& document : history.documents) {
    Expect(!document.fetch || *document.fetch < history.fetches.size(), "a document has its fetch");
  }
  for (const history::Answer& answer : history.answers) {
    Expect(!answer.document || history.documents.at(*answer.document).run == answer.run,
           "an answer has a document of its run");
  }
}

// --- What the command line shows ---

// Returns the text of JSON as the command line prints it.
std::string TextOf(const nlohmann::ordered_json& json) {
  std::string text = json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  Expect(nlohmann::json::accept(text), "JSON is JSON", text);
  return text;
}

std::string Show(const History& history) {
  const history::WhyWords words(history);
  const std::string page = timeline::MakePage(history, "a.log");
  std::string_view data = page;
  data.remove_prefix(timeline::PageHead().size());
  data.remove_suffix(timeline::PageTail().size());
  Expect(nlohmann::json::accept(data) && data.find('<') == std::string_view::npos,
         "the page's data is JSON and no markup", std::string(data));
  return Joined(history.messages) + words.Last() + words.All() + TextOf(history::ToJson(history)) +
         TextOf(history::ToJson(history::MakeStats(history))) +
         TextOf(timeline::MakeTrace(history)) + std::string(data);
}

bool HasWord(std::string_view text, std::string_view word) {
  const auto is_part = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
  for (size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
    const size_t end = at + word.size();
    if (!(at > 0 && is_part(text[at - 1])) && !(end < text.size() && is_part(text[end]))) {
      return true;
    }
  }
  return false;
}

void ShowWithoutSecrets(const std::string& text) {
  History history = history::ReadHistory(log_reader::ParseMessages(std::string(kPlanted) + text));
  redactor::Redactor redactor;
  history::RedactHistory(redactor, history);
  const std::string shown = Show(history);
  Expect(!HasWord(shown, kKey), "no key is shown", shown);
  Expect(text.find(kValue) != std::string::npos || shown.find(kValue) == std::string::npos,
         "no value of a query is shown", shown);
  const std::string once = Joined(history.messages);
  redactor::Redactor second;
  history::RedactHistory(second, history);
  Expect(Joined(history.messages) == once, "to redact once is enough", once);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const auto* const folder = new lab::TempFolder;
  static const std::string path = folder->File("x.log");
  constexpr size_t kPlanBytes = 3;
  if (size < kPlanBytes) {
    return 0;
  }
  size -= kPlanBytes;
  const Plan plan(data + size, std::string(reinterpret_cast<const char*>(data), size));

  const std::string text = ReadFiles(path, plan);
  ReadInTwoPieces(path, plan);
  std::vector<LogMessage> messages = log_reader::ParseMessages(text);
  Expect(Joined(messages) == text, "the messages are the text");
  const History history = history::ReadHistory(std::move(messages));
  Check(history);
  Show(history);
  ShowWithoutSecrets(text);
  return 0;
}
