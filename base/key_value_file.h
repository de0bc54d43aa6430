#pragma once

#include <functional>
#include <string>
#include <tuple>
#include <unordered_map>

#include "base/object/any.h"
#include "base/sync/reader_writer_spin_lock.h"
#include "base/sync/thread_annotations.h"

namespace zo_base {

// A table of strings that mirrors itself in one flat JSON object in a file. Memory leads, the file
// follows at each Save.
// Threads: any. Two locks inside, never held together.
// Owner:   the service whose cache it is.
// Errors:  none are reported. An absent or unreadable file leaves the items, a damaged one or one
//          past 16 MiB empties them, and a failed Save leaves them right in memory.
// Crash:   Save writes in place, since a cache is no more than a guess; a file cut short loads as
//          empty.
class KeyValueFile {
 public:
  using Value = std::tuple<SVT, ZOAny>;

  KeyValueFile();
  KeyValueFile(const KeyValueFile&) = delete;
  KeyValueFile& operator=(const KeyValueFile&) = delete;

  // Both always return true.
  bool Load(const std::string& path);
  bool Reload();
  // Throws BadZOAnyCast if a value holds no std::string. Does nothing before the first Load.
  void Save();

  // Empty if the key is absent or its value holds no string.
  [[nodiscard]] std::string Get(const std::string& key) const;
  void Set(const std::string& key, const ZOAny& value, SVT tag);
  // Drops all items and their table; the file follows at the next Save.
  void Clear();
  // In no particular order. `fn` runs with the items locked: it may neither read nor write this
  // store, since a read inside a read waits for ever if a writer waits between the two.
  void ForEach(const std::function<void(const std::string&, const Value&)>& fn) const;

 private:
  mutable ReaderWriterSpinLock file_lock_;  // the file and its path
  std::string path_ ZO_GUARDED_BY(file_lock_);
  mutable ReaderWriterSpinLock items_lock_;
  std::unordered_map<std::string, Value> items_ ZO_GUARDED_BY(items_lock_);
};

}  // namespace zo_base
