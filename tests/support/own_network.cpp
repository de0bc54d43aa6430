#include "tests/support/own_network.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

namespace {

bool RaiseLoopback() {
  const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  std::string("lo").copy(request.ifr_name, sizeof request.ifr_name);
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  const bool raised = ioctl(any, SIOCSIFFLAGS, &request) == 0;
  close(any);
  return raised;
}

}  // namespace

bool EnterOwnNetwork() {
  return unshare(CLONE_NEWNET | CLONE_NEWNS) == 0 &&
         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 && RaiseLoopback();
}

bool ReplaceFile(const std::string& path, const std::string& text, const std::string& folder) {
  const std::string own = folder + path.substr(path.rfind('/'));
  std::ofstream(own) << text;
  umount2(path.c_str(), MNT_DETACH);  // an earlier text
  return mount(own.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

int BindAllAddresses(int type, uint16_t port) {
  const int bound = socket(AF_INET6, type | SOCK_CLOEXEC, 0);
  const int both = 0;
  setsockopt(bound, IPPROTO_IPV6, IPV6_V6ONLY, &both, sizeof both);
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_port = htons(port);
  if (bind(bound, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    return bound;
  }
  close(bound);
  return -1;
}
