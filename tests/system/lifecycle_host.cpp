// A client that doesn't exit its environment, or only in the destructor of a static object.
//   lifecycle_host WAY DATA_FOLDER URL openssl-first|openssl-later
// Starts another fetch after its first, waits for a byte on its input, and ends in this way:
//   return    returns from main
//   many      the same, with enough fetches to keep all workers in handshakes
//   thread    exits on another thread
//   callback  exits in the update callback
//   forked in callback  forks there; a static object's destructor exits in the child
//   call      exits while other threads are in calls
//   fork      a forked child returns from main, then the parent
//   forked    the same, and in each the destructor of a static object exits the environment
//   static    the destructor of a static object exits the environment
//   joined    that destructor joins a thread that is in a call
// Prints nothing.
#include <openssl/ssl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "tests/support/client_calls.h"

// If a static object exits the environment, threads end after OpenSSL has cleaned up and can't free
// what they got from it. NOLINTBEGIN(bugprone-reserved-identifier): the leak checker's names
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libcrypto.so";
}
extern "C" const char* __lsan_default_options() {
  return "print_suppressions=0";
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

std::atomic<int> calls{0};
std::atomic<bool> ends_in_callback{false};
std::atomic<bool> forks_in_callback{false};

// The static object of the host.
struct Keeper {
  ~Keeper() {
    if (waits.joinable()) {
      waits.join();
    }
    if (exits) {
      zo_sturdy::ExitSturdyEnvironment(1);
    }
  }
  std::thread waits;
  bool exits = false;
} keeper;

void Count() {
  ++calls;
  calls.notify_all();
}

void OnUpdate(int /*code*/, const char* /*document*/) {
  if (ends_in_callback) {
    keeper.exits = forks_in_callback && fork() == 0;  // an exit in the child
    wait(nullptr);
    std::exit(0);
  }
  Count();
}

int End(const std::string& way, zo_sturdy::IZOSturdyLBSService& service) {
  if (way == "callback" || way == "forked in callback") {
    forks_in_callback = way != "callback";
    ends_in_callback = true;
    zo_sturdy::GetSturdyObject(1)->SetBusinessToken("third");
    pause();
  }
  if (way == "thread") {
    std::thread([] { std::exit(0); }).join();
  }
  if (way == "call") {
    std::thread([&service] { AwaitFetchEnd(service); }).detach();
    const int before = calls;
    std::thread([&service] {
      for (;; Count()) {
        Link(service);
      }
    }).detach();
    calls.wait(before);
    std::exit(0);
  }
  keeper.exits = way == "static" || way == "forked";
  if (way == "joined") {
    keeper.waits = std::thread([&service] { AwaitFetchEnd(service); });
  }
  int status = 0;
  if ((way == "fork" || way == "forked") && fork() != 0) {
    wait(&status);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) {
    return 2;
  }
  if (arguments[4] == std::string("openssl-first")) {
    OPENSSL_init_ssl(0, nullptr);
  }
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(arguments[2], "first"));
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
  zo_sturdy::IZOSturdyLBSService& service = *object.GetLBSService();
  service.SetUpdateCallback(&OnUpdate);
  service.Start(LBSRecord(arguments[3], "127.0.0.1:9"));
  calls.wait(0);
  AwaitFetchEnd(service);
  for (int i = 0; i < (arguments[1] == std::string("many") ? 200 : 1); ++i) {
    object.SetBusinessToken(("token " + std::to_string(i)).c_str());
  }
  char byte = 0;
  static_cast<void>(!read(STDIN_FILENO, &byte, 1));
  return End(arguments[1], service);
}
