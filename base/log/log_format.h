#pragma once

#include <cstdint>
#include <string_view>

// The files of a log, for those that write them and those that read them.
namespace zo_base {

inline constexpr std::string_view kLogFileName = "sturdy_comp.log";

// The buffer file is next to the log, under the log's path and this suffix.
inline constexpr std::string_view kLogBufferSuffix = ".qel_mmap";

// The number of text bytes that follow: signed, little-endian.
inline constexpr uint32_t kLogBufferHeaderBytes = 4;

// The log frames with these lines what a start took over from the run before.
inline constexpr std::string_view kOldTextBegin =
    "\r\n -----------------------load from mmap file begin-----------------------\r\n";
inline constexpr std::string_view kOldTextEnd =
    "\r\n -----------------------load from mmap file end-----------------------\r\n";

}  // namespace zo_base
