// A process that loads the library, runs it and unloads it again, fifty times. Needs the right to
// make a network namespace: without it the test is skipped, or fails in CI.
// The program must link neither the library nor libcurl, which it then couldn't unload. So it looks
// the functions up by their mangled names.
#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>

#include <fstream>
#include <iterator>

#include "lab/temp_folder.h"
#include "tests/support/client_calls.h"
#include "tests/support/descriptor.h"
#include "tests/support/own_mounts.h"
#include "tests/support/own_network.h"
#include "tests/support/test_document.h"

namespace {

template <class Function>
Function* Find(void* library, const char* symbol) {
  void* const found = dlsym(library, symbol);
  EXPECT_NE(found, nullptr) << "the library has no " << symbol;
  return reinterpret_cast<Function*>(found);
}

// If `looks_up`, the client exits while it waits for a name server that never answers.
void Round(const std::string& folder, bool looks_up) {
  void* const library = dlopen(STURDY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const Descriptor name_server(looks_up ? BindAllAddresses(SOCK_DGRAM, 53) : -1);
  const int id = Find<decltype(zo_sturdy::StartSturdyEnvironment)>(
      library, "_ZN9zo_sturdy22StartSturdyEnvironmentERKNS_28_ZOSturdyEnvironmentSettingsE")(
      EnvironmentSettings(folder, "token"));
  auto& object =
      *Find<decltype(zo_sturdy::GetSturdyObject)>(library, "_ZN9zo_sturdy15GetSturdyObjectEi")(id);
  const std::string host = looks_up ? "silent.example" : "127.0.0.1:1";
  object.GetLBSService()->Start(LBSRecord("http://" + host + kLbsPath, "default.example:9"));
  if (looks_up) {
    pollfd readable{name_server.get(), POLLIN, 0};
    EXPECT_EQ(poll(&readable, 1, 60000), 1) << "no look-up came";
  }
  Find<decltype(zo_sturdy::ExitSturdyEnvironment)>(library,
                                                   "_ZN9zo_sturdy21ExitSturdyEnvironmentEi")(id);
  ASSERT_EQ(dlclose(library), 0) << dlerror();
  std::ifstream file("/proc/self/maps");
  const std::string maps{std::istreambuf_iterator<char>(file), {}};
  for (const char* gone : {"libsturdy_comp", "sturdy_comp.log", "libcurl"}) {
    EXPECT_EQ(maps.find(gone), std::string::npos) << gone << " is still mapped";
  }
}

TEST(Unload, LeavesNothingMapped) {
  const lab::TempFolder folder;
  const std::string setting = "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n";
  NEEDS_RIGHT(EnterOwnNetwork() && ReplaceFile("/etc/resolv.conf", setting, folder.path()),
              "make a network namespace");
  for (int round = 1; round <= 50 && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    Round(folder.path(), round % 10 == 0);
  }
}

}  // namespace
