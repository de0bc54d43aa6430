// The one name for the file system library: `zo_base::fs`, ghc::filesystem where it is
// installed and the standard library's otherwise. Callers use the forms that take an error code.
#pragma once

#if __has_include(<ghc/filesystem.hpp>)
#include <ghc/filesystem.hpp>
namespace zo_base {
namespace fs = ghc::filesystem;
}  // namespace zo_base
#else
#include <filesystem>
namespace zo_base {
namespace fs = std::filesystem;
}  // namespace zo_base
#endif
