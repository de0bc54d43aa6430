#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

// Gives the calling thread, and those that it creates from here on, its own mounts.
// Returns false if the user may not have them.
bool EnterOwnMounts();

// Mounts an empty file system in memory of this size ("1m") over the folder.
// Requires: EnterOwnMounts.
bool MountDisk(const std::string& folder, const std::string& size);
// Unmounts all of them.
void UnmountDisks(const std::string& folder);

// Skips a test whose user lacks a right ("make a mount namespace"); in CI, fails it.
#define NEEDS_RIGHT(has_it, to_do_what)                               \
  if (!(has_it)) {                                                    \
    if (std::getenv("CI") != nullptr) {                               \
      FAIL() << "in CI this user must have the right to " to_do_what; \
    }                                                                 \
    GTEST_SKIP() << "this user may not " to_do_what;                  \
  }                                                                   \
  static_assert(true, "takes the semicolon")
