#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/lbs_document.h"
#include "lab/temp_folder.h"
#include "sturdy/sturdy.h"
#include "tests/support/server_cache.h"

// The records of a client, filled from texts; a text too long for its field is cut.
template <size_t kSize>
void Fill(char (&field)[kSize], const std::string& text) {
  text.copy(field, kSize);
}

inline zo_sturdy::_ZOSturdyEnvironmentSettings EnvironmentSettings(const std::string& data_path,
                                                                   const std::string& token = "") {
  zo_sturdy::_ZOSturdyEnvironmentSettings settings{};
  Fill(settings.business_token, token);
  Fill(settings.data_path, data_path);
  return settings;
}

inline zo_sturdy::_ZOSturdyLBSSettings LBSRecord(const std::string& url,
                                                 const std::string& default_link) {
  zo_sturdy::_ZOSturdyLBSSettings record{};
  record.enable = true;
  Fill(record.lbs_url, url);
  Fill(record.default_link_v4, default_link);
  return record;
}

// What a lab's server "lbs" might answer that knows no other.
inline constexpr char kLbsPath[] = "/lbs/conf.jsp";
inline lab::LbsDocument OwnDocument(const std::vector<std::string>& links = {"one.example:1"}) {
  return lab::LbsDocument()
      .Link(links)
      .LinkDefault({"two.example:2"})
      .Lbs("${url:lbs}/lbs/conf.jsp");
}

// A client's call of GetLinkAddress, as "host:port".
inline std::string Link(zo_sturdy::IZOSturdyLBSService& service,
                        net::AddressFamily family = net::kIPFamilyAny) {
  char host[zo_sturdy::kLinkHostBufferSize] = {};
  uint16_t port = 0;
  if (!service.GetLinkAddress(host, &port, &family)) {
    return "";
  }
  return host + (":" + std::to_string(port));
}

// Adds one started environment with a folder of its own, and exits it at the end. HTTP DNS has its
// endpoints from an earlier run, and so asks nobody by itself.
class EnvironmentTest : public testing::Test {
 protected:
  ~EnvironmentTest() override { zo_sturdy::ExitSturdyEnvironment(1); }

  zo_sturdy::IZOSturdyObject& Start(const std::string& token = "") {
    WriteServerCache(FinalDataFolder(folder_.path()), dns_endpoints_);
    EXPECT_EQ(zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder_.path(), token)), 1);
    return *zo_sturdy::GetSturdyObject(1);
  }

  const lab::TempFolder folder_;
  std::vector<CachedEndpoint> dns_endpoints_ = {{"127.0.0.1"}};  // where nobody listens
};
