// A disk that fails a client in one way or another, and what it finds when the disk is mended.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "base/log/log.h"
#include "base/log/tqlog.h"
#include "base/platform/file.h"
#include "base/platform/file_faults_for_test.h"
#include "lab/lab.h"
#include "tests/faults/left_files.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/own_mounts.h"
#include "tests/support/process_state.h"
#include "tests/support/sanitizers.h"

namespace {

namespace fs = std::filesystem;
using testing::AnyOf;

constexpr char kDefault[] = "default.example:9";
constexpr int kDiskBytes = 1024 * 1024;
constexpr uint32_t kLogBytes = 96 * 1024;  // cut at the second flush

std::atomic<int> last_code{-1};

// Lives of an environment, one after the other, on one data folder.
class Lives : public testing::Test {
 protected:
  ~Lives() override {
    zo_sturdy::ExitSturdyEnvironment(1);
    UnmountDisks(disk_);
  }

  // The lab comes when the test's thread has the mounts that are to be its own.
  void Serve(const std::string& link) {
    if (!lab_) {
      lab_ = std::make_unique<lab::Lab>(lab::Scenario{lab::HttpServer("lbs")});
    }
    const std::string document =
        TestDocument({link}).LinkDefault({kDefault}).Desc(std::string(5000, 'x')).Text();
    lab_->SetBehaviours("lbs", kLbsPath, {lab::Answer(document)});
  }

  // Gives the first link: from the cache, from the defaults or already from the server.
  std::string Begin() {
    last_code = -1;
    EXPECT_EQ(zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(data_, "token")), 1);
    service_ = zo_sturdy::GetSturdyObject(1)->GetLBSService();
    service_->SetUpdateCallback([](int code, const char*) { last_code = code; });
    service_->Start(LBSRecord(lab_->Url("lbs", kLbsPath), kDefault));
    return Link(*service_);
  }
  static void End() { zo_sturdy::ExitSturdyEnvironment(1); }

  // The code of the fetch under way.
  static int Fetched() {
    EXPECT_TRUE(WaitUntil([] { return last_code >= 0; }));
    return last_code.exchange(-1);
  }

  std::string Document(bool no_wait) {
    std::string document(zo_sturdy::kLBSResponseBufferSize, '\0');
    service_->GetLBSResponse(no_wait, document.data());
    return document;
  }
  // Whether the active document names this link.
  bool Has(const std::string& link) { return Document(true).find(link) != std::string::npos; }
  void Update() {
    Document(false);  // until it takes another, since a fetch's callback comes a little earlier
    service_->Update(net::kIPFamilyV4);
  }

  // More than a buffer holds, three times.
  static void FillLog() {
    for (int i = 0; i < 200; ++i) {
      ZO_LOG(LV_APP) << std::string(1000, '.') << i;
    }
  }

  // All that must work again once the fault is gone.
  void ExpectGoodLife(const std::string& link) {
    remains_.ExpectCachesUsableOrEmpty();
    Serve(link);
    EXPECT_NE(Begin(), "");
    EXPECT_EQ(Fetched(), 200);
    EXPECT_TRUE(Has(link));
    FillLog();
    EXPECT_TRUE(LogLines(data_).WaitFor("...199"));
    End();
    EXPECT_NE(remains_.Document().find(link), std::string::npos) << "it isn't in the cache";
  }

  const lab::TempFolder folder_;
  const std::string disk_ = folder_.File("disk");
  const std::string data_ = disk_ + "/data";
  const Remains remains_{data_};
  std::unique_ptr<lab::Lab> lab_;
  zo_sturdy::IZOSturdyLBSService* service_ = nullptr;
};

// ---------------------------------------------------------------------------------------------

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

void Fill(const std::string& disk) {
  std::ofstream(disk + "/filler") << std::string(2 * kDiskBytes, 'x');
}
void Free(const std::string& disk) {
  fs::remove(disk + "/filler");
}
void RemoveFolder(const std::string& disk) {
  fs::remove_all(disk + "/data");
}
void FillEmpty(const std::string& disk) {
  RemoveFolder(disk);
  Fill(disk);
}
// Of each file the first bytes fit, and can be read again.
void AllowShortFiles(const std::string& disk) {
  RemoveFolder(disk);
  std::signal(SIGXFSZ, SIG_IGN);
  SetLimit(RLIMIT_FSIZE, 100);
}
void PutFileInPlace(const std::string& disk) {
  RemoveFolder(disk);
  std::ofstream(disk + "/data") << "a file";
}
// A disk with the same files, which nobody has mapped: while that lasts a disk stays writable.
void MakeReadOnly(const std::string& disk) {
  const lab::TempFolder copy;
  fs::copy(disk, copy.path(), fs::copy_options::recursive);
  EXPECT_TRUE(MountDisk(disk, std::to_string(kDiskBytes)));
  fs::copy(copy.path(), disk, fs::copy_options::recursive);
  EXPECT_EQ(mount("none", disk.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
}
void MakeWritable(const std::string& disk) {
  EXPECT_EQ(mount("none", disk.c_str(), "tmpfs", MS_REMOUNT, nullptr), 0);
}

const std::vector<DiskFault> kFaults = {
    {"Full", &Fill, &Free},
    {"FullWithoutAFile", &FillEmpty, &Free},
    {"ShortFilesOnly", &AllowShortFiles,
     [](const std::string&) { SetLimit(RLIMIT_FSIZE, RLIM_INFINITY); }},
    {"ReadOnly", &MakeReadOnly, &MakeWritable},
    {"FolderRemoved", &RemoveFolder, [](const std::string&) {}},
    {"FileInItsPlace", &PutFileInPlace, &RemoveFolder},
    {"NoDescriptor", [](const std::string&) { SetLimit(RLIMIT_NOFILE, 0); },
     [](const std::string&) { SetLimit(RLIMIT_NOFILE, 1024); }, false},
};

// The system takes the first bytes and tells so, which is no error of that call.
TEST(ShortWrite, HasFailed) {
  const lab::TempFolder disk;
  AllowShortFiles(disk.path());
  const bool is_written = zo_base::WriteWholeFile(disk.File("cache"), std::string(200, 'x'));
  SetLimit(RLIMIT_FSIZE, RLIM_INFINITY);
  EXPECT_FALSE(is_written);
}

// The fault, and whether it comes in mid-run or before the start.
class Disk : public Lives, public testing::WithParamInterface<std::tuple<DiskFault, bool>> {
 protected:
  void Inflict() { std::get<0>(GetParam()).inflict(disk_); }
  void Heal() { std::get<0>(GetParam()).heal(disk_); }
};

std::vector<DiskFault> Faults() {
  std::vector<DiskFault> faults = kFaults;
  if (kSanitized) {
    faults.pop_back();  // The sanitizers' own checks take a descriptor now and then.
  }
  return faults;
}

INSTANTIATE_TEST_SUITE_P(All, Disk, testing::Combine(testing::ValuesIn(Faults()), testing::Bool()),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).name) +
                                  (std::get<1>(test.param) ? "InMidRun" : "AtTheStart");
                         });

TEST_P(Disk, StopsNoFetchAndNoCallAndIsForgottenOnceItIsMended) {
  const auto& [fault, in_mid_run] = GetParam();
  fs::create_directory(disk_);
  NEEDS_RIGHT(EnterOwnMounts() && MountDisk(disk_, std::to_string(kDiskBytes)), "mount a disk");
  Serve("one.example:1");
  Begin();
  EXPECT_EQ(Fetched(), 200);
  if (in_mid_run) {
    Serve("two.example:2");
    Inflict();
    Update();
  } else {
    End();
    Serve("two.example:2");
    Inflict();
    EXPECT_THAT(Begin(), AnyOf("one.example:1", "two.example:2", kDefault));
  }
  EXPECT_EQ(Fetched(), fault.fetches ? 200 : 0);
  EXPECT_EQ(Has("two.example:2"), fault.fetches);
  FillLog();
  EXPECT_NE(Link(*service_), "");
  if (fault.name == std::string("FullWithoutAFile") && !in_mid_run) {
    EXPECT_FALSE(fs::exists(remains_.folder() + "sturdy_comp.log.qel_mmap"));
  }
  Heal();
  End();
  ExpectGoodLife("three.example:3");
}

// In a program of its own, which nothing has loaded it into.
TEST_F(Lives, WithoutLibcurlNoRequestIsSentUntilItIsBack) {
  NEEDS_RIGHT(EnterOwnMounts() && mount("/dev/null", CURL_PATH, nullptr, MS_BIND, nullptr) == 0,
              "hide a file");
  Serve("one.example:1");
  EXPECT_EQ(Begin(), kDefault);
  EXPECT_EQ(Fetched(), 0);
  EXPECT_TRUE(LogLines(data_).WaitFor("[transfer]No request can be sent, error:"));
  EXPECT_EQ(umount(CURL_PATH), 0);
  Update();
  EXPECT_EQ(Fetched(), 200);
  EXPECT_TRUE(Has("one.example:1"));
}

// ---------------------------------------------------------------------------------------------

// The calls are those of a start, of a fetch with its save, of flushes and of a cut.
TEST_F(Lives, AnyFileCallCanFail) {
  fs::create_directory(disk_);
  static_cast<void>(EnterOwnMounts() && MountDisk(disk_, "16m"));  // it is quicker there
  for (const auto fault : {zo_base::FileFault::kFailOnce, zo_base::FileFault::kFailOn}) {
    int calls = 0;
    for (bool fired = true; fired && !HasFailure(); ++calls) {
      SCOPED_TRACE(calls);
      fs::remove_all(data_);
      Serve("one.example:1");
      {
        const zo_base::ScopedFileFault failing(calls * (kSanitized ? 8 : 1) + 1, fault);
        EXPECT_THAT(Begin(), AnyOf("one.example:1", kDefault));
        auto* const log = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
        log->SetLogFile(remains_.folder() + "sturdy_comp.log", kLogBytes, 0);
        EXPECT_EQ(Fetched(), 200);
        EXPECT_TRUE(Has("one.example:1"));
        FillLog();
        fired = zo_base::ScopedFileFault::Fired();
        End();
      }
      ExpectGoodLife("two.example:2");
    }
    EXPECT_GE(calls, kSanitized ? 9 : 75) << "too few for all of it";
  }
}

// ---------------------------------------------------------------------------------------------

// Another user, who may have so many threads in all.
class ScopedUser {
 public:
  static constexpr uid_t kNobodyElse = 64321;

  explicit ScopedUser(const std::string& folder) {
    is_made_ = chown(folder.c_str(), kNobodyElse, kNobodyElse) == 0 &&
               setresuid(kNobodyElse, kNobodyElse, 0) == 0;
  }
  ~ScopedUser() {
    static_cast<void>(setresuid(0, 0, 0));
    SetLimit(RLIMIT_NPROC, RLIM_INFINITY);
    prctl(PR_SET_DUMPABLE, 1);  // the leak checker looks into the process
  }
  ScopedUser(const ScopedUser&) = delete;
  ScopedUser& operator=(const ScopedUser&) = delete;

  [[nodiscard]] bool is_made() const { return is_made_; }

 private:
  bool is_made_;
};

TEST(Threads, AStartWithoutOneThrowsAndALaterOneWorks) {
  const auto threads = [] {
    return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
  };
  const lab::TempFolder folder;
  const ScopedUser user(folder.path());
  NEEDS_RIGHT(user.is_made(), "become another user");
  const auto before = threads();
  int id = 0;
  int failures = 0;
  for (rlim_t limit = 0; id == 0; ++limit) {
    SetLimit(RLIMIT_NPROC, limit);
    try {
      id = zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder.path()));
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), EAGAIN);
      EXPECT_EQ(zo_sturdy::GetSturdyObject(1), nullptr);
      EXPECT_TRUE(WaitUntil([&] { return threads() <= before; }));
      ++failures;
    }
  }
  EXPECT_EQ(id, 1);
  EXPECT_GE(failures, 15) << "twelve workers and the agent's three threads";
  zo_sturdy::ExitSturdyEnvironment(1);
}

}  // namespace
