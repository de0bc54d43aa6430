#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

// Gives the calling thread, and those that it makes from now on, mounts of its own.
// False if the user may not have them.
bool EnterOwnMounts();

// An empty file system in memory over the folder, of this size ("1m"). Requires: EnterOwnMounts.
bool MountDisk(const std::string& folder, const std::string& size);
// Takes all of them away from the folder.
void UnmountDisks(const std::string& folder);

// Leaves a test that needs a right which its user may lack ("make a mount namespace"). Where all
// tests must run a missing right is a failure.
#define NEEDS_RIGHT(has_it, to_do_what)                               \
  if (!(has_it)) {                                                    \
    if (std::getenv("CI") != nullptr) {                               \
      FAIL() << "in CI this user must have the right to " to_do_what; \
    }                                                                 \
    GTEST_SKIP() << "this user may not " to_do_what;                  \
  }                                                                   \
  static_assert(true, "takes the semicolon")
