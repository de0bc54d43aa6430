#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "tests/support/configured_test.h"

namespace zo_sturdy {

// Builds a document. Lists are JSON texts without their brackets; `more` is appended.
inline std::string Document(const std::string& links, const std::string& defaults,
                            const std::string& lbs, const std::string& more = "") {
  return R"({"common":{"link":[)" + links + R"(],"link.default":[)" + defaults + R"(],"lbs":")" +
         lbs + "\"" + (more.empty() ? "" : ",") + more + "}}";
}

inline _ZOSturdyLBSSettings Record(const char* url = "http://root.example/lbs") {
  _ZOSturdyLBSSettings record{};
  record.enable = true;
  std::strcpy(record.lbs_url, url);
  std::strcpy(record.default_link_v4, "10.0.0.9:9");
  return record;
}

// Makes a client's call. Returns "host:port/family", "-" for false.
using LinkCall = bool (IZOSturdyLBSService::*)(char*, uint16_t*, net::AddressFamily*);
inline std::string Link(IZOSturdyLBSService& slots, net::AddressFamily family = {},
                        LinkCall call = &IZOSturdyLBSService::GetLinkAddress) {
  char host[kLinkHostBufferSize] = {};
  uint16_t port = 0;
  return (slots.*call)(host, &port, &family)
             ? std::string(host) + ":" + std::to_string(port) + "/" + std::to_string(family)
             : "-";
}
inline std::string Peek(IZOSturdyLBSService& slots) {
  return Link(slots, {}, &IZOSturdyLBSService::PeekLinkAddress);
}
inline std::string Response(IZOSturdyLBSService& slots, bool no_wait = true) {
  std::vector<char> out(kLBSResponseBufferSize);
  slots.GetLBSResponse(no_wait, out.data());
  return out.data();
}

class LbsTest : public ConfiguredTest {
 protected:
  LbsTest() { zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->SetLevel(zo_base::LV_APP); }

  std::shared_ptr<ZOSturdyLBSServiceImpl> MakeService() {
    auto made = std::make_shared<ZOSturdyLBSServiceImpl>();
    made->SetEnvironmentConfig(config);
    return made;
  }
  void SetToken(const std::string& token) {
    const zo_base::RecursiveMutexLock lock(config->mutex);
    config->business_token = token;
    config->Emit(_EnvironmentConfig::SIG_BusinessTokenChanged, token);
  }
  void NotifyNetwork(int family) {
    config->Emit(_EnvironmentConfig::SIG_NetworkChanged, static_cast<net::AddressFamily>(family));
  }
};

}  // namespace zo_sturdy
