#include "src/sturdy/config/environment_config.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/client_calls.h"

namespace zo_sturdy {
namespace {

TEST(EnvironmentConfig, TakesASettingsRecord) {
  const std::string im_g1 = "d6f07bc61ae1384e48a8edaab463328b/";
  struct {
    std::string business, data_path, final_path;
  } const cases[] = {{"im_g1", "/data", "/data/sturdy_comp/" + im_g1},
                     {"", "C:\\d\\e/f\\", "C:/d/e/f/sturdy_comp/" + im_g1},
                     {"", "", "/sturdy_comp/" + im_g1},
                     {std::string(32, 'b'), std::string(1024, 'p'),
                      std::string(1024, 'p') + "/sturdy_comp/8b4f9ea16de4bcf5bbfc0ff1ea237934/"}};
  for (const auto& c : cases) {
    _EnvironmentConfig config;
    auto settings = EnvironmentSettings(c.data_path);
    Fill(settings.business, c.business);
    config.ApplySettings(settings);
    EXPECT_EQ(config.business, c.business.empty() ? "im_g1" : c.business);
    EXPECT_EQ(config.data_path, c.final_path);
  }
  _ZOSturdyEnvironmentSettings settings;
  std::memset(&settings, 'x', sizeof(settings));  // no NUL
  std::memset(settings.sdk_version_text, 'v', sizeof(settings.sdk_version_text));
  settings.sv = 1;
  settings.pv = 2;
  settings.tp = 3;
  _EnvironmentConfig config;
  config.ApplySettings(settings);
  EXPECT_EQ(config.GetBusinessToken(), std::string(128, 'x'));
  EXPECT_EQ(config.sdk_version_text, std::string(128, 'v'));
  EXPECT_EQ(std::tie(config.sv, config.pv, config.tp), std::make_tuple(1, 2, 3));
  config.ApplySettings({});  // copies empty texts too
  EXPECT_EQ(config.GetBusinessToken() + config.sdk_version_text, "");
  EXPECT_EQ(config.business, std::string(32, 'x'));
}

}  // namespace
}  // namespace zo_sturdy
