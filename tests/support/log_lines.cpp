#include "tests/support/log_lines.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::string_view kBufferSuffix = ".qel_mmap";
constexpr std::string_view kLogName = "sturdy_comp.log";
constexpr size_t kHeaderBytes = 4;
constexpr milliseconds kLookAgain{2};
constexpr size_t kMostPrinted = 200;

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

uintmax_t SizeOf(const std::string& path) {
  std::error_code error;
  const uintmax_t size = fs::file_size(path, error);
  return error ? 0 : size;
}

std::string BufferText(const std::string& log_path) {
  const std::string bytes = ReadAll(log_path + std::string(kBufferSuffix));
  if (bytes.size() < kHeaderBytes) {
    return {};
  }
  int32_t count = 0;
  std::memcpy(&count, bytes.data(), sizeof count);
  return bytes.substr(kHeaderBytes, static_cast<size_t>(std::max(count, 0)));
}

// The number of bytes of a line's prefix, 0 if it has none.
size_t ParsePrefix(const std::string& line, LogMessage& message) {
  std::array<char, 8> level{};
  int bytes = 0;
  std::sscanf(line.c_str(), "%*2d-%*2d %*2d:%*2d:%*2d.%*3d %u-%u [%7[A-Z_]]%n", &message.process_id,
              &message.thread_id, level.data(), &bytes);
  message.level = level.data();
  const auto length = static_cast<size_t>(bytes);
  return bytes > 0 && length < line.size() && line[length] == ' ' ? length + 1 : 0;
}

bool HasLocationLine(const std::string& level) {
  return level == "LV_KER" || level == "LV_ASS" || level == "LV_ERR" || level == "LV_WAR";
}

void ParseLines(std::string_view text, std::vector<LogMessage>& out) {
  bool text_comes_next = false;  // behind the line with the location
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    LogMessage message;
    if (const size_t prefix = ParsePrefix(line, message)) {
      text_comes_next = HasLocationLine(message.level);
      (text_comes_next ? message.location : message.text) = line.substr(prefix);
      out.push_back(message);
    } else if (text_comes_next) {
      out.back().text = line;
      text_comes_next = false;
    } else if (!out.empty() && !out.back().IsMarker()) {
      out.back().text += "\n" + line;
    } else {
      LogMessage rest;  // the log was cut in this line
      rest.level = "cut";
      rest.text = line;
      out.push_back(rest);
    }
  }
}

std::string Marker(const std::string& name) {
  const std::string dashes(23, '-');
  return "\r\n " + dashes + name + dashes + "\r\n";
}

testing::AssertionResult Failure(const std::string& wanted, const Messages& came) {
  auto result = testing::AssertionFailure() << wanted << "; the log has:";
  const size_t first = came.size() > kMostPrinted ? came.size() - kMostPrinted : 0;
  for (size_t i = first; i < came.size(); ++i) {
    result << "\n  " << came[i];
  }
  return result;
}

size_t CountWith(const Messages& messages, std::string_view part) {
  return static_cast<size_t>(
      std::count_if(messages.begin(), messages.end(),
                    [&](const std::string& text) { return text.find(part) != text.npos; }));
}

}  // namespace

LogLines::LogLines(std::string log_path_or_folder) : path_(std::move(log_path_or_folder)) {}

std::string LogLines::LogPath() const {
  std::error_code error;
  if (!fs::is_directory(path_, error)) {
    return path_;
  }
  // Until the first flush there is a buffer file alone.
  for (fs::recursive_directory_iterator it(path_, error), end; it != end; it.increment(error)) {
    if (it->path().stem() == kLogName || it->path().filename() == kLogName) {
      return (it->path().parent_path() / kLogName).string();
    }
  }
  return {};
}

// A flush moves text from the buffer to the log, so both are read again if the log has changed
// meanwhile; otherwise lines could be missing or be read twice.
std::string LogLines::Text() const {
  const std::string path = LogPath();
  for (;;) {
    const std::string log = ReadAll(path);
    const std::string buffer = BufferText(path);
    if (SizeOf(path) == log.size()) {
      return log + buffer;
    }
  }
}

std::vector<LogMessage> LogLines::All() const {
  const std::string text = Text();
  const std::array<std::string, 2> names = {"load from mmap file begin", "load from mmap file end"};
  std::vector<LogMessage> messages;
  std::string_view rest = text;
  for (;;) {
    size_t first = std::string_view::npos;
    std::string name;
    for (const std::string& each : names) {
      const size_t found = rest.find(Marker(each));
      if (found < first) {
        first = found;
        name = each;
      }
    }
    ParseLines(rest.substr(0, first), messages);
    if (name.empty()) {
      break;
    }
    LogMessage marker;
    marker.text = name;
    messages.push_back(marker);
    rest.remove_prefix(first + Marker(name).size());
  }
  messages.erase(messages.begin(),
                 messages.begin() + static_cast<ptrdiff_t>(std::min(skipped_, messages.size())));
  return messages;
}

Messages LogLines::Texts() const {
  return With("");
}

Messages LogLines::With(std::string_view part) const {
  Messages texts;
  for (const LogMessage& message : All()) {
    if (message.text.find(part) != std::string::npos) {
      texts.push_back(message.text);
    }
  }
  return texts;
}

Messages LogLines::Tagged(std::initializer_list<std::string_view> tags) const {
  Messages texts;
  for (const LogMessage& message : All()) {
    if (std::any_of(tags.begin(), tags.end(),
                    [&](std::string_view tag) { return message.text.starts_with(tag); })) {
      texts.push_back(message.text);
    }
  }
  return texts;
}

void LogLines::StartHere() {
  skipped_ += All().size();
}

testing::AssertionResult LogLines::WaitFor(std::string_view part, milliseconds limit) const {
  return WaitForCount(part, 1, limit);
}

testing::AssertionResult LogLines::WaitForCount(std::string_view part, size_t count,
                                                milliseconds limit) const {
  const auto result =
      WaitUntil([&](const Messages& texts) { return CountWith(texts, part) >= count; }, limit);
  return result ? result
                : Failure("no " + std::to_string(count) + " messages with \"" + std::string(part) +
                              "\"",
                          Texts());
}

// A store to mapped pages wakes nobody, so the log is looked at again and again.
testing::AssertionResult LogLines::WaitUntil(const std::function<bool(const Messages&)>& done,
                                             milliseconds limit) const {
  const auto end = steady_clock::now() + limit;
  for (;;) {
    const Messages texts = Texts();
    if (done(texts)) {
      return testing::AssertionSuccess();
    }
    if (steady_clock::now() >= end) {
      return Failure("what was waited for hasn't come", texts);
    }
    std::this_thread::sleep_for(kLookAgain);
  }
}
