#include <atomic>
#include <cstdio>
#include <string>

#include "tests/support/client_calls.h"

namespace {

std::atomic<bool> fetched{false};

}  // namespace

// end_client exit|return DATA_FOLDER URL: prints the link that it has after a fetch, begins another
// one, and waits for a byte on its input. Then exits the environment, or returns without an exit.
int main(int argc, char** argv) {
  if (argc != 4) {
    return 2;
  }
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(argv[2], "token"));
  zo_sturdy::IZOSturdyLBSService& service = *zo_sturdy::GetSturdyObject(1)->GetLBSService();
  service.SetUpdateCallback([](int /*code*/, const char* /*document*/) {
    fetched = true;
    fetched.notify_all();
  });
  service.Start(LBSRecord(argv[3], "default.example:9"));
  fetched.wait(false);
  std::puts(Link(service).c_str());
  std::fflush(stdout);
  service.Update(net::kIPFamilyAny);
  std::getchar();
  if (argv[1] == std::string("exit")) {
    zo_sturdy::ExitSturdyEnvironment(1);
  }
  return 0;
}
