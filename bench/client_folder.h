#pragma once

#include <string>

#include "bench/work_folder.h"
#include "lab/server_cache.h"

namespace bench {

// A data folder for one client, in which HTTP DNS has its endpoints from an earlier run, so that
// the client asks nobody for them.
class ClientFolder {
 public:
  ClientFolder() {
    lab::WriteServerCache(folder_.path() + "/sturdy_comp/d6f07bc61ae1384e48a8edaab463328b/",
                          lab::ServerCache());
  }

  [[nodiscard]] const std::string& path() const { return folder_.path(); }

 private:
  const WorkFolder folder_;
};

}  // namespace bench
