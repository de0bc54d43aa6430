#include "tools/state/cache_file.h"

#include <filesystem>
#include <optional>
#include <system_error>

#include "base/built_in_values.h"
#include "base/json/json_reader.h"
#include "base/platform/file.h"
#include "lab/utf8_path.h"

namespace client_state {

namespace {

using zo_base::json11::Json;

constexpr size_t kMaxBytes = zo_sturdy::kMaxCacheFileBytes;

// Returns the first place where a text stops being JSON; nothing if it is JSON.
std::optional<Fault> FindFault(const std::string& member, const std::string& text, Json& json) {
  zo_base::json11::JsonReader reader(text, zo_base::json11::JsonParse::kStandard);
  std::string error;
  json = reader.parse_document(error);
  return error.empty() ? std::nullopt
                       : std::optional<Fault>({member, reader.fault_offset(), error});
}

// Returns false, with the condition set, if the file can't be opened.
bool CanOpen(CacheFile& file) {
  std::error_code error;
  const std::filesystem::file_status status =
      std::filesystem::status(lab::Utf8Path(file.path), error);
  if (status.type() == std::filesystem::file_type::not_found) {
    file.condition = CacheFile::Condition::kMissing;
    return false;
  }
  // Anything but a file could hold up whoever opens it.
  if (status.type() != std::filesystem::file_type::regular ||
      !zo_base::File(file.path, zo_base::File::Mode::kRead).IsOpen()) {
    file.condition = CacheFile::Condition::kUnreadable;
    return false;
  }
  return true;
}

}  // namespace

CacheFile InspectCacheFile(const std::string& path) {
  CacheFile file;
  file.path = path;
  if (!CanOpen(file)) {
    return file;
  }
  const std::string text = zo_base::ReadFilePrefix(path, kMaxBytes + 1);
  file.condition = text.empty() ? CacheFile::Condition::kEmpty : CacheFile::Condition::kDamaged;
  if (text.size() > kMaxBytes) {
    file.faults.push_back({"", kMaxBytes, "too long"});
    return file;
  }
  Json json;
  const std::optional<Fault> fault = FindFault("", text, json);
  if (text.empty() || fault || json.type() != Json::OBJECT) {
    if (!text.empty()) {
      file.faults.push_back(fault.value_or(Fault{"", 0, "not a JSON object"}));
    }
    return file;
  }
  file.condition = CacheFile::Condition::kGood;
  for (const auto& [member, value] : json.object_items()) {
    if (value.type() != Json::STRING) {
      file.faults.push_back({member, std::nullopt, "not a text"});
    }
  }
  return file;
}

void InspectMember(const std::string& member, const std::string& text, CacheFile& file) {
  Json json;
  if (auto fault = FindFault(member, text, json); fault && !text.empty()) {
    file.faults.push_back(*fault);
  }
}

}  // namespace client_state
