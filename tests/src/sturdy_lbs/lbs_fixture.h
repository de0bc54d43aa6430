#pragma once

#include <memory>
#include <string>

#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "tests/support/client_calls.h"
#include "tests/support/configured_test.h"
#include "tests/support/test_document.h"

namespace zo_sturdy {

inline constexpr char kDefaultV4[] = "10.0.0.9:9";

inline _ZOSturdyLBSSettings Record(const std::string& url = "http://root.example/lbs") {
  return LBSRecord(url, kDefaultV4);
}

class LbsTest : public ConfiguredTest {
 protected:
  std::shared_ptr<ZOSturdyLBSServiceImpl> MakeService() {
    auto made = std::make_shared<ZOSturdyLBSServiceImpl>();
    made->SetEnvironmentConfig(config);
    return made;
  }
  void NotifyNetwork(net::AddressFamily family) {
    config->Emit(_EnvironmentConfig::SIG_NetworkChanged, family);
  }
};

}  // namespace zo_sturdy
