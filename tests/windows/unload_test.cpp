#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <functional>

#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/loaded_library.h"
#include "tests/support/process_state.h"
#include "tests/support/test_document.h"
#include "tests/support/wait_until.h"

namespace {

class Library : public testing::Test {
 protected:
  Library()
      : lab_({lab::HttpServer("silent").On(kLbsPath, lab::Silent()),
              lab::HttpServer("refuses").Listens(lab::Listening::kRefuse)}) {
    lab::WriteServerCache(lab::DataFolder(folder_.path()), {.ipv4 = {{"127.0.0.1"}}});
  }

  void Load() {
    library_ = LoadLibraryW(std::filesystem::path(STURDY_LIBRARY).c_str());
    ASSERT_NE(library_, nullptr) << GetLastError();
  }

  // Every tenth exit has a request in flight.
  void RunOnce(int round) {
    const bool in_flight = round % 10 == 0;
    StartAndExit(
        [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(library_, name)); },
        folder_.path(), lab_.Url(in_flight ? "silent" : "refuses", kLbsPath),
        [&] {
          if (in_flight) {
            EXPECT_TRUE(lab_.journal().WaitForOpen("silent", 1, kPatience));
          }
        });
    EXPECT_TRUE(lab_.journal().WaitForOpen("silent", 0, kPatience));
  }

  void Unload() {
    ASSERT_NE(FreeLibrary(library_), 0) << GetLastError();
    EXPECT_EQ(GetModuleHandleW(L"sturdy_comp.dll"), nullptr) << "it is still loaded";
  }

  // Expects that 40 rounds leave no thread, and no more handles than these. They follow ten others,
  // in which all that is made once is made.
  static void ExpectNoGrowth(int64_t most_handles,
                             const std::function<void(int round)>& run_round) {
    constexpr int kFirstRounds = 10;
    constexpr int kRounds = kFirstRounds + 40;
    int64_t threads = 0;
    int64_t handles = 0;
    for (int round = 1; round <= kRounds && !HasFailure(); ++round) {
      run_round(round);
      if (round == kFirstRounds) {
        threads = CountThreads();
        handles = CountHandles();
      }
    }
    EXPECT_TRUE(WaitUntil([&] {
      return CountThreads() <= threads && CountHandles() <= handles + most_handles;
    })) << CountThreads()
        << " threads, " << threads << " before; " << CountHandles() << " handles, " << handles
        << " before";
  }

 private:
  const lab::Lab lab_;
  const lab::TempFolder folder_;
  HMODULE library_ = nullptr;
};

// The process links no import library. Each unload leaves up to six handles: MinGW-w64's runtime
// frees neither the record of the thread that loads nor a lock that threads have waited for.
TEST_F(Library, LeavesNoThreadAndFewHandlesAfterAnUnload) {
  ExpectNoGrowth(6 * 40, [this](int round) {
    ASSERT_NO_FATAL_FAILURE(Load());
    RunOnce(round);
    Unload();
  });
}

// A lock keeps a handle from the first time that a thread waits for it, at any round.
TEST_F(Library, LeavesNoThreadAndNoHandleAfterAnExit) {
  constexpr int64_t kLocks = 10;
  ASSERT_NO_FATAL_FAILURE(Load());
  ExpectNoGrowth(kLocks, [this](int round) { RunOnce(round); });
  Unload();
}

}  // namespace
