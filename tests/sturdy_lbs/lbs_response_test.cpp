#include "src/business/sturdy_lbs/lbs_response.h"
#include "src/business/sturdy_lbs/lbs_document.h"

#include "base/json/json.h"
#include "base/platform/file.h"
#include "tests/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

class LBSResponseTest : public LbsTest {
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

TEST_F(LBSResponseTest, ACacheIsOfTheseSettingsOrNone) {
  EXPECT_FALSE(response.LoadCache());
  EXPECT_FALSE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":"","runntime_lbs":"n"})"));
  EXPECT_FALSE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":1,"runntime_lbs":"n"})"));
  const struct {
    const char* version;  // a further member of the file
    int family;
    const char* cached;  // as the log has it if the families differ
  } cases[] = {{"", 1, nullptr},
               {"", 2, "1"},
               {R"(,"lbs_ip_version":"2")", 0, nullptr},
               {R"(,"lbs_ip_version":"2x")", 1, "2"},
               {R"(,"lbs_ip_version":"")", 1, "0"},
               {R"(,"lbs_ip_version":"99999999999")", 1, "2147483647"}};
  for (const auto& c : cases) {
    log.StartHere();
    ASSERT_TRUE(LoadText(R"({"lbs_rsp":"r","runntime_lbs":"n","root_lbs_addr":")" +
                         settings.lbs_url + "\"" + c.version + "}"));
    settings.address_family = static_cast<net::AddressFamily>(c.family);
    const bool good = c.cached == nullptr;
    EXPECT_EQ(response.CheckCache(settings), good) << c.version << c.family;
    const std::string line = "[lbs] Load lbs cache address family changed check fail cache :";
    EXPECT_EQ(
        log.Texts(),
        good ? Messages{} : Messages{line + c.cached + "  setting :" + std::to_string(c.family)});
  }
  settings.address_family = net::kIPFamilyAny;
  settings.lbs_url += "x";
  EXPECT_FALSE(response.CheckCache(settings));
}

TEST_F(LBSResponseTest, ABodyIsCompleteOrNot) {
  const std::string good = Document(R"("","a:1")", R"(1,"d:9")", "u");
  const auto padded = [&good](int size) { return good + std::string(size - good.size(), ' '); };
  const auto of_length = [](size_t n) { return '"' + std::string(n, 'h') + '"'; };
  for (const std::string& body :
       {good, padded(kMaxBodyBytes),
        Document(R"("a:1")", R"("d:9")", std::string(kMaxLbsUrlBytes, 'u')),
        Document(of_length(kMaxAddressBytes), R"("d:9")", "u")}) {
    EXPECT_TRUE(response.CheckResponse(body)) << body.substr(0, 80);
  }
  for (const std::string& body :
       {padded(kMaxBodyBytes + 1), Document(of_length(kMaxAddressBytes + 1), R"("d:9")", "u"),
        Document(R"("a:1")", R"("")", "u"), Document("1", R"("d:9")", "u"),
        Document(R"("a:1")", R"("d:9")", ""),
        Document(R"("a:1")", R"("d:9")", std::string(kMaxLbsUrlBytes + 1, 'u')), "[" + good + "]",
        std::string(300, '[')}) {
    EXPECT_FALSE(response.CheckResponse(body)) << body.substr(0, 80);
  }
  for (size_t cut = 0; cut < good.size(); ++cut) {
    EXPECT_FALSE(response.CheckResponse(good.substr(0, cut))) << cut;
  }
}

TEST_F(LBSResponseTest, TheDefaultDocumentIsWhatAServerMightHaveSent) {
  settings.default_link_v6 = "six:6";
  settings.default_link_list = {"a:1", "b:2"};
  for (const auto family : {net::kIPFamilyAny, net::kIPFamilyV6}) {
    settings.address_family = family;
    response.LoadCache();
    response.SetName("old");
    response.ResetToDefault(settings, true);
    EXPECT_EQ(response.Get(lbs_key::kName), "");
    std::string error;
    const auto common =
        zo_base::json11::Json::parse(response.Get(lbs_key::kResponse), error)["common"];
    EXPECT_EQ(common["link.default"][0].string_value(), family == 2 ? "six:6" : kDefaultLink);
    EXPECT_EQ(common["link"].dump(), R"(["a:1", "b:2"])");
    EXPECT_EQ(common["vltdls"][0], common["vltdl"]);
    LBSResponse next;
    next.SetEnvironmentConfig(config);
    EXPECT_TRUE(next.LoadCache() && next.CheckCache(settings) &&
                next.CheckResponse(next.Get(lbs_key::kResponse)));
  }
  response.ResetToDefault(settings, false);
  EXPECT_EQ(zo_base::ReadWholeFile(file, 100), "{}");
}

// A file cut by a crash, or with a byte gone bad, is a cache or none; nothing falls over it.
TEST_F(LBSResponseTest, DamagedFilesAreUsableOrEmpty) {
  response.LoadCache();
  response.ResetToDefault(settings, true);
  response.SetBackupLBS({"a", "", "b"});
  EXPECT_THAT(response.GetBackupLBS(), testing::ElementsAre("a", "", "b"));
  response.Save();
  const std::string whole = zo_base::ReadWholeFile(file, 100000);
  for (size_t at = 0; at < whole.size(); ++at) {
    LBSResponse damaged;
    damaged.SetEnvironmentConfig(config);
    zo_base::WriteWholeFile(file, whole.substr(0, at));
    EXPECT_FALSE(damaged.LoadCache()) << at;
    std::string flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x11);
    if (LoadText(flipped) && response.CheckCache(settings)) {
      response.CheckResponse(response.Get(lbs_key::kResponse));
      response.GetBackupLBS();
    }
  }
}

}  // namespace
}  // namespace zo_sturdy
