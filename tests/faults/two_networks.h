#pragma once

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "lab/port.h"
#include "tests/support/own_network.h"

// Two networks in one process, joined by a cable. What is created before the calling thread crosses
// over lives in the servers' network, what is created afterwards in the client's: the system keeps
// a network for each thread, and a thread begins in that of its creator.
// Threads: the one that created it.
class TwoNetworks {
 public:
  static constexpr char kServerV4[] = "10.9.0.1";
  static constexpr char kServerV6[] = "2001:db8:9::1";

  // False if the user may not have any.
  [[nodiscard]] bool is_made() const { return is_made_; }
  [[nodiscard]] bool CrossOver() {
    const std::string servers =
        "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(servers_.get());
    if (unshare(CLONE_NEWNET) != 0) {
      return false;
    }
    client_ = Current();
    return Run("ip link set lo up; ip link add cable type veth peer name cable netns " + servers) &&
           RunInBoth(
               "ip addr add 10.9.0.$end/24 dev cable; ip link set cable up;"
               "ip addr add 2001:db8:9::$end/64 dev cable nodad; nft add table inet fault;"
               "nft 'add chain inet fault in { type filter hook input priority 0; }'");
  }
  // Drops packets that leave the cable, at either end, and match the rule.
  [[nodiscard]] bool Drop(const std::string& rule) const {
    return RunInBoth("nft add rule inet fault in iifname cable '" + rule + " drop'");
  }

 private:
  static lab::Descriptor Current() {
    return lab::Descriptor(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
  }
  static bool Run(const std::string& commands) {
    return std::system(("PATH=$PATH:/usr/sbin:/sbin; set -e; " + commands).c_str()) == 0;
  }
  bool RunInBoth(const std::string& commands) const {
    return setns(servers_.get(), CLONE_NEWNET) == 0 && Run("end=1;" + commands) &&
           setns(client_.get(), CLONE_NEWNET) == 0 && Run("end=2;" + commands);
  }

  const bool is_made_ = EnterOwnNetwork();
  const lab::Descriptor servers_ = Current();
  lab::Descriptor client_;
};
