// A host process that starts programs and takes signals while the library works.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "tests/support/client.h"
#include "tests/support/descriptor.h"
#include "tests/support/log_lines.h"
#include "tests/support/sanitizers.h"

namespace {

constexpr char kGate[] = "gate";

// Starts a program, as hosts do. Returns what it has open: "... 5 -> socket:[4711]" a line.
std::string DescriptorsOfAProgram() {
  const std::string open = lab::Child({"/bin/ls", "-l", "/proc/self/fd"}).ReadRest();
  EXPECT_NE(open.find(" 1 -> pipe:["), std::string::npos) << open;
  return open;
}

// Returns this process's sockets of the network, such as "socket:[4711]".
std::vector<std::string> NetworkSockets() {
  std::vector<std::string> sockets;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    int family = AF_UNIX;
    socklen_t size = sizeof family;
    getsockopt(std::stoi(entry.path().filename()), SOL_SOCKET, SO_DOMAIN, &family, &size);
    if (family != AF_UNIX) {
      sockets.push_back(std::filesystem::read_symlink(entry));
    }
  }
  return sockets;
}

std::atomic<int> signals{0};

// Blocks or unblocks the flood for the calling thread and for those that it creates from then on.
void MaskSignals(int how) {
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  pthread_sigmask(how, &alarm, nullptr);
}

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
    MaskSignals(SIG_BLOCK);
    lab_.emplace(lab::Scenario{lab::HttpServer("lbs").On(kLbsPath, good_)});
    MaskSignals(SIG_UNBLOCK);
  }
  void FetchOnce() { Fetch({lab_->Url("lbs", kLbsPath)}); }

  const lab::Behaviour good_ = lab::Answer(TestDocument().Text());
  std::optional<lab::Lab> lab_;
};

// A program inherits the pair of local sockets by which libcurl wakes its transfer, and nothing
// else: no file, and no connection, which would stay open as long as the program runs.
TEST_F(Host, ProgramStartedInATransferInheritsNoFileAndNoConnection) {
  lab_->SetBehaviours("lbs", kLbsPath, {lab::Behaviour(good_).HeldAt(kGate)});
  FetchOnce();
  EXPECT_TRUE(lab_->gates().WaitForHeld(kGate, 1, kPatience));
  const std::string open = DescriptorsOfAProgram();
  EXPECT_EQ(open.find(folder_.path()), std::string::npos) << open;
  const std::vector<std::string> sockets = NetworkSockets();
  EXPECT_GE(sockets.size(), 3u) << "the listener and both ends of the transfer";
  for (const std::string& socket : sockets) {
    EXPECT_EQ(open.find(socket), std::string::npos) << open;
  }
  EXPECT_EQ(lab_->gates().Release(kGate), 1);
  EXPECT_EQ(AwaitUpdate().first, 200);
}

// Not under TSan: its runtime deadlocks if a signal arrives while it frees memory.
#ifndef STURDY_UNDER_TSAN
// A pipe in place of a cache is a disk that makes the reader wait, in the open and in the read.
TEST_F(Host, SlowReadOutlastsSignalsAndNoProgramInheritsItsFile) {
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
  const std::jthread disk([&] {
    MaskSignals(SIG_BLOCK);
    SignalFlood::AwaitSignals(20);  // in the reader's open, which waits for ours, as ours for it
    const Descriptor pipe(open(cache.c_str(), O_WRONLY | O_CLOEXEC));
    SignalFlood::AwaitSignals(20);  // in its read
    EXPECT_EQ(DescriptorsOfAProgram().find(cache), std::string::npos);
    std::filesystem::remove(cache);  // what is saved from now on is a file
    EXPECT_GT(write(pipe.get(), text.str().data(), text.str().size()), 0);
  });
  FetchOnce();
  EXPECT_EQ(Link(*service_), "one.example:1");
}
#endif

}  // namespace
