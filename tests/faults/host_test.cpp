// A host process that goes its own way around the library: it forks, and it takes signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
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
#include "tests/support/sanitizers.h"
#include "tests/support/small_inputs.h"

namespace {

constexpr char kGate[] = "gate";

// Forks and executes a program. Returns what it has open: "... 5 -> socket:[4711]" a line.
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

std::atomic<int> signals{0};

// Keeps the signals from threads that are created during its life.
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

// A signal each millisecond, which interrupts system calls.
class SignalFlood {
 public:
  SignalFlood() {
    struct sigaction action {};
    action.sa_handler = [](int /*number*/) { ++signals; };
    sigaction(SIGALRM, &action, nullptr);
    Arm(1000);
  }
  ~SignalFlood() { Arm(0); }
  SignalFlood(const SignalFlood&) = delete;
  SignalFlood& operator=(const SignalFlood&) = delete;

  static void AwaitSignals(int number) {
    const int goal = signals + number;
    EXPECT_TRUE(WaitUntil([goal] { return signals >= goal; }));
  }

 private:
  static void Arm(int every_us) {
    const itimerval timer = {{0, every_us}, {0, every_us}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
};

class Host : public ClientTest {
 protected:
  Host() {
    const SignalShelter shelter;
    lab_.emplace(lab::Scenario{lab::HttpServer("lbs").On(kLbsPath, good_)});
  }
  void FetchOnce() { Fetch({lab_->Url("lbs", kLbsPath)}); }

  const lab::Behaviour good_ = lab::Answer(TestDocument().Text());
  std::optional<lab::Lab> lab_;
};

// A program inherits the pair of local sockets by which libcurl wakes its transfer, and nothing
// else: no file, and no connection, which would stay open as long as the program runs.
TEST_F(Host, ForksDuringATransferAndTheProgramInheritsNoFileAndNoConnection) {
  lab_->SetBehaviours("lbs", kLbsPath, {lab::Behaviour(good_).HeldAt(kGate)});
  FetchOnce();
  EXPECT_TRUE(lab_->WaitForHeld(kGate, 1, kPatience));
  const std::string open = DescriptorsOfAProgram();
  EXPECT_EQ(open.find(folder_.path()), std::string::npos) << open;
  for (size_t at = open.find("socket:["); at != std::string::npos;
       at = open.find("socket:[", at + 1)) {
    const size_t number = at + sizeof "socket:[" - 1;
    EXPECT_FALSE(IsTcp(open.substr(number, open.find(']', at) - number))) << open;
  }
  EXPECT_EQ(lab_->Release(kGate), 1);
  EXPECT_EQ(AwaitUpdate().first, 200);
}

// Not under TSan: its runtime deadlocks if a signal arrives while it frees memory.
#ifndef STURDY_UNDER_TSAN
// A pipe in place of a cache is a disk that makes the reader wait, in the open and in the read.
TEST_F(Host, InterruptedInASlowReadGoesOnWithItAndNoProgramInheritsTheFile) {
  const SignalFlood flood;
  FetchOnce();
  EXPECT_EQ(AwaitUpdate().first, 200);
  zo_sturdy::ExitSturdyEnvironment(1);
  EXPECT_EQ(LogLines(folder_.path()).With("[lbs] Update LBS success = true").size(), 1u);
  const std::string cache = lab::DataFolder(folder_.path()) + "lbs/lbs.data";
  std::ostringstream text;
  text << std::ifstream(cache).rdbuf();
  std::filesystem::remove(cache);
  EXPECT_EQ(mkfifo(cache.c_str(), 0600), 0);
  lab_->SetBehaviours("lbs", kLbsPath, {lab::Answer(500)});
  std::thread disk;
  {
    const SignalShelter shelter;
    disk = std::thread([&] {
      SignalFlood::AwaitSignals(20);
      const lab::Descriptor pipe(open(cache.c_str(), O_RDWR | O_CLOEXEC));
      SignalFlood::AwaitSignals(20);
      EXPECT_EQ(DescriptorsOfAProgram().find(cache), std::string::npos);
      std::filesystem::remove(cache);  // what is saved from now on is a file
      EXPECT_GT(write(pipe.get(), text.str().data(), text.str().size()), 0);
    });
  }
  FetchOnce();
  EXPECT_EQ(Link(*service_), "one.example:1");
  disk.join();
}
#endif

}  // namespace
