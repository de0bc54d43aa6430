// Starts the log on any bytes as the buffer and the log of an earlier run, and with folders in
// their places. A start must move the counted text of the buffer to the log, and later lines must
// follow.
//
// The last byte but one of an input is its Plan. The last one says how much of the rest is the log.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>

#include "base/log/log_format.h"
#include "base/log/tqlog.h"
#include "base/platform/file.h"
#include "base/process/tags.h"
#include "fuzz/expect.h"
#include "lab/temp_folder.h"

namespace {

constexpr uint32_t kBuffer = 256;
constexpr uint32_t kLargeBuffer = 4096;
constexpr uint32_t kSmallLog = 1024;
constexpr size_t kLimit = size_t{1} << 24;

// The conditions of one start.
struct Plan {
  explicit Plan(uint8_t byte)
      : buffer((byte & 1) != 0 ? kLargeBuffer : kBuffer),
        fill((byte & 2) != 0),
        small((byte & 4) != 0),
        folder_for_buffer((byte & 24) == 8),
        folder_for_log((byte & 24) == 16),
        folder_for_cut((byte & 32) != 0) {}

  const uint32_t buffer;
  const bool fill;   // the buffer file gets the buffer's length
  const bool small;  // the log's limit is a small one
  const bool folder_for_buffer;
  const bool folder_for_log;
  const bool folder_for_cut;
};

// Returns the text that a start must find in a buffer file.
std::string TextOf(const std::string& bytes) {
  if (bytes.size() < zo_base::kLogBufferHeaderBytes) {
    return {};
  }
  int32_t count = 0;
  std::memcpy(&count, bytes.data(), sizeof count);
  return bytes.substr(zo_base::kLogBufferHeaderBytes, static_cast<size_t>(std::max(count, 0)));
}

// Puts the files of the earlier run in their places.
void LeaveFiles(const std::string& path, const std::string& old_log, const std::string& buffer,
                const Plan& plan) {
  const std::string buffer_path = path + std::string(zo_base::kLogBufferSuffix);
  for (const std::string& place : {path, buffer_path, path + ".tmp"}) {
    std::filesystem::remove_all(place);
  }
  if (plan.folder_for_buffer) {
    zo_base::CreateFolders(buffer_path);
  } else {
    zo_base::WriteWholeFile(buffer_path, buffer);
  }
  if (plan.folder_for_log) {
    zo_base::CreateFolders(path);
  } else {
    zo_base::WriteWholeFile(path, old_log);
  }
  if (plan.folder_for_cut) {
    zo_base::CreateFolders(path + ".tmp");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) {
    return 0;
  }
  // Read the plan, and divide the rest between the log and the buffer.
  static const auto* const folder = new lab::TempFolder;
  static const std::string path = folder->File("x.log");
  const Plan plan(data[size - 2]);
  std::string left(reinterpret_cast<const char*>(data), size - 2);
  const size_t log_bytes = left.size() * data[size - 1] / 256;
  const std::string old_log = left.substr(0, log_bytes);
  left.erase(0, log_bytes);
  if (plan.fill) {
    left.resize(plan.buffer);
  }
  LeaveFiles(path, old_log, left, plan);

  // Start, and look for the buffer's text at the end of the log.
  zo_base::TQLogImplBase<zo_base::SturdyObject> logger;
  logger.SetLogFile(path, plan.small ? kSmallLog : 0, plan.buffer);
  const std::string taken_over = zo_base::ReadFilePrefix(path, kLimit);
  const std::string text = TextOf(left);
  if (!plan.folder_for_buffer && !plan.folder_for_log) {
    const std::string expected =
        text.empty() ? std::string() : text + std::string(zo_base::kOldTextEnd);
    // A log over its limit has lost its older half, perhaps with a part of the new text.
    Expect(taken_over.ends_with(expected) || (plan.small && expected.ends_with(taken_over)),
           "the buffer's text is in the log", taken_over);
    Expect(plan.small || taken_over.compare(0, old_log.size(), old_log) == 0, "the log goes on");
  }

  // Write lines, which must follow in the log, within its limit.
  constexpr int kLines = 40;  // fill the small buffer twice
  for (int i = 0; i < kLines; ++i) {
    logger.Write(zo_base::LV_KER, "line " + std::to_string(i) + " of forty\n");
  }
  logger.Flush();
  const std::string log = zo_base::ReadFilePrefix(path, kLimit);
  Expect(plan.folder_for_buffer || plan.folder_for_log || log.ends_with("\nline 39 of forty\n"),
         "what is written arrives", log);
  // Each cut drops half of the limit, so a longer old log shrinks cut by cut.
  Expect(!plan.small || plan.folder_for_cut ||
             log.size() < kSmallLog + kBuffer + kLargeBuffer + old_log.size(),
         "the limit holds");
  logger.Close();
  return 0;
}
