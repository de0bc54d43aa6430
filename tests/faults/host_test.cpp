// A host that lives a life of its own around the library: it forks, takes signals, and calls from
// threads that are gone a moment later.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/port.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/process_state.h"
#include "tests/support/sanitizers.h"
#include "tests/support/small_inputs.h"

namespace {

constexpr char kGate[] = "gate";

lab::Behaviour Good() {
  return lab::Answer(TestDocument().Text());
}

// What a program that this process forks and executes has open: "... 5 -> socket:[4711]" a line.
std::string DescriptorsOfAProgram() {
  std::array<int, 2> output{};
  static_cast<void>(!pipe2(output.data(), O_CLOEXEC));
  const pid_t child = fork();
  if (child == 0) {
    dup2(output[1], STDOUT_FILENO);
    execl("/bin/ls", "ls", "-l", "/proc/self/fd", nullptr);
    _exit(1);
  }
  close(output[1]);
  std::string text;
  std::array<char, 256> piece{};
  for (ssize_t bytes = 1; bytes > 0;) {
    bytes = read(output[0], piece.data(), piece.size());
    text.append(piece.data(), static_cast<size_t>(std::max<ssize_t>(bytes, 0)));
  }
  close(output[0]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  return text;
}

std::atomic<int> good_updates{0};
std::atomic<int> signals{0};
std::atomic<int> strays{0};  // signals on a thread that isn't the host's
pid_t host_thread = 0;

void OnSignal(int /*number*/) {
  ++signals;
  strays += gettid() != host_thread;
}

// Threads that are made meanwhile don't take part in the flood.
class SignalShelter {
 public:
  SignalShelter() { Set(SIG_BLOCK); }
  ~SignalShelter() { Set(SIG_UNBLOCK); }
  SignalShelter(const SignalShelter&) = delete;
  SignalShelter& operator=(const SignalShelter&) = delete;

 private:
  static void Set(int how) {
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(how, &alarm, nullptr);
  }
};

// A signal each 200 us, which interrupts system calls, on all threads but those made by
// `sheltered`.
class SignalFlood {
 public:
  explicit SignalFlood(const std::function<void()>& sheltered) {
    {
      const SignalShelter shelter;
      sheltered();
    }
    host_thread = gettid();
    struct sigaction action {};
    action.sa_handler = &OnSignal;
    sigaction(SIGALRM, &action, nullptr);
    Arm(200);
  }
  ~SignalFlood() { Arm(0); }
  SignalFlood(const SignalFlood&) = delete;
  SignalFlood& operator=(const SignalFlood&) = delete;

 private:
  static void Arm(int every_us) {
    const itimerval timer = {{0, every_us}, {0, every_us}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
};

class Host : public ClientTest {
 protected:
  void Begin() {
    good_updates = 0;
    service_ = Start("token").GetLBSService();
    service_->SetUpdateCallback([](int code, const char*) { good_updates += code == 200; });
    service_->Start(LBSRecord(lab_->Url("lbs", kLbsPath), "default.example:9"));
  }
  void MakeLab() { lab_.emplace(lab::Scenario{lab::HttpServer("lbs").On(kLbsPath, Good())}); }
  static testing::AssertionResult Fetches(int number) {
    return WaitUntil([number] { return good_updates >= number; });
  }

  std::optional<lab::Lab> lab_;
};

bool IsTcp(const std::string& socket) {
  for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    std::ifstream file(table);
    for (std::string line; std::getline(file, line);) {
      if (Words(line)[9] == socket) {
        return true;
      }
    }
  }
  return false;
}

// Of a transfer in flight it inherits the pair of local sockets by which libcurl wakes itself, and
// nothing else: no file, and no connection, which would stay open for as long as the program runs.
TEST_F(Host, ForksAndExecutesInMidRunAndTheProgramInheritsNoFileAndNoConnection) {
  MakeLab();
  lab_->SetBehaviours("lbs", kLbsPath, {Good().HeldAt(kGate)});
  Begin();
  EXPECT_TRUE(lab_->WaitForHeld(kGate, 1, kPatience));
  const std::string open = DescriptorsOfAProgram();
  EXPECT_EQ(open.find(folder_.path()), std::string::npos) << open;
  for (size_t at = open.find("socket:["); at != std::string::npos;
       at = open.find("socket:[", at + 1)) {
    const size_t number = at + sizeof "socket:[" - 1;
    EXPECT_FALSE(IsTcp(open.substr(number, open.find(']', at) - number))) << open;
  }
  EXPECT_EQ(lab_->Release(kGate), 1);
  EXPECT_TRUE(Fetches(1));
}

// None of the two floods under TSan: a signal that comes as its runtime frees a block leaves it
// waiting for itself.
#ifndef STURDY_UNDER_TSAN
TEST_F(Host, FloodedWithSignalsTakesThemAllAndLosesNothing) {
  constexpr int kFetches = 30;
  std::vector<char> document(zo_sturdy::kLBSResponseBufferSize);
  const SignalFlood flood([this] { MakeLab(); });
  for (int life = 1; life <= 3; ++life) {
    Begin();
    for (int fetch = 1; fetch <= kFetches; ++fetch) {
      EXPECT_TRUE(Fetches(fetch));
      EXPECT_NE(Link(*service_), "");
      service_->GetLBSResponse(false, document.data());  // until it takes the next update
      service_->Update(net::kIPFamilyAny);
    }
    EXPECT_TRUE(Fetches(kFetches + 1));
    zo_sturdy::ExitSturdyEnvironment(1);
    const LogLines log(folder_.path());
    EXPECT_EQ(log.With("[lbs] Update LBS success = true").size(),
              static_cast<size_t>(life * (kFetches + 1)));
  }
  EXPECT_GT(signals, 100);
  EXPECT_EQ(strays, 0);
}

// A pipe in the place of a cache is a disk that lets the reader wait, in the open and in the read.
TEST_F(Host, InterruptedInASlowReadGoesOnWithItAndNoProgramInheritsTheFile) {
  const SignalFlood flood([this] { MakeLab(); });
  Begin();
  EXPECT_TRUE(Fetches(1));
  zo_sturdy::ExitSturdyEnvironment(1);
  const std::string cache = lab::DataFolder(folder_.path()) + "lbs/lbs.data";
  std::ostringstream text;
  text << std::ifstream(cache).rdbuf();
  std::filesystem::remove(cache);
  EXPECT_EQ(mkfifo(cache.c_str(), 0600), 0);
  lab_->SetBehaviours("lbs", kLbsPath, {lab::Answer(500)});
  const auto await_signals = [] {
    const int goal = signals + 20;
    EXPECT_TRUE(WaitUntil([goal] { return signals >= goal; }));
  };
  std::thread disk;
  {
    const SignalShelter shelter;
    disk = std::thread([&] {
      await_signals();
      const lab::Descriptor pipe(open(cache.c_str(), O_RDWR | O_CLOEXEC));
      await_signals();
      EXPECT_EQ(DescriptorsOfAProgram().find(cache), std::string::npos);
      std::filesystem::remove(cache);  // what is saved from now on is a file
      EXPECT_GT(write(pipe.get(), text.str().data(), text.str().size()), 0);
    });
  }
  Begin();
  EXPECT_EQ(Link(*service_), "one.example:1");
  disk.join();
}
#endif

// Nothing of the library may hang on the thread that a call came from.
TEST_F(Host, CallsFromThreadsThatEndAtOnce) {
  MakeLab();
  std::thread([this] { Begin(); }).join();
  EXPECT_TRUE(Fetches(1));
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
  const std::function<void()> calls[] = {
      [&] { EXPECT_NE(Link(*service_), ""); },
      [&] { service_->HoldLinkAddress("one.example", 1); },
      [&] { service_->Update(net::kIPFamilyAny); },
      [&] { object.NotifyNetworkChanged(net::kIPFamilyV6); },
      [&] { object.NotifyNetworkChanged(net::kIPFamilyV4); },
      [&] { EXPECT_EQ(zo_sturdy::StartSturdyEnvironment(EnvironmentSettings("")), 1); },
  };
  const int rounds = kSanitized ? 30 : 200;
  for (int round = 1; round <= rounds; ++round) {
    for (const auto& call : calls) {
      std::thread(call).join();
    }
    object.SetBusinessToken(std::to_string(round).c_str());  // fetches beside the one under way
  }
  const int before = good_updates;
  std::thread([&] { object.SetBusinessToken("last"); }).join();
  EXPECT_TRUE(Fetches(before + 1));
  EXPECT_EQ(Link(*service_), "one.example:1");
  std::thread([] { zo_sturdy::ExitSturdyEnvironment(1); }).join();
}

}  // namespace
