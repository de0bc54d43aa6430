#include "base/log/tqlog.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "base/platform/file.h"
#include "base/platform/local_time.h"
#include "base/platform/thread.h"
#include "base/thread/clock.h"
#include "base/thread/thread_info.h"

namespace zo_base {
namespace {

// A time of 18, two ids of at most 10, a level's name of 6, and the separators.
constexpr size_t kPrefixBytes = 64;
constexpr size_t kSecondTextBytes = sizeof "03-14 15:09:26" - 1;

void PutTwoDigits(char* out, int value) {
  out[0] = static_cast<char>('0' + value / 10 % 10);
  out[1] = static_cast<char>('0' + value % 10);
}

struct SecondText {
  int64_t second;
  std::array<char, kSecondTextBytes> text;
};

// Keeps the last second of each thread, since `localtime_r` takes a lock of the C library.
const SecondText& TextOfSecond(int64_t second) {
  thread_local SecondText last{-1, {}};
  // The text is empty before the first call, which may ask for second -1.
  if (last.second != second || last.text[0] == '\0') {
    const std::tm parts = LocalTime(second);
    std::memcpy(last.text.data(), "00-00 00:00:00", kSecondTextBytes);
    PutTwoDigits(&last.text[0], parts.tm_mon + 1);
    PutTwoDigits(&last.text[3], parts.tm_mday);
    PutTwoDigits(&last.text[6], parts.tm_hour);
    PutTwoDigits(&last.text[9], parts.tm_min);
    PutTwoDigits(&last.text[12], parts.tm_sec);
    last.second = second;
  }
  return last;
}

char* PutTime(char* out) {
  const int64_t now_ms = Clock::WallMs();
  int ms = static_cast<int>(now_ms % kMsPerSecond);
  int64_t second = now_ms / kMsPerSecond;
  if (ms < 0) {
    ms += kMsPerSecond;
    --second;
  }
  std::memcpy(out, TextOfSecond(second).text.data(), kSecondTextBytes);
  out += kSecondTextBytes;
  *out++ = '.';
  *out++ = static_cast<char>('0' + ms / 100);
  PutTwoDigits(out, ms % 100);
  return out + 2;
}

// An id costs a system call, so each is read once. A thread with a task loop has it in its record;
// any other thread keeps it here. The lines of a forked child show its parent's ids.
uint32_t LoggingThreadId() {
  const ThreadInfo* const info = CurrentThreadInfo();
  if (info != nullptr && info->thread_id != 0) {
    return info->thread_id;
  }
  thread_local uint32_t id = 0;
  if (id == 0) {
    id = CurrentThreadId();
  }
  return id;
}

uint32_t LoggingProcessId() {
  static const uint32_t id = CurrentProcessId();
  return id;
}

}  // namespace

std::string LogFolder(const std::string& path) {
  const size_t separator = path.find_last_of("/\\");
  if (separator == std::string::npos || separator == 0 || separator + 1 == path.size()) {
    return {};
  }
  return path.substr(0, separator + 1);
}

void MakeLogFolder(const std::string& path) {
  const std::string folder = LogFolder(path);
  if (!folder.empty() && !FolderExists(folder)) {
    CreateFolders(folder);
  }
}

TQLogHelperBase::TQLogHelperBase(int level, const SourceLocation& location) : level_(level) {
  std::array<char, kPrefixBytes> prefix;
  char* const limit = prefix.data() + prefix.size();
  char* out = PutTime(prefix.data());
  *out++ = ' ';
  out = std::to_chars(out, limit, LoggingProcessId()).ptr;
  *out++ = '-';
  out = std::to_chars(out, limit, LoggingThreadId()).ptr;
  *out++ = ' ';
  *out++ = '[';
  const std::string_view name = LogLevelName(level);
  out = std::copy(name.begin(), name.end(), out);
  *out++ = ']';
  *out++ = ' ';
  stream_.Append({prefix.data(), static_cast<size_t>(out - prefix.data())});
  if (level < LV_INT) {
    AppendLocation(location);
    stream_.Append("\n");
  }
}

void TQLogHelperBase::AppendFramed(const Framed& framed) {
  constexpr std::string_view kDashes = "\r\n-----------------------";
  stream_.Append(kDashes);
  stream_.Append("\r\n");
  stream_.Append(framed.caption);
  stream_.Append(framed.text);
  stream_.Append(kDashes);
}

void TQLogHelperBase::AppendLocation(const SourceLocation& location) {
  if (!location.function.empty() && location.line >= 0) {
    stream_.Append(location.file);
    stream_.Append(":");
    stream_.AppendNumber(location.line);
  }
}

}  // namespace zo_base
