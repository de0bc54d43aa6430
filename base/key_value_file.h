#pragma once

#include <functional>
#include <string>
#include <tuple>
#include <unordered_map>

#include "base/object/any.h"
#include "base/sync/reader_writer_spin_lock.h"
#include "base/sync/thread_annotations.h"

namespace zo_base {

// A table of strings with a copy in a file: one flat JSON object. Changes reach the file at the
// next Save.
// Threads: any. Never holds its two locks together. A thread that saves or loads waits, spinning,
//          while another reads or writes the file. A Get during a Reload may find no items. The
//          owner makes one Save at a time: of two, the one with the older items may write last.
// Owner:   the service whose cache it is.
// Errors:  none are reported. An absent or unreadable file leaves the items, and a damaged one or
//          one over 16 MiB empties them. A failed Save leaves them correct in memory.
// Crash:   Save writes in place, since a cache may be lost. A file that was cut loads as empty;
//          one cut to 0 bytes leaves the items, like an absent one.
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

  // Returns the value; empty if the key is absent or its value is no string.
  [[nodiscard]] std::string Get(const std::string& key) const;
  void Set(const std::string& key, const ZOAny& value, SVT tag);
  // Drops all items and their table. The file keeps them until the next Save.
  void Clear();
  // Calls `fn` for each item, in any order, with the items locked. `fn` must neither read nor write
  // this object: a nested read waits for ever if a writer has come between the two.
  void ForEach(const std::function<void(const std::string&, const Value&)>& fn) const;

 private:
  mutable ReaderWriterSpinLock file_lock_;  // the file and its path
  std::string path_ ZO_GUARDED_BY(file_lock_);
  mutable ReaderWriterSpinLock items_lock_;
  std::unordered_map<std::string, Value> items_ ZO_GUARDED_BY(items_lock_);
};

}  // namespace zo_base
