// A client that doesn't exit its environment.
//   lifecycle_host WAY DATA_FOLDER URL [openssl-first]
// Starts another fetch after its first, waits for a byte on its input and ends in one of the ways
// "return", "thread", "callback", "call", "fork", without a word.
#include <openssl/ssl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/environment/client.h"

namespace {

using zo_sturdy::IZOSturdyLBSService;
using zo_sturdy::IZOSturdyObject;

std::atomic<int> fetches{0};
IZOSturdyObject* object = nullptr;
std::atomic<bool> ends_in_callback{false};

void OnUpdate(int /*code*/, const char* /*document*/) {
  if (ends_in_callback) {
    std::exit(0);
  }
  ++fetches;
  fetches.notify_all();
}

void AwaitFetch(int number) {
  for (int seen = fetches; seen < number; seen = fetches) {
    fetches.wait(seen);
  }
}

int End(const std::string& way, IZOSturdyLBSService& service) {
  if (way == "callback") {
    ends_in_callback = true;
    object->SetBusinessToken("third");
    AwaitFetch(3);  // it never comes
  }
  if (way == "thread") {
    std::thread([] { std::exit(0); }).join();
  }
  if (way == "call") {
    std::thread([&service] {
      std::vector<char> document(zo_sturdy::kLBSResponseBufferSize);
      service.GetLBSResponse(false, document.data());
    }).detach();
    std::atomic<int> calls{0};
    std::thread([&service, &calls] {
      for (;;) {
        Link(service);
        ++calls;
        calls.notify_all();
      }
    }).detach();
    calls.wait(0);
    std::exit(0);  // `calls` lives until the end
  }
  if (way == "fork") {
    const pid_t child = fork();
    if (child == 0) {
      std::exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 4) {
    return 2;
  }
  const std::string way = arguments[1];
  if (count > 4) {
    OPENSSL_init_ssl(0, nullptr);
  }
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(arguments[2], "first"));
  object = zo_sturdy::GetSturdyObject(1);
  IZOSturdyLBSService& service = *object->GetLBSService();
  service.SetUpdateCallback(&OnUpdate);
  service.Start(LBSRecord(arguments[3], "default.example:9"));
  AwaitFetch(1);
  object->SetBusinessToken("second");
  char sign = 0;
  static_cast<void>(!read(STDIN_FILENO, &sign, 1));
  return End(way, service);
}
