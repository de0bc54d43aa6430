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

  // Expects that 50 rounds leave no more than 10 of them do. By then all that is made once is
  // there.
  static void ExpectNoGrowth(const std::function<int64_t()>& count,
                             const std::function<void(int round)>& run_round) {
    constexpr int kRounds = 50;
    constexpr int kEarlyRound = 10;
    int64_t early = 0;
    for (int round = 1; round <= kRounds && !HasFailure(); ++round) {
      run_round(round);
      early = round == kEarlyRound ? count() : early;
    }
    EXPECT_TRUE(WaitUntil([&] { return count() <= early; }))
        << count() << " now, " << early << " after the early round";
  }

 private:
  const lab::Lab lab_;
  const lab::TempFolder folder_;
  HMODULE library_ = nullptr;
};

// The process links no import library.
TEST_F(Library, LeavesNoThreadAndFewHandlesAfterAnUnload) {
  // MinGW-w64's runtime frees neither the record of the thread that loads nor a lock that threads
  // have waited for.
  constexpr int64_t kHandlesOfARound = 6;
  int64_t rounds_handles = 0;
  const auto count = [&] { return CountThreads() + CountHandles() - rounds_handles; };
  ExpectNoGrowth(count, [&, this](int round) {
    ASSERT_NO_FATAL_FAILURE(Load());
    RunOnce(round);
    Unload();
    rounds_handles += kHandlesOfARound;
  });
}

TEST_F(Library, LeavesNoThreadAndNoHandleAfterAnExit) {
  ASSERT_NO_FATAL_FAILURE(Load());
  ExpectNoGrowth([] { return CountThreads() + CountHandles(); },
                 [this](int round) { RunOnce(round); });
  Unload();
}

}  // namespace
