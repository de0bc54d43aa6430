#include "src/sturdy/environment/sturdy_object_impl.h"

#include <gmock/gmock.h>

#include <thread>

#include "lab/lab.h"
#include "lab/paths.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"

namespace zo_sturdy {
namespace {

// Holds the sizes of the out buffers: in the stored ABI each is only a char*.
static_assert(kLinkHostBufferSize == 512 && kLBSResponseBufferSize == 1048577 &&
                  kVltDLBufferSize == 1048577 && kNameBufferSize == 1048577 &&
                  kVltDLListBufferSize == 6291457 && kVltListBufferSize == 6291457 &&
                  kDescBufferSize == 1048577 && kQueryHostBufferSize == 2097153,
              "sizes of the out buffers");
static_assert(offsetof(_ZOSturdyMsgStatInfo, host) == 1 &&
                  offsetof(_ZOSturdyMsgStatInfo, api) == 513 &&
                  offsetof(_ZOSturdyMsgStatInfo, desc) == 1025,
              "layout of the message statistics");

class SturdyObject : public ClientTest {};

TEST_F(SturdyObject, ReleasedServiceIsReplaced) {
  IZOSturdyObject& object = Start();
  object.ReleaseLBSService();  // there is none
  IZOSturdyLBSService* const service = object.GetLBSService();
  EXPECT_EQ(object.GetLBSService(), service);
  EXPECT_TRUE(service->Start(LBSRecord("http://127.0.0.1:1/", "localhost:1")));
  EXPECT_EQ(Link(*service), "localhost:1");
  object.ReleaseLBSService();
  const auto config = EnvironmentManager::Instance().GetConfig();
  EXPECT_EQ(config->CountConnectionsForTest(_EnvironmentConfig::SIG_NetworkChanged), 0U);
  EXPECT_EQ(config->CountConnectionsForTest(_EnvironmentConfig::SIG_BusinessTokenChanged), 0U);
  EXPECT_EQ(Link(*object.GetLBSService()), "") << "a new one, not started";
}

TEST_F(SturdyObject, ChangesReachTheConfigurationAndItsListeners) {
  IZOSturdyObject& object = Start("first");
  const auto config = EnvironmentManager::Instance().GetConfig();
  std::vector<std::string> heard;
  const auto expect_locked = [&] {  // a slot can take the lock again
    std::thread([&] {
      if (config->mutex.try_lock()) {
        config->mutex.unlock();
        ADD_FAILURE() << "another thread could make a change";
      }
    }).join();
  };
  config->Connect(_EnvironmentConfig::SIG_BusinessTokenChanged, [&](const std::string& token) {
    expect_locked();
    heard.push_back(token + "/" + config->GetBusinessToken());
  });
  config->Connect(_EnvironmentConfig::SIG_NetworkChanged, [&](net::AddressFamily family) {
    expect_locked();
    heard.push_back(std::to_string(family) + "/" + std::to_string(config->address_family));
  });
  for (const char* token : {"first", "second", "second", "", static_cast<const char*>(nullptr)}) {
    object.SetBusinessToken(token);
  }
  for (const int family : {2, 2, -7}) {
    object.NotifyNetworkChanged(static_cast<net::AddressFamily>(family));
  }
  EXPECT_THAT(heard, testing::ElementsAre("second/second", "/", "2/2", "2/2", "-7/-7"));
  EXPECT_EQ(
      LogLines(data_path_).With(" changed "),
      (Messages{"[environment] Token changed key:set", "[environment] Token changed key:none",
                "[environment] Network changed family:2", "[environment] Network changed family:2",
                "[environment] Network changed family:-7"}));
}

TEST_F(SturdyObject, QueryHostWritesNoMoreThanItsText) {
  lab::Lab lab({lab::HttpServer("dns").On(
      lab::kHostQueryPath,
      lab::Answer(
          R"({"code":200,"data":{"a.test":{"ip":["10.0.0.1","a name"],"ipv6":["::1"]}}})"))});
  dns_endpoints_ = {{"127.0.0.1", lab.Port("dns"), false}};
  IZOSturdyObject& object = Start();
  const std::string v4 = R"("ipv4": ["10.0.0.1"])";
  const std::string v6 = R"("ipv6": ["[::1]"])";
  const auto expect = [&](const char* host, int family, const std::string& lists) {
    SCOPED_TRACE(host + std::to_string(family));
    const std::string text =
        lists.empty() ? "{\"code\":1}" : R"({"code": 200, "data": {)" + lists + "}}";
    std::string out(100, '#');
    EXPECT_EQ(object.QueryHost(host, family, out.data()), !lists.empty());
    EXPECT_EQ(out, text + std::string(100 - text.size(), '#'));
  };
  expect("127.0.0.1", 0, "");
  expect("", 0, "");
  expect("a.test", 0, v4 + ", " + v6);
  expect("a.test", 2, v6);
  expect("a.test", 1, v4);
  expect("a.test", -7, v6);
  EXPECT_EQ(lab.journal().Requests().size(), 1u);
  expect("b.test", 0, "");
  EXPECT_EQ(lab.journal().Requests().at(1).query, "domain=b.test");
  lab.StopListening("dns");
  expect("c.test", 0, "");
  char out = '#';
  EXPECT_FALSE(object.QueryHost(nullptr, 0, &out));
  EXPECT_FALSE(object.QueryHost("localhost", 0, nullptr));
  EXPECT_EQ(out, '#');
}

// Without a configuration, and after its end.
TEST(SturdyObjectAlone, AnswersWithNothing) {
  ZOSturdyObjectImpl object;
  EXPECT_FALSE(object.GetLBSService()->Start({}));
  for (const char* answer : {"{\"code\":1}", ""}) {
    object.NotifyNetworkChanged(net::kIPFamilyV6);
    object.SetBusinessToken("token");
    char out[32] = {};
    EXPECT_FALSE(object.QueryHost("localhost", 0, out));
    EXPECT_STREQ(out, answer);
    object.Stop();
    EXPECT_EQ(object.GetLBSService(), nullptr);
  }
  ZOSturdyObjectImpl unasked;
  unasked.Stop();
  EXPECT_EQ(unasked.GetLBSService(), nullptr);
}

}  // namespace
}  // namespace zo_sturdy
