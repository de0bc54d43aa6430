#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "base/json/json.h"
#include "base/key_value_file.h"
#include "base/platform/file.h"
#include "lab/data_folder.h"
#include "lab/temp_folder.h"
#include "tests/support/own_mounts.h"

// The data folder of clients, on a file system in memory if this user may mount one: a log that is
// flushed all the time doesn't wait for the drive there.
class ClientFolder {
 public:
  ClientFolder() { static_cast<void>(EnterOwnMounts() && MountDisk(path(), "64m")); }
  ~ClientFolder() { UnmountDisks(path()); }
  ClientFolder(const ClientFolder&) = delete;
  ClientFolder& operator=(const ClientFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return folder_.path(); }

 private:
  const lab::TempFolder folder_;
};

// The files that clients have left in their data folder, read at each call.
// Errors: a file that isn't there reads as empty.
class LeftFiles {
 public:
  explicit LeftFiles(const std::string& client_folder) : folder_(lab::DataFolder(client_folder)) {}

  [[nodiscard]] const std::string& folder() const { return folder_; }
  [[nodiscard]] std::string LogText() const { return Read("sturdy_comp.log"); }
  // Returns all that the next start takes over, whether it has reached the log or not.
  [[nodiscard]] std::string BufferText() const {
    const std::string bytes = Read("sturdy_comp.log.qel_mmap");
    int32_t count = 0;
    if (bytes.size() < sizeof count) {
      return "";
    }
    std::memcpy(&count, bytes.data(), sizeof count);
    return bytes.substr(sizeof count, static_cast<size_t>(count));
  }
  // Returns the document of the next start; empty if that builds one.
  [[nodiscard]] std::string Document() const {
    zo_base::KeyValueFile store;
    store.Load(folder_ + "lbs/lbs.data");
    return store.Get("lbs_rsp");
  }

  // Each of the three caches is whole, JSON texts in its values included, or loads as empty.
  void ExpectCachesUsableOrEmpty() const {
    for (const char* name :
         {"lbs/lbs.data", "http_dns/http_dns_cache.data", "http_dns/http_server_cache.data"}) {
      const std::string text = Read(name);
      zo_base::KeyValueFile store;
      store.Load(folder_ + name);
      int items = 0;
      store.ForEach([&](const std::string& key, const zo_base::KeyValueFile::Value&) {
        ++items;
        const std::string value = store.Get(key);
        if (!value.empty() && value.find_first_of("[{") == 0) {
          EXPECT_TRUE(IsJson(value)) << name << " has " << key << ": " << value;
        }
      });
      EXPECT_EQ(items > 0, IsJson(text) && text != "{}") << name << " has " << text;
    }
  }

 private:
  [[nodiscard]] std::string Read(const std::string& name) const {
    return zo_base::ReadFilePrefix(folder_ + name, size_t{16} << 20);
  }
  static bool IsJson(const std::string& text) {
    std::string error;
    static_cast<void>(zo_base::json11::Json::parse(text, error));
    return error.empty();
  }

  const std::string folder_;
};
