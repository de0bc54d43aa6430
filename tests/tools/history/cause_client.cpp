// A client whose fetches fail.
//   cause_client DATA_FOLDER URL [leave]
// Prints an address after its first fetch, and waits for a byte on its input. Then fetches again
// and prints the next address: after that fetch, or with "leave" during it. At another byte returns
// from main, and the destructor of a static object exits the environment.
#include <atomic>
#include <cstdio>

#include "tests/support/client_calls.h"

namespace {

std::atomic<int> updates{0};

struct Keeper {
  ~Keeper() { zo_sturdy::ExitSturdyEnvironment(1); }
} keeper;

void PrintLinkAndWait(zo_sturdy::IZOSturdyLBSService& service) {
  std::printf("%s\n", Link(service).c_str());
  std::fflush(stdout);
  std::getchar();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    return 2;
  }
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(argv[1], "token"));
  zo_sturdy::IZOSturdyLBSService& service = *zo_sturdy::GetSturdyObject(1)->GetLBSService();
  service.SetUpdateCallback([](int /*code*/, const char* /*document*/) {
    ++updates;
    updates.notify_all();
  });
  service.Start(LBSRecord(argv[2], "127.0.0.1:9"));
  updates.wait(0);
  PrintLinkAndWait(service);
  service.Update(net::kIPFamilyAny);
  if (argc == 3) {
    AwaitFetchEnd(service);
  }
  PrintLinkAndWait(service);
  return 0;
}
