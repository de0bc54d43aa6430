// A disk that fails a client in one way or another. Calls and fetches go on, and once the disk is
// mended the next run works as if nothing had happened.
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "base/log/log.h"
#include "base/log/tqlog.h"
#include "base/platform/file_faults_for_test.h"
#include "lab/lab.h"
#include "tests/faults/left_files.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/own_mounts.h"
#include "tests/support/sanitizers.h"

namespace {

namespace fs = std::filesystem;
using testing::AnyOf;

constexpr int kDiskBytes = 1024 * 1024;
constexpr uint32_t kLogBytes = 96 * 1024;  // cut at the second flush

// Runs of a client, one after the other, on one data folder.
class DiskTest : public ClientTest {
 protected:
  DiskTest() {
    data_path_ = disk_ + "/data";
    dns_endpoints_.clear();  // the test writes nothing to the disk
  }
  ~DiskTest() override {
    Exit();
    UnmountDisks(disk_);
  }

  // Creates the lab on the first call: its thread inherits the mounts of the test's thread.
  void Serve(const std::string& link) {
    if (!lab_) {
      lab_ = std::make_unique<lab::Lab>(lab::Scenario{lab::HttpServer("lbs")});
    }
    const std::string document = TestDocument({link}).Desc(std::string(5000, 'x')).Text();
    lab_->SetBehaviours("lbs", kLbsPath, {lab::Answer(document)});
  }
  // Returns the first link: from the cache, from the defaults or already from the server.
  std::string StartClient() { return Link(Fetch({lab_->Url("lbs", kLbsPath)})); }
  static void Exit() { zo_sturdy::ExitSturdyEnvironment(1); }

  // Whether the active document names this link.
  bool HasLink(const std::string& link) {
    return Document(*service_).find(link) != std::string::npos;
  }
  // Writes three times as much as a log buffer holds.
  static void FillLog() {
    for (int i = 0; i < 200; ++i) {
      ZO_LOG(LV_APP) << std::string(1000, '.') << i;
    }
  }
  // Everything works again once the fault is gone.
  void ExpectGoodRun(const std::string& link) {
    left_.ExpectCachesUsableOrEmpty();
    Serve(link);
    EXPECT_NE(StartClient(), "");
    EXPECT_EQ(AwaitUpdate().first, 200);
    EXPECT_TRUE(HasLink(link));
    FillLog();
    EXPECT_TRUE(LogLines(data_path_).WaitFor("...199"));
    Exit();
    EXPECT_NE(left_.Document().find(link), std::string::npos) << "it isn't in the cache";
  }

  const std::string disk_ = folder_.File("disk");
  const LeftFiles left_{disk_ + "/data"};
  std::unique_ptr<lab::Lab> lab_;
};

void SetLimit(decltype(RLIMIT_NOFILE) of_what, rlim_t most) {
  rlimit limit{};
  getrlimit(of_what, &limit);
  limit.rlim_cur = std::min(most, limit.rlim_max);
  setrlimit(of_what, &limit);
}

struct DiskFault {
  const char* name;
  void (*inflict)(const std::string& disk);
  void (*heal)(const std::string& disk);
  bool fetches = true;  // while it lasts

  friend void PrintTo(const DiskFault& fault, std::ostream* out) { *out << fault.name; }
};

void RemoveFolder(const std::string& disk) {
  fs::remove_all(disk + "/data");
}
void FillEmpty(const std::string& disk) {
  RemoveFolder(disk);
  std::ofstream(disk + "/filler") << std::string(2 * kDiskBytes, 'x');
}
// The first bytes of each file fit and can be read again.
void AllowShortFiles(const std::string& disk) {
  RemoveFolder(disk);
  std::signal(SIGXFSZ, SIG_IGN);
  SetLimit(RLIMIT_FSIZE, 100);
}

std::vector<DiskFault> Faults() {
  std::vector<DiskFault> faults = {
      {"FullWithoutAFile", &FillEmpty,
       [](const std::string& disk) { fs::remove(disk + "/filler"); }},
      {"ShortFilesOnly", &AllowShortFiles,
       [](const std::string&) { SetLimit(RLIMIT_FSIZE, RLIM_INFINITY); }},
      {"FolderRemoved", &RemoveFolder, [](const std::string&) {}},
  };
  if (!kSanitized) {  // the sanitizers' own checks take a descriptor now and then
    faults.push_back({"NoDescriptor", [](const std::string&) { SetLimit(RLIMIT_NOFILE, 0); },
                      [](const std::string&) { SetLimit(RLIMIT_NOFILE, 1024); }, false});
  }
  return faults;
}

// The fault, and whether it comes during a run or before the start.
class Disk : public DiskTest, public testing::WithParamInterface<std::tuple<DiskFault, bool>> {};

INSTANTIATE_TEST_SUITE_P(All, Disk, testing::Combine(testing::ValuesIn(Faults()), testing::Bool()),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).name) +
                                  (std::get<1>(test.param) ? "DuringARun" : "BeforeTheStart");
                         });

TEST_P(Disk, StopsNoCallAndNoFetchAndLeavesNoTraceOnceItIsMended) {
  const auto& [fault, during_run] = GetParam();
  fs::create_directory(disk_);
  NEEDS_RIGHT(EnterOwnMounts() && MountDisk(disk_, std::to_string(kDiskBytes)), "mount a disk");
  Serve("one.example:1");
  StartClient();
  EXPECT_EQ(AwaitUpdate().first, 200);
  if (during_run) {
    Serve("two.example:2");
    fault.inflict(disk_);
    service_->Update(net::kIPFamilyV4);
  } else {
    Exit();
    Serve("two.example:2");
    fault.inflict(disk_);
    EXPECT_THAT(StartClient(), AnyOf("one.example:1", "two.example:2", kDefaultLink));
  }
  EXPECT_EQ(AwaitUpdate().first, fault.fetches ? 200 : 0);
  EXPECT_EQ(HasLink("two.example:2"), fault.fetches);
  FillLog();
  EXPECT_NE(Link(*service_), "");
  if (fault.name == std::string("FullWithoutAFile") && !during_run) {
    EXPECT_FALSE(fs::exists(left_.folder() + "sturdy_comp.log.qel_mmap"));
  }
  fault.heal(disk_);
  Exit();
  ExpectGoodRun("three.example:3");
}

// Must be the first test of its process: libcurl stays loaded once it has been.
TEST_F(DiskTest, WithoutLibcurlNoRequestIsSentUntilItIsBack) {
  NEEDS_RIGHT(EnterOwnMounts() && mount("/dev/null", CURL_PATH, nullptr, MS_BIND, nullptr) == 0,
              "hide a file");
  Serve("one.example:1");
  EXPECT_EQ(StartClient(), kDefaultLink);
  EXPECT_EQ(AwaitUpdate().first, 0);
  EXPECT_TRUE(LogLines(data_path_).WaitFor("[transfer]No request can be sent, error:"));
  EXPECT_EQ(umount(CURL_PATH), 0);
  service_->Update(net::kIPFamilyV4);
  EXPECT_EQ(AwaitUpdate().first, 200);
  EXPECT_TRUE(HasLink("one.example:1"));
}

// The calls are those of a start, of a fetch with its save, of flushes and of a cut.
TEST_F(DiskTest, AnyFileCallCanFail) {
  fs::create_directory(disk_);
  static_cast<void>(EnterOwnMounts() && MountDisk(disk_, "16m"));  // it is quicker there
  for (const auto fault : {zo_base::FileFault::kFailOnce, zo_base::FileFault::kFailFromThere}) {
    int calls = 0;
    for (bool fired = true; fired && !HasFailure(); ++calls) {
      SCOPED_TRACE(calls);
      fs::remove_all(data_path_);
      Serve("one.example:1");
      {
        const zo_base::ScopedFileFault failing(calls * (kSanitized ? 8 : 1) + 1, fault);
        EXPECT_THAT(StartClient(), AnyOf("one.example:1", kDefaultLink));
        auto* const log = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
        log->SetLogFile(left_.folder() + "sturdy_comp.log", kLogBytes, 0);
        EXPECT_EQ(AwaitUpdate().first, 200);
        EXPECT_TRUE(HasLink("one.example:1"));
        FillLog();
        fired = zo_base::ScopedFileFault::Fired();
        Exit();
      }
      ExpectGoodRun("two.example:2");
    }
    EXPECT_GE(calls, kSanitized ? 9 : 75) << "too few for all of it";
  }
}

}  // namespace
