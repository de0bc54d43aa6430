#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "base/log/log_file.h"
#include "base/log/log_format.h"
#include "base/platform/file.h"
#include "lab/temp_folder.h"

namespace zo_base {
namespace {

// The process dies while it copies a line that can't be read.
TEST(UnreadableLine, IsNotCounted) {
  constexpr uint32_t kBufferBytes = 64;
  const std::string line = "whole\n";
  const lab::TempFolder folder;
  const std::string path = folder.File("x.log");
  LogFile log;
  ASSERT_TRUE(log.Init(path, 0, kBufferBytes));
  log.Write(line);
  void* const hidden = ::mmap(nullptr, kBufferBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_EXIT(
      {
        std::signal(SIGSEGV, [](int) { ::_exit(77); });
        log.Write({static_cast<char*>(hidden), kBufferBytes / 2});
      },
      testing::ExitedWithCode(77), "");
  const std::string header = {static_cast<char>(line.size()), 0, 0, 0};
  EXPECT_EQ(
      ReadFilePrefix(path + std::string(kLogBufferSuffix), kLogBufferHeaderBytes + line.size()),
      header + line);
}

}  // namespace
}  // namespace zo_base
