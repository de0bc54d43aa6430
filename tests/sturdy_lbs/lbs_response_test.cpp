#include "src/business/sturdy_lbs/lbs_response.h"

#include <gmock/gmock.h>

#include <limits>

#include "base/json/json.h"
#include "base/platform/file.h"
#include "tests/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LBSResponseTest : public LbsTest {
 protected:
  LBSResponseTest() { response.SetEnvironmentConfig(config); }

  std::string CacheFile() const { return config->data_path + "lbs/lbs.data"; }
  bool LoadText(const std::string& text) {
    zo_base::CreateFolders(config->data_path + "lbs");
    zo_base::WriteWholeFile(CacheFile(), text);
    return response.LoadCache();
  }

  LBSSettings settings;
  LBSResponse response;
};

TEST_F(LBSResponseTest, ACacheNeedsItsThreeKeys) {
  EXPECT_FALSE(response.LoadCache());
  EXPECT_TRUE(zo_base::FolderExists(config->data_path + "lbs"));
  EXPECT_FALSE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":"u"})"));
  EXPECT_FALSE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":"","runntime_lbs":"n"})"));
  EXPECT_FALSE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":1,"runntime_lbs":"n"})"));
  EXPECT_TRUE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":"u","runntime_lbs":"n"})"));
}

TEST_F(LBSResponseTest, ACacheOfOtherSettingsFailsItsCheck) {
  const struct {
    const char* version;  // a further member of the file
    int family;
    bool good;
    const char* cached;  // as the log has it, when the families differ
  } cases[] = {{"", 1, true, ""},
               {"", 2, false, "1"},
               {R"(,"lbs_ip_version":"2")", 2, true, ""},
               {R"(,"lbs_ip_version":"2")", 0, true, ""},
               {R"(,"lbs_ip_version":"2x")", 1, false, "2"},
               {R"(,"lbs_ip_version":"")", 1, false, "0"},
               {R"(,"lbs_ip_version":"-1")", 1, false, "0"},
               {R"(,"lbs_ip_version":"99999999999")", 1, false, "2147483647"}};
  for (const auto& c : cases) {
    log.StartHere();
    ASSERT_TRUE(LoadText(R"({"lbs_rsp":"r","runntime_lbs":"n","root_lbs_addr":")" +
                         settings.lbs_url + "\"" + c.version + "}"));
    settings.address_family = static_cast<net::AddressFamily>(c.family);
    EXPECT_EQ(response.CheckCache(settings), c.good) << c.version << c.family;
    const std::string line =
        std::string("[lbs] Load lbs cache address family changed check fail ") +
        "cache :" + c.cached + "  setting :" + std::to_string(c.family);
    EXPECT_EQ(log.With("changed check fail"), c.good ? Messages{} : Messages{line});
  }
  settings.address_family = net::kIPFamilyAny;
  settings.lbs_url += "x";
  EXPECT_FALSE(response.CheckCache(settings));
}

TEST_F(LBSResponseTest, ABodyIsCompleteOrNot) {
  const std::string good = Document(R"("","a:1")", R"(1,"d:9")", "u");
  const std::string longest(kMaxAddressBytes, 'h');
  const auto padded = [&good](size_t size) { return good + std::string(size - good.size(), ' '); };
  const struct {
    std::string body;
    bool complete;
  } cases[] = {{good, true},
               {padded(kMaxBodyBytes), true},
               {padded(kMaxBodyBytes + 1), false},
               {Document('"' + longest + '"', R"("d:9")", "u"), true},
               {Document('"' + longest + "h\"", R"("d:9")", "u"), false},
               {Document(R"("a:1")", "\"\"", "u"), false},
               {Document(R"("a:1")", "", "u"), false},
               {Document("1", R"("d:9")", "u"), false},
               {Document(R"("a:1")", R"("d:9")", ""), false},
               {R"({"common":{"link":"a:1","link.default":["d:9"],"lbs":"u"}})", false},
               {R"({"common":[]})", false},
               {"[" + good + "]", false},
               {"", false},
               {std::string("\0", 1), false},
               {std::string(300, '['), false}};
  for (const auto& c : cases) {
    EXPECT_EQ(response.CheckResponse(c.body), c.complete) << c.body.substr(0, 80);
  }
  for (size_t cut = 0; cut < good.size(); ++cut) {
    EXPECT_FALSE(response.CheckResponse(good.substr(0, cut))) << cut;
  }
}

TEST_F(LBSResponseTest, TheDefaultDocumentIsWhatAServerMightHaveSent) {
  settings.default_link_v4 = "four:4";
  settings.default_link_v6 = "six:6";
  settings.default_link_list = {"a:1", "b:2"};
  for (const auto family : {net::kIPFamilyAny, net::kIPFamilyV4, net::kIPFamilyV6}) {
    settings.address_family = family;
    response.LoadCache();
    response.SetName("old");
    response.ResetToDefault(settings, true);
    EXPECT_EQ(response.Get(lbs_key::kName), "");
    const std::string text = response.Get(lbs_key::kResponse);
    std::string error;
    const auto common = zo_base::json11::Json::parse(text, error)["common"];
    EXPECT_EQ(common["link.default"].dump(), family == 2 ? R"(["six:6"])" : R"(["four:4"])");
    EXPECT_EQ(common["link"].dump(), R"(["a:1", "b:2"])");
    EXPECT_EQ(common["lbs.backup"].array_items().size(), 2U);
    EXPECT_EQ(common["vlt"].array_items().size(), 2U);
    EXPECT_EQ(common["vltdls"][0], common["vltdl"]);
    EXPECT_EQ(common["msg.stat.enable"].type(), zo_base::json11::Json::BOOL);
    EXPECT_EQ(response.Get(lbs_key::kRuntimeAddress), settings.lbs_url);

    LBSResponse next;
    next.SetEnvironmentConfig(config);
    EXPECT_TRUE(next.LoadCache() && next.CheckCache(settings) && next.CheckResponse(text));
    EXPECT_EQ(next.Get(lbs_key::kResponse), text);
  }
  response.ResetToDefault(settings, false);
  EXPECT_EQ(zo_base::ReadWholeFile(CacheFile(), 100), "{}");
  EXPECT_NE(response.Get(lbs_key::kResponse), "");
}

TEST_F(LBSResponseTest, BackupsAreAListOrNone) {
  EXPECT_THAT(response.GetBackupLBS(), IsEmpty());
  response.SetBackupLBS({"a", "", "b"});
  EXPECT_THAT(response.GetBackupLBS(), ElementsAre("a", "", "b"));
  ASSERT_TRUE(LoadText(R"({"lbs_rsp":"r","root_lbs_addr":"u","runntime_lbs":"n",)"
                       R"("lbs_backup_addr":"{\"a\":1}"})"));
  EXPECT_THAT(response.GetBackupLBS(), IsEmpty());
}

// A file cut by a crash, or with one byte gone bad, loads as a cache or as none; the service
// starts from it in any case.
TEST_F(LBSResponseTest, DamagedFilesAreUsableOrEmpty) {
  settings.default_link_list = {"a:1"};
  response.LoadCache();
  response.ResetToDefault(settings, true);
  const std::string whole = zo_base::ReadWholeFile(CacheFile(), 100000);
  ASSERT_FALSE(whole.empty());
  for (size_t at = 0; at < whole.size(); ++at) {
    LBSResponse cut;
    cut.SetEnvironmentConfig(config);
    zo_base::WriteWholeFile(CacheFile(), whole.substr(0, at));
    EXPECT_FALSE(cut.LoadCache()) << at;
    std::string flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x11);
    zo_base::WriteWholeFile(CacheFile(), flipped);
    if (cut.LoadCache() && cut.CheckCache(settings)) {
      cut.CheckResponse(cut.Get(lbs_key::kResponse));
      cut.GetBackupLBS();
    }
  }
  for (const size_t at : {size_t{1}, whole.size() / 2, whole.size() - 1}) {
    zo_base::WriteWholeFile(CacheFile(), whole.substr(0, at));
    auto service = MakeService();
    EXPECT_TRUE(service->Start(Record()));
    EXPECT_EQ(Link(*service), "10.0.0.9:9/1");
    Release(service);
  }
}

}  // namespace
}  // namespace zo_sturdy
