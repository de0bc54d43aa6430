#pragma once

#include <gmock/gmock.h>

#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "base/log/log.h"
#include "base/process/at_exit.h"
#include "base/thread/base_thread.h"
#include "base/thread/clock.h"
#include "base/thread/clock_for_test.h"
#include "base/thread/thread_info.h"
#include "lab/temp_folder.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "tests/support/log_lines.h"

// A configuration with a folder of its own, a log of all levels, and a clock that stands still.
class ConfiguredTest : public testing::Test {
 protected:
  ConfiguredTest() {
    auto* const log = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    log->SetLogFile(folder_.File("sturdy_comp.log"), 0, 0);
    log->SetLevel(zo_base::LV_PRO);
    config_->data_path = folder_.path() + "/";
    zo_sturdy::EnvironmentManager::Instance().SetConfigForTest(config_);
  }
  ~ConfiguredTest() override {
    zo_sturdy::EnvironmentManager::Instance().SetConfigForTest(nullptr);
  }

  // Runs on the thread, behind all that has been posted to it and all that is due.
  static void RunOn(
      zo_base::BaseThread& thread, const std::function<void()>& task = [] {}) {
    std::promise<void> ran;
    thread.PostDelayedTask(0, [&] {
      task();
      ran.set_value();
    });
    ran.get_future().wait();
  }

  void SetToken(const std::string& token) {
    const zo_base::RecursiveMutexLock lock(config_->mutex);
    config_->business_token = token;
  }
  static zo_base::json11::Json Parsed(const std::string& text) {
    std::string error;
    return zo_base::json11::Json::parse(text, error);
  }

  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_ =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  const lab::TempFolder folder_;
  zo_base::ScopedTestClock clock_;
  const int64_t now_ = zo_base::Clock::WallMs();
  const std::shared_ptr<zo_sturdy::_EnvironmentConfig> config_ =
      std::make_shared<zo_sturdy::_EnvironmentConfig>();
  LogLines log_{folder_.path()};
};
