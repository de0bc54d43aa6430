// A client with one change in its life.
//   scenario_client DATA_FOLDER none|token|network exit|kill URL...
// Waits for a byte on its input before the change, and for the end of the last fetch. Prints the
// address that it gets then.
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <string>

#include "tests/support/client_calls.h"

namespace {

std::atomic<int> updates{0};

void OnUpdate(int /*code*/, const char* /*document*/) {
  ++updates;
  updates.notify_all();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    return 2;
  }
  const std::string change = argv[2];
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(argv[1], "first"));
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
  zo_sturdy::IZOSturdyLBSService& service = *object.GetLBSService();
  service.SetUpdateCallback(&OnUpdate);
  auto record = LBSRecord(argv[4], "127.0.0.1:9");
  for (int i = 5; i < argc; ++i) {
    Fill(record.lbs_backup_urls[i - 5], argv[i]);
  }
  service.Start(record);
  if (change == "none") {
    updates.wait(0);
  } else {
    std::getchar();
    change == "token" ? object.SetBusinessToken("second")
                      : object.NotifyNetworkChanged(net::kIPFamilyV4);
    AwaitFetchEnd(service);
  }
  std::printf("%s\n", Link(service).c_str());
  std::fflush(stdout);
  if (std::string(argv[3]) == "kill") {
    kill(getpid(), SIGKILL);
  }
  zo_sturdy::ExitSturdyEnvironment(1);
  return 0;
}
