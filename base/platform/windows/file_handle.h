#pragma once

#include <windows.h>

#include "base/platform/file.h"

namespace zo_base {

inline HANDLE HandleOf(const File& file) {
  return reinterpret_cast<HANDLE>(file.handle());  // NOLINT(performance-no-int-to-ptr): it was one
}

}  // namespace zo_base
