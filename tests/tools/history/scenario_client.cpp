// A client with at most two fetches in its life.
//   scenario_client DATA_FOLDER none|REASON exit|kill URL...
// REASON is that of the second fetch, in the words of the log. A change of token or network waits
// for a byte on the input, each other reason for the end of the first fetch. Prints the address
// that it gets after the last fetch.
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>

#include "tests/support/client_calls.h"

namespace {

std::string_view reason;
std::atomic<int> updates{0};

zo_sturdy::IZOSturdyLBSService& Service() {
  return *zo_sturdy::GetSturdyObject(1)->GetLBSService();
}

// The list has one server, so every second address is a default.
void TakeDefaults(int count) {
  for (int i = 0; i < 2 * count; ++i) {
    Link(Service());
  }
}

void OnUpdate(int /*code*/, const char* /*document*/) {
  if (reason == "default_timer" && updates == 0) {
    TakeDefaults(1);
  }
  ++updates;
  updates.notify_all();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    return 2;
  }
  reason = argv[2];
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(argv[1], "first"));
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
  zo_sturdy::IZOSturdyLBSService& service = Service();
  service.SetUpdateCallback(&OnUpdate);
  auto record = LBSRecord(argv[4], "127.0.0.1:9");
  Fill(record.default_link_list[0], "127.0.0.1:9");
  for (int i = 5; i < argc; ++i) {
    Fill(record.lbs_backup_urls[i - 5], argv[i]);
  }
  service.Start(record);
  if (reason == "token" || reason == "network") {
    std::getchar();
    reason == "token" ? object.SetBusinessToken("second")
                      : object.NotifyNetworkChanged(net::kIPFamilyV4);
    AwaitFetchEnd(service);
  } else {
    updates.wait(0);
    if (reason == "update") {
      service.Update(net::kIPFamilyAny);
    } else if (reason == "third_default") {
      TakeDefaults(3);
    }
    if (reason != "none") {
      updates.wait(1);
    }
  }
  std::printf("%s\n", Link(service).c_str());
  std::fflush(stdout);
  if (std::string(argv[3]) == "kill") {
    kill(getpid(), SIGKILL);
  }
  zo_sturdy::ExitSturdyEnvironment(1);
  return 0;
}
