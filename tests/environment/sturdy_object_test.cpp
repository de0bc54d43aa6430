#include "src/sturdy/environment/sturdy_object_impl.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "lab/lab.h"
#include "lab/paths.h"
#include "src/sturdy/environment/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "tests/environment/client.h"

namespace zo_sturdy {
namespace {

class SturdyObject : public EnvironmentTest {};

TEST_F(SturdyObject, ServiceComesAndGoes) {
  IZOSturdyObject& object = Start();
  object.ReleaseLBSService();  // There is none.
  IZOSturdyLBSService* const service = object.GetLBSService();
  EXPECT_EQ(object.GetLBSService(), service);
  EXPECT_EQ(Link(*service), "");
  EXPECT_TRUE(service->Start(LBSRecord("http://127.0.0.1:1/", "localhost:1")));
  EXPECT_EQ(Link(*service), "localhost:1");
  object.ReleaseLBSService();
  EXPECT_EQ(Link(*object.GetLBSService()), "") << "a new one, not started";
}

TEST_F(SturdyObject, ChangesReachTheConfigurationAndItsListeners) {
  IZOSturdyObject& object = Start("first");
  const auto config = EnvironmentManager::Instance().GetConfig();
  std::vector<std::string> heard;
  config->Connect(
      zo_base::SignalKey(&_EnvironmentConfig::SIG_BusinessTokenChanged),
      [&](const std::string& token) {
        // The lock is held, and a slot may take it again.
        bool free = false;
        std::thread([&] {
          if (config->mutex.try_lock()) {
            config->mutex.unlock();
            free = true;
          }
        }).join();
        heard.push_back(token + "/" + config->GetBusinessToken() + (free ? "/free" : ""));
      });
  config->Connect(
      zo_base::SignalKey(&_EnvironmentConfig::SIG_NetworkChanged), [&](net::AddressFamily family) {
        heard.push_back(std::to_string(family) + "/" + std::to_string(config->address_family));
      });
  for (const char* token : {"first", "second", "second", "", static_cast<const char*>(nullptr)}) {
    object.SetBusinessToken(token);
  }
  for (const int family : {2, 2, -7}) {
    object.NotifyNetworkChanged(static_cast<net::AddressFamily>(family));
  }
  EXPECT_EQ(heard, (std::vector<std::string>{"second/second", "/", "2/2", "2/2", "-7/-7"}));
}

TEST_F(SturdyObject, QueryHostWritesNoMoreThanItsText) {
  IZOSturdyObject& object = Start();
  char out[32];
  for (const char* host : {"127.0.0.1", "", "localhost"}) {
    std::memset(out, '#', sizeof(out));
    EXPECT_FALSE(object.QueryHost(host, 0, out));
    EXPECT_EQ(std::string(out, sizeof(out)), "{\"code\":1}" + std::string(22, '#'));
  }
  std::memset(out, '#', sizeof(out));
  EXPECT_FALSE(object.QueryHost(nullptr, 0, out));
  EXPECT_FALSE(object.QueryHost("localhost", 0, nullptr));
  EXPECT_EQ(std::string(out, sizeof(out)), std::string(32, '#'));
}

TEST_F(SturdyObject, QueryHostGivesWhatTheServiceSays) {
  const lab::Lab lab({lab::HttpServer("dns").On(
      lab::kHostQueryPath,
      lab::Answer(
          R"({"code":200,"data":{"a.test":{"ip":["10.0.0.1","a name"],"ipv6":["::1"]}}})"))});
  dns_endpoints_ = {{"127.0.0.1", lab.Port("dns"), false}};
  IZOSturdyObject& object = Start();
  const std::string both = R"({"code": 200, "data": {"ipv4": ["10.0.0.1"], "ipv6": ["[::1]"]}})";
  const std::string v4 = R"({"code": 200, "data": {"ipv4": ["10.0.0.1"]}})";
  const std::string v6 = R"({"code": 200, "data": {"ipv6": ["[::1]"]}})";
  for (const auto& [host, family, text, exchanges] :
       {std::make_tuple("a.test", 0, both, 1U), std::make_tuple("a.test", 2, v6, 1U),
        std::make_tuple("a.test", 1, v4, 1U), std::make_tuple("a.test", -7, v6, 1U),
        std::make_tuple("b.test", 0, std::string("{\"code\":1}"), 2U)}) {
    std::string out(100, '#');
    EXPECT_EQ(object.QueryHost(host, family, out.data()), text.size() > 10);
    EXPECT_EQ(out, text + std::string(100 - text.size(), '#'));
    EXPECT_EQ(lab.Requests().size(), exchanges);
  }
  EXPECT_EQ(lab.Requests()[1].query, "domain=b.test");
}

// An object that was never given a configuration, or has stopped, answers everything.
TEST(SturdyObjectAlone, AnswersWithNothing) {
  ZOSturdyObjectImpl object;
  IZOSturdyLBSService* const service = object.GetLBSService();
  for (int round = 0; round < 2; ++round) {
    object.NotifyNetworkChanged(net::kIPFamilyV6);
    object.SetBusinessToken("token");
    char out[32] = {};
    EXPECT_FALSE(object.QueryHost("localhost", 0, out));
    EXPECT_STREQ(out, round == 0 ? "{\"code\":1}" : "");
    EXPECT_EQ(object.GetLBSService(), round == 0 ? service : nullptr);
    if (round == 0) {
      EXPECT_FALSE(service->Start({}));
    }
    object.Stop();
  }
  ZOSturdyObjectImpl unasked;
  unasked.Stop();
  EXPECT_EQ(unasked.GetLBSService(), nullptr);
}

}  // namespace
}  // namespace zo_sturdy
