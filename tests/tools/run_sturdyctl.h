#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "lab/child.h"

// Runs a command of sturdyctl to its end, which must be good. Returns what it printed.
inline std::string RunSturdyctl(std::vector<std::string> command) {
  command.insert(command.begin(), STURDYCTL);
  lab::Child child(std::move(command));
  const std::string output = child.ReadRest();
  EXPECT_EQ(child.Wait(), 0) << output;
  return output;
}
