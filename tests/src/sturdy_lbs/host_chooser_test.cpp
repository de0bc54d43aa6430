#include "src/business/sturdy_lbs/host_chooser/host_chooser.h"

#include <gtest/gtest.h>

namespace zo_sturdy {
namespace {

std::string Next(HostChooser& chooser, int family) {
  std::string host;
  const bool is_default = chooser.GetHost(static_cast<net::AddressFamily>(family), host);
  return host + (is_default ? "* " : " ");
}

TEST(HostChooser, ReturnsHostsThenADefaultThenHostsAgain) {
  const struct {
    std::vector<std::string> hosts;
    const char* v4;
    const char* v6;
    int family;
    std::string answers;  // of one call after the other; "*" marks a default
  } cases[] = {{{"[::1]:1", "b:2"}, "d:9", "e:9", 0, "[::1]:1 b:2 d:9* [::1]:1 "},
               {{"1.2.3.4:1", "n:2", "[::1]:3", "0x7f.1:4"}, "d", "e", 2, "n:2 [::1]:3 e* n:2 "},
               {{"[::1]:1", "[::2]:2"}, "d:9", "e:9", 1, "d:9* d:9* "},
               {{}, "1.2.3.4:9", "e:9", 0, "e:9* "},  // a name wins over a literal
               {{}, "1.2.3.4:9", "[::1]:9", 0, "1.2.3.4:9* "},
               {{"n:1", "1.2.3.4:1"}, "d:9", "e:9", 7, "n:1 * "}};
  for (const auto& c : cases) {
    HostChooser chooser(c.v4, c.v6, HostChooserLimit(0));
    chooser.ResetHosts(c.hosts);
    std::string answers;
    while (answers.size() < c.answers.size()) {
      answers += Next(chooser, c.family);
    }
    EXPECT_EQ(answers, c.answers);
  }
}

TEST(HostChooser, HoldsAHostOfTheListUntilReset) {
  HostChooser chooser("d:9", "e:9", HostChooserLimit(1));
  chooser.ResetHosts({"a:1", "b:40000"});
  chooser.HoldHost("b", 40000);
  EXPECT_EQ(Next(chooser, 0), "b:40000 ");
  EXPECT_EQ(chooser.GetCurrentHost(), "");  // spent, before the default
  chooser.HoldHost("b", static_cast<uint32_t>(int32_t{static_cast<int16_t>(40000)}));
  EXPECT_EQ(chooser.GetCurrentHost(), "a:1");
  chooser.ResetHosts({});
  chooser.SetDefaultHost(net::kIPFamilyV6, "f:8");
  EXPECT_EQ(Next(chooser, 1) + Next(chooser, 2), "d:9* f:8* ");
  chooser.SetDefaultHost(net::kIPFamilyV4, "g:7");
  EXPECT_EQ(Next(chooser, 1) + Next(chooser, 2), "g:7* f:8* ");
  chooser.SetDefaultHost(net::AddressFamily{7}, "h:6");
  EXPECT_EQ(Next(chooser, 1) + Next(chooser, 2), "g:7* f:8* ");
  chooser.SetDefaultHost(net::kIPFamilyAny, "i:5");
  EXPECT_EQ(Next(chooser, 1) + Next(chooser, 2), "i:5* i:5* ");
}

}  // namespace
}  // namespace zo_sturdy
