#include "src/sturdy/environment/environment_config.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "base/md5.h"
#include "src/sturdy/environment/environment_config_getter.h"
#include "src/sturdy/environment/record_fields.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"

namespace zo_sturdy {
namespace {

_ZOSturdyEnvironmentSettings Settings(const std::string& business, const std::string& data_path) {
  _ZOSturdyEnvironmentSettings settings{};
  business.copy(settings.business, sizeof(settings.business));
  data_path.copy(settings.data_path, sizeof(settings.data_path));
  return settings;
}

TEST(EnvironmentConfig, FinalDataPath) {
  EXPECT_EQ(zo_base::Md5Hex("im_g1"), "d6f07bc61ae1384e48a8edaab463328b");
  struct {
    std::string business, data_path, cleaned;
  } const cases[] = {
      {"im_g1", "/data", "/data/"},
      {"", "/data/", "/data/"},
      {"im_g1", "C:\\d\\", "C:/d/"},
      {"im_g1", "a\\b/c", "a/b/c/"},
      {"other", "", "/"},
      {"im_g1", std::string(1024, 'p'), std::string(1024, 'p') + "/"},
      {std::string(32, 'b'), "/d", "/d/"},
  };
  for (const auto& c : cases) {
    _EnvironmentConfig config;
    config.ApplySettings(Settings(c.business, c.data_path));
    const std::string business = c.business.empty() ? "im_g1" : c.business;
    EXPECT_EQ(config.business, business);
    EXPECT_EQ(config.data_path, c.cleaned + "sturdy_comp/" + zo_base::Md5Hex(business) + "/");
  }
}

TEST(EnvironmentConfig, FieldsThatLackTheirNulOrHoldNoBool) {
  _ZOSturdyEnvironmentSettings settings;
  std::memset(&settings, 'x', sizeof(settings));
  _EnvironmentConfig config;
  config.ApplySettings(settings);
  EXPECT_EQ(config.GetBusinessToken(), std::string(128, 'x'));
  EXPECT_EQ(config.sdk_version_text, std::string(128, 'x'));
  EXPECT_EQ(config.sv, 0x78787878);
  // A second application takes empty texts, too.
  config.ApplySettings(Settings("", ""));
  EXPECT_EQ(config.GetBusinessToken() + config.sdk_version_text, "");
  EXPECT_EQ(config.business, std::string(32, 'x'));

  _ZOSturdyLBSSettings lbs;
  std::memset(&lbs, 255, sizeof(lbs));
  EXPECT_TRUE(FieldFlag(lbs.enable));
  EXPECT_EQ(FieldFamily(lbs.address_family), -1);
  EXPECT_EQ(FieldText(lbs.lbs_url).size(), 512u);
}

TEST(EnvironmentConfig, SignalsPrintTheirNames) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(_EnvironmentConfig::SIG_NetworkChanged(net::kIPFamilyV4), 0u);
  EXPECT_EQ(_EnvironmentConfig::SIG_BusinessTokenChanged(""), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "zo_sturdy::_EnvironmentConfig::SIG_NetworkChanged\n"
            "zo_sturdy::_EnvironmentConfig::SIG_BusinessTokenChanged\n");
}

TEST(EnvironmentConfigGetter, SendsOnlyThroughALiveConfigurationWithAnInvoker) {
  EnvironmentConfigGetterBase getter;
  const MultipleURLHttpRequest request;
  getter.SendMultipleURLRequest(request, true);  // none set
  auto config = std::make_shared<_EnvironmentConfig>();
  getter.SetEnvironmentConfig(config);
  EXPECT_EQ(getter.GetEnvironmentConfig(), config);
  getter.SendMultipleURLRequest(request, true);  // no invoker
  int calls = 0;
  config->SetHttpRequestInvoker([&](const MultipleURLHttpRequest& r, bool on_agent_thread) {
    calls += &r == &request && on_agent_thread;
  });
  getter.SendMultipleURLRequest(request, true);
  EXPECT_EQ(calls, 1);
  config.reset();
  EXPECT_EQ(getter.GetEnvironmentConfig(), nullptr);
  getter.SendMultipleURLRequest(request, true);
  EXPECT_EQ(calls, 1);
}

TEST(EnvironmentConfigGetter, WhatChangesWhileItIsRead) {
  EnvironmentConfigGetterBase getter;
  const auto config = std::make_shared<_EnvironmentConfig>();
  config->SetHttpRequestInvoker([](const MultipleURLHttpRequest&, bool) {});
  EXPECT_TRUE(config->statistic_settings.Get()->enable);
  std::thread writer([&] {
    for (int i = 1; i <= 1000; ++i) {
      getter.SetEnvironmentConfig(i % 2 ? config : nullptr);
      config->address_family = static_cast<net::AddressFamily>(i % 3);
      StatisticSettings settings;
      settings.count = i;
      config->statistic_settings.Set(settings);
      config->SetHttpRequestInvoker([](const MultipleURLHttpRequest&, bool) {});
    }
  });
  int32_t last = 0;
  while (last < 1000) {
    getter.SendMultipleURLRequest({}, false);
    EXPECT_LE(config->address_family, net::kIPFamilyV6);
    const int32_t count = config->statistic_settings.Get()->count;
    EXPECT_TRUE(count >= last || last == 0);
    last = std::max(count == 10 ? 0 : count, last);
  }
  writer.join();
}

}  // namespace
}  // namespace zo_sturdy
