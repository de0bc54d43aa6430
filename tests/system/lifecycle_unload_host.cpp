// A host that loads the library, runs it and unloads it again, over and over.
//   lifecycle_unload_host LIBRARY DATA_FOLDER ROUNDS
// Every tenth round exits with a look-up of a name in flight, at a name server that never answers.
// Ends with 0 if all went well, 1 with a line that says what did not, and 77 if the system gives it
// no network of its own, so that the rounds with a look-up were left out.
#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/environment/client.h"
#include "tests/support/own_network.h"

namespace {

constexpr int kLookupEvery = 10;
constexpr int kNoNetwork = 77;
constexpr int kQueryLimitMs = 20000;
constexpr uint16_t kNamePort = 53;

[[noreturn]] void Fail(int round, const std::string& what) {
  std::printf("round %d: %s\n", round, what.c_str());
  std::exit(1);
}

// The only name server of the network; -1 if there can be none.
int MakeSilentNameServer(const std::string& folder) {
  const std::string setting = "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n";
  if (!EnterOwnNetwork() || !ReplaceFile("/etc/resolv.conf", setting, folder)) {
    return -1;
  }
  return BindLoopback(SOCK_DGRAM, kNamePort);
}

void AwaitQuery(int server, int round) {
  pollfd readable{server, POLLIN, 0};
  if (poll(&readable, 1, kQueryLimitMs) != 1) {
    Fail(round, "no look-up came");
  }
}

void ForgetQueries(int server) {
  char query = 0;
  while (recv(server, &query, 1, MSG_DONTWAIT) > 0) {
  }
}

template <class Function>
Function* Find(void* library, const char* symbol, int round) {
  void* const found = dlsym(library, symbol);
  if (found == nullptr) {
    Fail(round, dlerror());
  }
  return reinterpret_cast<Function*>(found);
}

void Round(const char* path, const std::string& folder, int round, int name_server) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    Fail(round, dlerror());
  }
  const auto start = Find<decltype(zo_sturdy::StartSturdyEnvironment)>(
      library, "_ZN9zo_sturdy22StartSturdyEnvironmentERKNS_28_ZOSturdyEnvironmentSettingsE", round);
  const auto get = Find<decltype(zo_sturdy::GetSturdyObject)>(
      library, "_ZN9zo_sturdy15GetSturdyObjectEi", round);
  const auto exit = Find<decltype(zo_sturdy::ExitSturdyEnvironment)>(
      library, "_ZN9zo_sturdy21ExitSturdyEnvironmentEi", round);
  const int id = start(EnvironmentSettings(folder, "token"));
  zo_sturdy::IZOSturdyLBSService& service = *get(id)->GetLBSService();
  service.Start(LBSRecord(
      name_server < 0 ? "http://127.0.0.1:1/lbs/conf.jsp" : "http://silent.example/lbs/conf.jsp",
      "default.example:9"));
  if (name_server >= 0) {
    AwaitQuery(name_server, round);
  }
  exit(id);
  if (dlclose(library) != 0) {
    Fail(round, dlerror());
  }
  std::ifstream file("/proc/self/maps");
  const std::string maps{std::istreambuf_iterator<char>(file), {}};
  for (const char* gone : {"libsturdy_comp", "sturdy_comp.log", "libcurl"}) {
    if (maps.find(gone) != std::string::npos) {
      Fail(round, std::string(gone) + " is still mapped");
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    return 2;
  }
  const int name_server = MakeSilentNameServer(arguments[2]);
  for (int round = 1; round <= std::atoi(arguments[3]); ++round) {
    const bool looks_up = round % kLookupEvery == 0;
    if (looks_up && name_server < 0) {
      continue;
    }
    Round(arguments[1], arguments[2], round, looks_up ? name_server : -1);
    if (looks_up) {
      ForgetQueries(name_server);
    }
  }
  return name_server < 0 ? kNoNetwork : 0;
}
