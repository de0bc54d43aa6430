#include "src/business/sturdy_lbs/host_chooser/host_chooser.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace zo_sturdy {
namespace {

using net::kIPFamilyAny;
using net::kIPFamilyV4;
using net::kIPFamilyV6;

struct Walk {
  const char* name;
  std::vector<std::string> hosts;
  const char* v4;
  const char* v6;
  int family;
  std::vector<std::string> answers;  // of one call after the other; "*" marks a default
};

class HostChooserWalk : public testing::TestWithParam<Walk> {};

TEST_P(HostChooserWalk, GivesHostsThenADefaultThenHostsAgain) {
  const Walk& walk = GetParam();
  HostChooser chooser(walk.v4, walk.v6, HostChooserLimit(0));
  chooser.ResetHosts(walk.hosts);
  std::vector<std::string> answers;
  for (size_t i = 0; i < walk.answers.size(); ++i) {
    std::string host;
    const bool is_default = chooser.GetHost(static_cast<net::AddressFamily>(walk.family), host);
    answers.push_back(host + (is_default ? "*" : ""));
  }
  EXPECT_EQ(answers, walk.answers);
}

INSTANTIATE_TEST_SUITE_P(
    Walks, HostChooserWalk,
    testing::Values(
        Walk{"Rotation", {"a:1", "b:2"}, "d:9", "e:9", 0, {"a:1", "b:2", "d:9*", "a:1"}},
        Walk{"EmptyList", {}, "d:9", "e:9", 2, {"e:9*", "e:9*"}},
        Walk{"OtherFamilyPassedOver",
             {"1.2.3.4:1", "name:2", "[::1]:3", "0x7f.1:4"},
             "d:9",
             "e:9",
             2,
             {"name:2", "[::1]:3", "e:9*", "name:2"}},
        Walk{"OnlyOtherFamily", {"[::1]:1", "[::2]:2"}, "d:9", "e:9", 1, {"d:9*", "d:9*"}},
        Walk{"AnyTakesAllFamilies",
             {"[::1]:1", "1.2.3.4:2"},
             "d:9",
             "e:9",
             0,
             {"[::1]:1", "1.2.3.4:2", "d:9*"}},
        Walk{"NameWinsOverLiteral", {}, "1.2.3.4:9", "e:9", 0, {"e:9*"}},
        Walk{"V4WinsATieOfLiterals", {}, "1.2.3.4:9", "[::1]:9", 0, {"1.2.3.4:9*"}},
        Walk{"UnknownFamily", {"name:1", "1.2.3.4:1"}, "d:9", "e:9", 7, {"name:1", "*"}},
        Walk{"NegativeFamily", {}, "d:9", "e:9", -1, {"*"}}),
    [](const auto& walk) { return walk.param.name; });

TEST(HostChooser, HoldsWhatIsInTheListAndForgetsOnReset) {
  HostChooser chooser("d:9", "e:9", HostChooserLimit(1));
  chooser.ResetHosts({"a:1", "b:40000", "c:3"});
  std::string host;
  for (int i = 0; i < 3; ++i) {
    chooser.GetHost(kIPFamilyAny, host);
  }
  EXPECT_EQ(chooser.GetCurrentHost(), "");  // spent, and no default given yet
  const struct {
    const char* ip;
    uint32_t port;
    const char* next;
  } cases[] = {{"c", 3, "c:3"},
               {"b", 40000, "b:40000"},
               {"b", static_cast<uint32_t>(int32_t{static_cast<int16_t>(40000)}), "a:1"},
               {"unknown", 1, "a:1"}};
  for (const auto& held : cases) {
    chooser.HoldHost(held.ip, held.port);
    EXPECT_EQ(chooser.GetCurrentHost(), held.next) << held.ip << held.port;
    EXPECT_FALSE(chooser.GetHost(kIPFamilyAny, host));
    EXPECT_EQ(host, held.next);
  }
  chooser.ResetHosts({"x:1", "y:2"});
  EXPECT_EQ(chooser.GetCurrentHost(), "x:1");
  EXPECT_EQ(chooser.GetHostCount(), 2U);
}

TEST(HostChooser, SetsTheDefaultsOfAFamily) {
  HostChooser chooser("d:9", "e:9", 1);
  const auto defaults = [&chooser] {
    std::string v4;
    std::string v6;
    chooser.GetHost(kIPFamilyV4, v4);
    chooser.GetHost(kIPFamilyV6, v6);
    return v4 + " " + v6;
  };
  chooser.SetDefaultHost(kIPFamilyV6, "f:8");
  EXPECT_EQ(defaults(), "d:9 f:8");
  chooser.SetDefaultHost(static_cast<net::AddressFamily>(3), "g:7");
  EXPECT_EQ(defaults(), "d:9 f:8");
  chooser.SetDefaultHost(kIPFamilyAny, "h:6");
  EXPECT_EQ(defaults(), "h:6 h:6");
}

TEST(HostChooser, HasALimitForKnownKeysOnly) {
  EXPECT_EQ(HostChooserLimit(2), 3);
  for (const int32_t key : {-1, 4}) {
    EXPECT_THROW(HostChooserLimit(key), std::out_of_range) << key;
  }
}

}  // namespace
}  // namespace zo_sturdy
