#include "src/sturdy/environment/environment_config.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/md5.h"

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
}

TEST(EnvironmentConfig, SignalsPrintTheirNames) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(_EnvironmentConfig::SIG_NetworkChanged(net::kIPFamilyV4), 0u);
  EXPECT_EQ(_EnvironmentConfig::SIG_BusinessTokenChanged(""), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "zo_sturdy::_EnvironmentConfig::SIG_NetworkChanged\n"
            "zo_sturdy::_EnvironmentConfig::SIG_BusinessTokenChanged\n");
}

}  // namespace
}  // namespace zo_sturdy
