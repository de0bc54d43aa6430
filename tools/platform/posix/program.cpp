#include "tools/platform/program.h"

#include <sys/utsname.h>

namespace platform {

std::vector<std::string> StartProgram(int argc, char** argv) {
  return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

std::string ThisProgram() {
  return "/proc/self/exe";
}

std::string SystemName() {
  utsname system = {};
  if (::uname(&system) != 0) {
    return "unknown";
  }
  return std::string(system.sysname) + " " + system.release + " " + system.machine;
}

}  // namespace platform
