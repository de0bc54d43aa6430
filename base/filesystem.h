// Names the file system library: `zo_base::fs` is ghc::filesystem where that is installed,
// otherwise the standard library's. Call the forms that take an error code.
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
