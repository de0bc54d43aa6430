#include "src/business/sturdy_lbs/lbs_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "src/business/sturdy_lbs/lbs_request.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

_ZOSturdyLBSSettings EnabledRecord() {
  _ZOSturdyLBSSettings record{};
  record.enable = true;
  return record;
}

TEST(LBSSettings, ARecordThatIsntEnabledChangesNothing) {
  LBSSettings settings;
  _ZOSturdyLBSSettings record{};
  std::strcpy(record.lbs_url, "http://other.example/");
  record.address_family = net::kIPFamilyV6;
  ApplyLBSSettings(record, settings);
  EXPECT_FALSE(settings.enable);
  EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);
  EXPECT_EQ(settings.lbs_backup_urls.size(), 2U);
  EXPECT_EQ(settings.address_family, net::kIPFamilyV4);
  EXPECT_THAT(settings.default_link_list, IsEmpty());
}

TEST(LBSSettings, AnEnabledRecordEmptiesTheListsAndKeepsTextsThatItLacks) {
  LBSSettings settings;
  ApplyLBSSettings(EnabledRecord(), settings);
  EXPECT_TRUE(settings.enable);
  EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);
  EXPECT_THAT(settings.lbs_backup_urls, IsEmpty());
  EXPECT_EQ(settings.address_family, net::kIPFamilyAny);
  EXPECT_THAT(settings.default_link_list, ElementsAre(kDefaultLink, kDefaultLink));
}

TEST(LBSSettings, TheFamilyChoosesTheLinksOfAnEmptyList) {
  const struct {
    int family;
    int taken;
    std::vector<std::string> links;
  } cases[] = {{0, 0, {"four:4", "six:6"}},
               {1, 1, {"four:4"}},
               {2, 2, {"six:6"}},
               {3, 1, {"four:4"}},
               {-1, -1, {}}};
  for (const auto& c : cases) {
    LBSSettings settings;
    _ZOSturdyLBSSettings record = EnabledRecord();
    std::strcpy(record.default_link_v4, "four:4");
    std::strcpy(record.default_link_v6, "six:6");
    record.address_family = static_cast<net::AddressFamily>(c.family);
    ApplyLBSSettings(record, settings);
    EXPECT_EQ(settings.address_family, c.taken) << c.family;
    EXPECT_EQ(settings.default_link_list, c.links) << c.family;
  }
}

TEST(LBSSettings, BytesOfAClientArentTrusted) {
  LBSSettings settings;
  _ZOSturdyLBSSettings record{};
  std::memset(&record, 'x', sizeof(record));  // no NUL anywhere, and a bool of neither value
  record.address_family = net::kIPFamilyV6;
  ApplyLBSSettings(record, settings);
  EXPECT_TRUE(settings.enable);
  EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);  // 512 bytes are one too many
  EXPECT_THAT(settings.lbs_backup_urls, IsEmpty());
  EXPECT_EQ(settings.default_link_v4, std::string(128, 'x'));
  EXPECT_EQ(settings.default_link_list.size(), 5U);
}

TEST(LBSRequest, TheQueryTellsTokenVersionsAndNetwork) {
  const std::string numbers = "sv=1&pv=-2&tp=3&networkType=";
  EXPECT_EQ(LBSQueryText({"key", 1, -2, 3, net::kIPFamilyAny}), "k=key&" + numbers + "2");
  EXPECT_EQ(LBSQueryText({"", 1, -2, 3, net::kIPFamilyV4}), numbers + "0");
  EXPECT_EQ(LBSQueryText({"", 1, -2, 3, net::kIPFamilyV6}), numbers + "1");
  EXPECT_EQ(LBSQueryText({"", 1, -2, 3, static_cast<net::AddressFamily>(9)}), numbers + "1");
}

TEST(LBSRequest, AddressesPresentTheRuntimeHostAndKeepToTheFamily) {
  const std::string query = "sv=0&pv=0&tp=0&networkType=2";
  const auto urls = [](const std::vector<std::string>& list, net::AddressFamily family) {
    std::vector<std::string> texts;
    for (const URLItem& item : BuildLBSRequest(list, {}, family).urls) {
      texts.push_back(item.url + " " + item.host);
    }
    return texts;
  };
  const std::vector<std::string> list = {"https://run.example/c?a=1", "http://1.2.3.4:8/c",
                                         "http://[::1]/c", "http://run.example/d", ""};
  EXPECT_THAT(urls(list, net::kIPFamilyV4),
              ElementsAre("https://run.example/c?a=1&" + query + " run.example",
                          "http://1.2.3.4:8/c?" + query + " run.example",
                          "http://run.example/d?" + query + " run.example", "?" + query + " "));
  EXPECT_EQ(urls(list, net::kIPFamilyAny).size(), 5U);
  EXPECT_THAT(urls({"http://1.2.3.4/c", "http://[::1]/c"}, net::kIPFamilyV6),
              ElementsAre("http://[::1]/c?" + query + " "));
  EXPECT_THAT(urls({"http://1.2.3.4/c"}, net::kIPFamilyV6), IsEmpty());
  const MultipleURLHttpRequest request = BuildLBSRequest(list, {}, net::kIPFamilyV6);
  EXPECT_EQ(request.time_out, 7000);
  EXPECT_EQ(request.multiple_time_out, 2000);
  EXPECT_EQ(request.ip_family, 2);
  EXPECT_TRUE(request.use_http_dns);
}

}  // namespace
}  // namespace zo_sturdy
