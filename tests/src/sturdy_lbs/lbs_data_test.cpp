// The data of the service: the client's settings, the document, its cache, the request.
#include <array>
#include <cstring>

#include "base/platform/file.h"
#include "base/platform/file_faults_for_test.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "src/business/sturdy_lbs/lbs_request.h"
#include "tests/src/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST(BuiltInValues, AreThoseOfTheBuild) {
  std::string values = kDefaultLbsUrl;
  const auto add = [&values](const auto& list) {
    for (const char* value : list) {
      values += std::string(" ") + value;
    }
  };
  add(kDefaultLbsBackupUrls);
  add(std::array{kDefaultLink});
  add(kDefaultVltUrls);
  add(std::array{kDefaultVltDLUrl, kDefaultStatisticsHost, kDefaultHttpDnsDomain});
  add(kDefaultHttpDnsIPv4);
  add(kDefaultHttpDnsIPv6);
  EXPECT_EQ(values, BUILT_IN_VALUES);
}

TEST(LBSSettings, DisabledRecordIsIgnored) {
  LBSSettings settings;
  _ZOSturdyLBSSettings record = Record("http://other.example/");
  record.enable = false;
  ApplyLBSSettings(record, settings);
  EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);
  EXPECT_THAT(settings.lbs_backup_urls, SizeIs(2));
  EXPECT_THAT(settings.default_link_list, SizeIs(0));
  record = {};
  record.enable = true;
  Fill(record.default_link_v4, "d:65536");
  Fill(record.default_link_list[0], "d:65536");
  ApplyLBSSettings(record, settings);
  EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);
  EXPECT_THAT(settings.lbs_backup_urls, SizeIs(0));
  EXPECT_THAT(settings.default_link_list, ElementsAre(kDefaultLink, kDefaultLink));
}

TEST(LBSSettings, RecordOfArbitraryBytesIsReadSafely) {
  for (const int family : {-1, 0, 1, 2, 3}) {
    LBSSettings settings;
    _ZOSturdyLBSSettings record{};
    std::memset(&record, 'x', sizeof(record));  // no NUL, and a bool that is neither 0 nor 1
    std::memset(record.default_link_list, 0, sizeof(record.default_link_list));
    record.address_family = static_cast<net::AddressFamily>(family);
    ApplyLBSSettings(record, settings);
    EXPECT_EQ(settings.lbs_url, kDefaultLbsUrl);  // 512 bytes: one too many
    EXPECT_EQ(settings.default_link_v4, std::string(128, 'x'));
    EXPECT_EQ(settings.address_family, family < 3 ? family : 1);
    EXPECT_THAT(settings.default_link_list, SizeIs(family < 0 ? 0 : family == 0 ? 2 : 1));
  }
}

TEST(LBSRequest, AddressesPresentTheRuntimeHostAndMatchTheFamily) {
  const auto urls = [](int family, const std::vector<std::string>& list) {
    const LBSQuery query = {family == 1 ? "key" : "", 1, -2, 3, net::AddressFamily{family}};
    std::string texts;
    for (const URLItem& item : BuildLBSRequest(list, query, net::AddressFamily{family}).urls) {
      texts += item.url + " " + item.host + "\n";
    }
    return texts;
  };
  const std::vector<std::string> list = {"https://run/?a=1", "http://1.2.3.4:8/", "http://[::1]"};
  EXPECT_EQ(urls(1, list),
            "https://run/?a=1&k=key&sv=1&pv=-2&tp=3&networkType=0 run\n"
            "http://1.2.3.4:8/?k=key&sv=1&pv=-2&tp=3&networkType=0 run\n");
  EXPECT_EQ(urls(2, list),
            "https://run/?a=1&sv=1&pv=-2&tp=3&networkType=1 run\n"
            "http://[::1]?sv=1&pv=-2&tp=3&networkType=1 run\n");
  EXPECT_EQ(urls(0, {"http://1.2.3.4/", "http://[::1]/"}),
            "http://1.2.3.4/?sv=1&pv=-2&tp=3&networkType=2 \n"
            "http://[::1]/?sv=1&pv=-2&tp=3&networkType=2 \n");
  EXPECT_EQ(BuildLBSRequest(list, {}, net::kIPFamilyAny).type, 0) << "servers answer GET alone";
}

TEST(LBSDocument, CompleteBodyHasLinksDefaultsAndNextUrl) {
  const auto good = TestDocument({"", "a:65535"}, {"u"}).Set("link.default", R"([1,"d:9"])");
  const auto padded = [text = good.Text()](int size) {
    return text + std::string(size - text.size(), ' ');
  };
  const auto with_lbs = [](size_t n) {
    return TestDocument({"a:1"}, {std::string(n, 'u')}).Text();
  };
  const auto with_link = [](size_t n) { return TestDocument({std::string(n, 'h')}).Text(); };
  const std::pair<std::string, bool> bodies[] = {{padded(kMaxBodyBytes), true},
                                                 {padded(kMaxBodyBytes + 1), false},
                                                 {with_lbs(0), false},
                                                 {with_lbs(kMaxLbsUrlBytes), true},
                                                 {with_lbs(kMaxLbsUrlBytes + 1), false},
                                                 {with_link(kMaxAddressBytes), true},
                                                 {with_link(kMaxAddressBytes + 1), false},
                                                 {TestDocument().LinkDefault({""}).Text(), false},
                                                 {TestDocument({"a:65536"}).Text(), false},
                                                 {TestDocument({"a:-5"}).Text(), false},
                                                 {TestDocument().Set("link", "[1]").Text(), false},
                                                 {"[" + good.Text() + "]", false},
                                                 {std::string(300, '['), false}};
  for (const auto& [body, complete] : bodies) {
    EXPECT_EQ(IsCompleteLBSDocument(body), complete) << body.substr(0, 80);
  }
}

class LBSResponseTest : public ConfiguredTest {
 protected:
  LBSResponseTest() { response.SetEnvironmentConfig(config); }

  bool LoadText(const std::string& text) {
    zo_base::CreateFolders(config->data_path + "lbs");
    zo_base::WriteWholeFile(file, text);
    return response.LoadCache();
  }

  const std::string file = folder.path() + "/lbs/lbs.data";
  LBSSettings settings;
  LBSResponse response;
};

TEST_F(LBSResponseTest, CacheOfOtherSettingsIsRefused) {
  EXPECT_FALSE(response.LoadCache());
  EXPECT_FALSE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":"","runntime_lbs":"n"})"));
  EXPECT_FALSE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":1,"runntime_lbs":"n"})"));
  const struct {
    const char* version;  // another member of the file
    int family;
    std::string cached;  // logged if the families differ
  } cases[] = {{"", 1, ""},
               {"", 2, "1"},
               {R"(,"lbs_ip_version":"2")", 0, ""},
               {R"(,"lbs_ip_version":"2x")", 1, "2"},
               {R"(,"lbs_ip_version":"")", 1, "0"},
               {R"(,"lbs_ip_version":"99999999999")", 1, "2147483647"}};
  const std::string refusal = "[lbs] Load lbs cache address family changed check fail cache :";
  for (const auto& [version, family, cached] : cases) {
    log.StartHere();
    ASSERT_TRUE(LoadText(R"({"lbs_rsp":"r","runntime_lbs":"n","root_lbs_addr":")" +
                         settings.lbs_url + "\"" + version + "}"));
    settings.address_family = static_cast<net::AddressFamily>(family);
    EXPECT_EQ(response.CheckCache(settings), cached.empty()) << version << family;
    EXPECT_EQ(log.Texts(),
              cached.empty() ? Messages{}
                             : Messages{refusal + cached + "  setting :" + std::to_string(family)});
  }
  settings.address_family = net::kIPFamilyAny;
  settings.lbs_url += "x";
  EXPECT_FALSE(response.CheckCache(settings));
}

TEST_F(LBSResponseTest, DefaultDocumentHasTheFormOfAServers) {
  settings.default_link_v6 = "six:6";
  settings.default_link_list = {"a:1", "b:2"};
  for (const auto family : {net::kIPFamilyAny, net::kIPFamilyV6}) {
    settings.address_family = family;
    response.LoadCache();
    response.SetName("old");
    response.ResetToDefault(settings, true);
    EXPECT_EQ(response.Get(lbs_key::kName), "");
    const auto common = Parsed(response.Get(lbs_key::kResponse))["common"];
    EXPECT_EQ(common["link.default"][0].string_value(), family == 2 ? "six:6" : kDefaultLink);
    EXPECT_EQ(common["link"].dump(), R"(["a:1", "b:2"])");
    EXPECT_EQ(common["vltdls"][0], common["vltdl"]);
    EXPECT_TRUE(response.LoadCache() && response.CheckCache(settings) &&
                response.CheckResponse(response.Get(lbs_key::kResponse)));
  }
  response.ResetToDefault(settings, false);
  EXPECT_EQ(zo_base::ReadFilePrefix(file, 100), "{}");
  // Whatever call for the file fails.
  bool fired = true;
  for (int nth_call = 1; fired; ++nth_call) {
    const zo_base::ScopedFileFault fault(nth_call, zo_base::FileFault::kFailOnce);
    response.ResetToDefault(settings, true);
    EXPECT_TRUE(response.CheckResponse(response.Get(lbs_key::kResponse))) << nth_call;
    fired = zo_base::ScopedFileFault::Fired();
  }
}

}  // namespace
}  // namespace zo_sturdy
