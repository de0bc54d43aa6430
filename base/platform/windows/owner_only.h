#pragma once

#include <windows.h>

namespace zo_base {

// Security attributes for a new file or folder that only the process's user and the system may use.
// A folder passes them on to what is created in it. Threads: any. Errors: if the user is unknown,
// `get` is null, and the new file gets the default.
class OwnerOnly {
 public:
  OwnerOnly();
  ~OwnerOnly();
  OwnerOnly(const OwnerOnly&) = delete;
  OwnerOnly& operator=(const OwnerOnly&) = delete;

  [[nodiscard]] SECURITY_ATTRIBUTES* get() {
    return attributes_.lpSecurityDescriptor != nullptr ? &attributes_ : nullptr;
  }

 private:
  SECURITY_ATTRIBUTES attributes_{};
};

}  // namespace zo_base
