#pragma once

#include <gmock/gmock.h>

#include <string>

#include "base/json/json.h"
#include "tests/support/log_lines.h"
#include "tests/support/service_harness.h"

// The fixture of a service that runs without an agent, or of the agent itself.
class ConfiguredTest : public testing::Test, protected ServiceHarness {
 protected:
  void SetToken(const std::string& token) {
    const zo_base::RecursiveMutexLock lock(config->mutex);
    config->business_token = token;
    config->Emit(zo_sturdy::_EnvironmentConfig::SIG_BusinessTokenChanged, token);
  }
  static zo_base::json11::Json Parsed(const std::string& text) {
    std::string error;
    return zo_base::json11::Json::parse(text, error);
  }

  LogLines log{folder.path()};
};
