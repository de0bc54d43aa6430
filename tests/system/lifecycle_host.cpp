// A client that doesn't exit its environment, or in the destructor of a static object.
//   lifecycle_host WAY DATA_FOLDER URL openssl-first|openssl-later
// Starts another fetch after its first, waits for a byte on its input and ends in one of the ways
// "return", "thread", "callback", "call", "fork", "static", "joined", without a word.
#include <openssl/ssl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "tests/support/client_calls.h"

// Threads that end when OpenSSL has cleaned up, as they do if a static object exits the
// environment, can't give back what they have from it. NOLINTBEGIN(bugprone-reserved-identifier):
// the leak checker chose the names
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
    std::exit(0);
  }
  Count();
}

// The end of the fetch.
void Await(zo_sturdy::IZOSturdyLBSService& service) {
  std::string document(zo_sturdy::kLBSResponseBufferSize, '\0');
  service.GetLBSResponse(false, document.data());
}

int End(const std::string& way, zo_sturdy::IZOSturdyLBSService& service) {
  if (way == "callback") {
    ends_in_callback = true;
    zo_sturdy::GetSturdyObject(1)->SetBusinessToken("third");
    pause();
  }
  if (way == "thread") {
    std::thread([] { std::exit(0); }).join();
  }
  if (way == "call") {
    std::thread([&service] { Await(service); }).detach();
    const int before = calls;
    std::thread([&service] {
      for (;; Count()) {
        Link(service);
      }
    }).detach();
    calls.wait(before);
    std::exit(0);
  }
  keeper.exits = way == "static";
  if (way == "joined") {
    keeper.waits = std::thread([&service] { Await(service); });
  }
  int status = 0;
  if (way == "fork" && fork() != 0) {
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
  service.Start(LBSRecord(arguments[3], "default.example:9"));
  calls.wait(0);
  Await(service);  // its callback comes a moment before
  object.SetBusinessToken("second");
  char sign = 0;
  static_cast<void>(!read(STDIN_FILENO, &sign, 1));
  return End(arguments[1], service);
}
