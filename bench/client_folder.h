#pragma once

#include <string>

#include "bench/disk_folder.h"
#include "lab/data_folder.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"

namespace bench {

// A client's folder with an unexpired list of HTTP DNS endpoints, so that the client requests none.
class ClientFolder {
 public:
  ClientFolder() : folder_(DiskFolder()) {
    lab::WriteServerCache(lab::DataFolder(folder_.path()), lab::ServerCache());
  }

  [[nodiscard]] const std::string& path() const { return folder_.path(); }

 private:
  const lab::TempFolder folder_;
};

}  // namespace bench
