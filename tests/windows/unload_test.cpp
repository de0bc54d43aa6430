#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/loaded_library.h"
#include "tests/support/process_state.h"
#include "tests/support/test_document.h"
#include "tests/support/wait_until.h"

namespace {

void Round(const std::string& folder, const lab::Lab& lab, bool in_flight) {
  const HMODULE library = LoadLibraryW(std::filesystem::path(STURDY_LIBRARY).c_str());
  ASSERT_NE(library, nullptr) << GetLastError();
  StartAndExit(
      [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(library, name)); },
      folder, lab.Url(in_flight ? "silent" : "refuses", kLbsPath),
      [&] {
        if (in_flight) {
          EXPECT_TRUE(lab.journal().WaitForOpen("silent", 1, kPatience));
        }
      });
  ASSERT_NE(FreeLibrary(library), 0) << GetLastError();
  EXPECT_EQ(GetModuleHandleW(L"sturdy_comp.dll"), nullptr) << "it is still loaded";
}

// A process that loads the library, runs it and unloads it again. It links no import library.
TEST(Unload, LeavesNoThreadAndNoHandle) {
  constexpr int kRounds = 50;
  constexpr int kEarlyRound = 10;  // by then all that is made once is there
  const lab::Lab lab({lab::HttpServer("silent").On(kLbsPath, lab::Silent()),
                      lab::HttpServer("refuses").Listens(lab::Listening::kRefuse)});
  const lab::TempFolder folder;
  lab::WriteServerCache(lab::DataFolder(folder.path()), {.ipv4 = {{"127.0.0.1"}}});
  int64_t threads = 0;
  int64_t handles = 0;
  for (int round = 1; round <= kRounds && !HasFailure(); ++round) {
    Round(folder.path(), lab, round % 10 == 0);
    EXPECT_TRUE(lab.journal().WaitForOpen("silent", 0, kPatience));
    if (round == kEarlyRound) {
      threads = CountThreads();
      handles = CountHandles();
    }
  }
  EXPECT_TRUE(WaitUntil([&] { return CountThreads() <= threads; }))
      << CountThreads() << " threads, " << threads << " after the early round";
  EXPECT_TRUE(WaitUntil([&] { return CountHandles() <= handles; }))
      << CountHandles() << " handles, " << handles << " after the early round";
}

}  // namespace
