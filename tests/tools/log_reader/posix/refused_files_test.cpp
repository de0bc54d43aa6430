#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fstream>

#include "lab/temp_folder.h"
#include "tools/log_reader/find_logs.h"
#include "tools/log_reader/log_reader.h"

namespace log_reader {
namespace {

// Takes all descriptors away, since root may open any file.
TEST(RefusedFiles, CountAsEmpty) {
  const lab::TempFolder folder;
  const std::string path = folder.File("sturdy_comp.log");
  std::ofstream(path) << "a line\n";
  EXPECT_EQ(FindRefusedFile(path), "") << "without a buffer";
  EXPECT_EQ(FindRefusedFolder(folder.path()), "") << "without a folder sturdy_comp";
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none = {0, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::string text = LogReader(path).ReadNewText();
  const std::string refused_file = FindRefusedFile(path);
  const std::string refused_folder = FindRefusedFolder(folder.path());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(text, "");
  EXPECT_EQ(refused_file, path);
  EXPECT_EQ(refused_folder, folder.path());
}

}  // namespace
}  // namespace log_reader
