#include "src/business/sturdy_lbs/lbs_settings.h"

#include <gmock/gmock.h>

#include <cstring>

#include "src/business/sturdy_lbs/lbs_request.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST(LBSSettings, ARecordCountsOnlyIfItIsEnabled) {
  LBSSettings settings;
  _ZOSturdyLBSSettings record{};
  std::strcpy(record.lbs_url, "http://other.example/");
  record.address_family = net::kIPFamilyV6;
  ApplyLBSSettings(record, settings);
  EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);
  EXPECT_THAT(settings.lbs_backup_urls, SizeIs(2));
  EXPECT_EQ(settings.address_family, net::kIPFamilyV4);
  EXPECT_THAT(settings.default_link_list, SizeIs(0));
  record = {};
  record.enable = true;
  ApplyLBSSettings(record, settings);
  EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);
  EXPECT_THAT(settings.lbs_backup_urls, SizeIs(0));
  EXPECT_THAT(settings.default_link_list, ElementsAre(kDefaultLink, kDefaultLink));
}

TEST(LBSSettings, BytesOfAClientArentTrusted) {
  for (const int family : {-1, 0, 1, 2, 3}) {
    LBSSettings settings;
    _ZOSturdyLBSSettings record{};
    std::memset(&record, 'x', sizeof(record));  // no NUL anywhere, and a bool of neither value
    std::memset(record.default_link_list, 0, sizeof(record.default_link_list));
    record.address_family = static_cast<net::AddressFamily>(family);
    ApplyLBSSettings(record, settings);
    EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);  // 512 bytes are one too many
    EXPECT_EQ(settings.default_link_v4, std::string(128, 'x'));
    EXPECT_EQ(settings.address_family, family < 3 ? family : 1);
    EXPECT_THAT(settings.default_link_list, SizeIs(family < 0 ? 0 : family == 0 ? 2 : 1));
  }
}

TEST(LBSRequest, AddressesPresentTheRuntimeHostAndKeepToTheFamily) {
  const auto urls = [](int family) {
    std::string texts;
    const LBSQuery query = {family == 1 ? "key" : "", 1, -2, 3, net::AddressFamily{family}};
    const std::vector<std::string> list = {"https://run/?a=1", "http://1.2.3.4:8/", "http://[::1]"};
    for (const URLItem& item : BuildLBSRequest(list, query, net::AddressFamily{family}).urls) {
      texts += item.url + " " + item.host + "\n";
    }
    return texts;
  };
  EXPECT_EQ(urls(1),
            "https://run/?a=1&k=key&sv=1&pv=-2&tp=3&networkType=0 run\n"
            "http://1.2.3.4:8/?k=key&sv=1&pv=-2&tp=3&networkType=0 run\n");
  EXPECT_EQ(urls(2),
            "https://run/?a=1&sv=1&pv=-2&tp=3&networkType=1 run\n"
            "http://[::1]?sv=1&pv=-2&tp=3&networkType=1 run\n");
  EXPECT_THAT(BuildLBSRequest({"http://1.2.3.4/", "http://[::1]/"}, {}, {}).urls,
              ElementsAre(testing::Field(&URLItem::host, ""), testing::Field(&URLItem::host, "")));
}

}  // namespace
}  // namespace zo_sturdy
