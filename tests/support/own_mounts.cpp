#include "tests/support/own_mounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>

namespace {

// Becomes root of a new user namespace, in which the user's files stay the user's.
bool EnterUserNamespace() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
    return false;
  }
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
  std::ofstream("/proc/self/gid_map") << "0 " + group + " 1";
  return true;
}

}  // namespace

bool EnterOwnMounts() {
  return (unshare(CLONE_NEWNS) == 0 || EnterUserNamespace()) &&
         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool MountDisk(const std::string& folder, const std::string& size) {
  return mount("none", folder.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
}

void UnmountDisks(const std::string& folder) {
  while (umount2(folder.c_str(), MNT_DETACH) == 0) {
  }
}
