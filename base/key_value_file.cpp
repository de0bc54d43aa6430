#include "base/key_value_file.h"

#include "base/built_in_values.h"
#include "base/json/json.h"
#include "base/platform/file.h"

namespace zo_base {
namespace {

using json11::Json;

constexpr size_t kFirstBuckets = 8;
// Larger files are damaged, since no cache of ours comes near this; reading one would cost the host
// its memory.
constexpr size_t kMaxFileBytes = zo_sturdy::kMaxCacheFileBytes;

// Returns null for a text that is no JSON or too long.
Json ParseFile(const std::string& text) {
  if (text.size() > kMaxFileBytes) {
    return {};
  }
  std::string error;
  return Json::parse(text, error);
}

}  // namespace

KeyValueFile::KeyValueFile() : items_(kFirstBuckets) {
  items_.max_load_factor(1.0F);
}

bool KeyValueFile::Load(const std::string& path) {
  {
    const WriteLock lock(file_lock_);
    path_ = path;
  }
  return Reload();
}

bool KeyValueFile::Reload() {
  std::string text;
  {
    const ReadLock lock(file_lock_);
    text = ReadFilePrefix(path_, kMaxFileBytes + 1);
  }
  if (text.empty()) {
    return true;
  }
  {
    const WriteLock lock(items_lock_);
    items_.clear();
  }
  const Json document = ParseFile(text);
  const WriteLock lock(items_lock_);
  for (const auto& [key, value] : document.object_items()) {
    items_[key] = Value(SVT::kString, ZOAny(value.string_value()));
  }
  return true;
}

void KeyValueFile::Save() {
  {
    const ReadLock lock(file_lock_);
    if (path_.empty()) {
      return;
    }
  }
  Json::object document;
  {
    const ReadLock lock(items_lock_);
    for (const auto& [key, value] : items_) {
      document[key] = Json(ZOAnyCast<std::string>(std::get<ZOAny>(value)));
    }
  }
  const std::string text = Json(document).dump();
  const WriteLock lock(file_lock_);
  WriteWholeFile(path_, text);
}

std::string KeyValueFile::Get(const std::string& key) const {
  const ReadLock lock(items_lock_);
  const auto found = items_.find(key);
  if (found == items_.end()) {
    return {};
  }
  try {
    return ZOAnyCast<std::string>(std::get<ZOAny>(found->second));
  } catch (const BadZOAnyCast&) {
    return {};
  }
}

void KeyValueFile::Set(const std::string& key, const ZOAny& value, SVT tag) {
  const WriteLock lock(items_lock_);
  items_.insert_or_assign(key, Value(tag, value));
}

void KeyValueFile::Clear() {
  std::unordered_map<std::string, Value> fresh(kFirstBuckets);
  const WriteLock lock(items_lock_);
  items_.swap(fresh);
}

void KeyValueFile::ForEach(const std::function<void(const std::string&, const Value&)>& fn) const {
  const ReadLock lock(items_lock_);
  for (const auto& [key, value] : items_) {
    fn(key, value);
  }
}

}  // namespace zo_base
