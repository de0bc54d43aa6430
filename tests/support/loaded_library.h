#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/client_calls.h"

template <class Function>
Function* AsFunction(void* found) {
  EXPECT_NE(found, nullptr) << "the library lacks a function";
  return reinterpret_cast<Function*>(found);
}

// Starts a client that asks this URL, calls `meanwhile` and exits, in a program that has opened the
// library at run time. `find` looks a function up by its mangled name.
template <class Find, class Meanwhile>
void StartAndExit(const Find& find, const std::string& folder, const std::string& url,
                  const Meanwhile& meanwhile) {
  const int id = AsFunction<decltype(zo_sturdy::StartSturdyEnvironment)>(
      find("_ZN9zo_sturdy22StartSturdyEnvironmentERKNS_28_ZOSturdyEnvironmentSettingsE"))(
      EnvironmentSettings(folder, "token"));
  auto& object = *AsFunction<decltype(zo_sturdy::GetSturdyObject)>(
      find("_ZN9zo_sturdy15GetSturdyObjectEi"))(id);
  object.GetLBSService()->Start(LBSRecord(url, "default.example:9"));
  meanwhile();
  AsFunction<decltype(zo_sturdy::ExitSturdyEnvironment)>(
      find("_ZN9zo_sturdy21ExitSturdyEnvironmentEi"))(id);
}
