// A process that loads the library, runs it and unloads it again, fifty times. Needs the right to
// make a network namespace: without it the test is skipped, or fails in CI.
// The program must link neither the library nor libcurl, which it then couldn't unload.
#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>

#include <fstream>
#include <iterator>

#include "lab/temp_folder.h"
#include "tests/support/descriptor.h"
#include "tests/support/loaded_library.h"
#include "tests/support/own_mounts.h"
#include "tests/support/own_network.h"
#include "tests/support/test_document.h"

namespace {

// If `looks_up`, the client exits while it waits for a name server that never answers.
void Round(const std::string& folder, bool looks_up) {
  void* const library = dlopen(STURDY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const Descriptor name_server(looks_up ? BindAllAddresses(SOCK_DGRAM, 53) : -1);
  const std::string host = looks_up ? "silent.example" : "127.0.0.1:1";
  StartAndExit([&](const char* name) { return dlsym(library, name); }, folder,
               "http://" + host + kLbsPath,
               [&] {
                 if (looks_up) {
                   pollfd readable{name_server.get(), POLLIN, 0};
                   EXPECT_EQ(poll(&readable, 1, 60000), 1) << "no look-up came";
                 }
               });
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
