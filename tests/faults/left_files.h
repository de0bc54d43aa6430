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

// The data folder of clients, on a disk in memory where this user may have one: there a log that is
// flushed without end doesn't wait for the drive.
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

// What a client has left in its data folder.
class Remains {
 public:
  explicit Remains(const std::string& client_folder) : folder_(lab::DataFolder(client_folder)) {}

  [[nodiscard]] const std::string& folder() const { return folder_; }
  [[nodiscard]] std::string LogText() const { return Read("sturdy_comp.log"); }
  // All that the next start takes over, whether it has reached the log or not.
  [[nodiscard]] std::string BufferText() const {
    const std::string bytes = Read("sturdy_comp.log.qel_mmap");
    int32_t count = 0;
    return bytes.size() < sizeof count ? ""
                                       : (std::memcpy(&count, bytes.data(), sizeof count),
                                          bytes.substr(sizeof count, static_cast<size_t>(count)));
  }

  // The document that the next start has; empty if it builds one.
  [[nodiscard]] std::string Document() const {
    zo_base::KeyValueFile store;
    store.Load(folder_ + "lbs/lbs.data");
    return store.Get("lbs_rsp");
  }

  // Each of the three caches is whole, down to the texts that stand in its values, or loads to
  // nothing at all.
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
    return zo_base::ReadWholeFile(folder_ + name, size_t{16} << 20);
  }
  static bool IsJson(const std::string& text) {
    std::string error;
    static_cast<void>(zo_base::json11::Json::parse(text, error));
    return error.empty();
  }

  const std::string folder_;
};
