#include "network/platform/redirect.h"

#include <gtest/gtest.h>

#include <map>

namespace KRBASE::network::platform {
namespace {

TEST(ResolveLocation, ResolvesOrRefusesEachLocation) {
  const HttpUrl base = *CrackUrl("https://a.example:8443/dir/page?q=1", 260, 1300);
  const std::string longer_than_a_client_may(2000, 'p');
  for (const auto& [location, expected] : std::map<std::string, std::string>{
           {"next", "https://a.example:8443 /dir/next"},
           {"#ref", "https://a.example:8443 /dir/page?q=1"},
           {"?other", "https://a.example:8443 /dir/page?other"},
           {"../../up/./x?a/../b", "https://a.example:8443 /up/x?a/../b"},
           {"./a/b/..", "https://a.example:8443 /dir/a/"},
           {"//b.example/p", "https://b.example:443 /p"},
           {"https://c.example/a b#ref", "https://c.example:443 /a%20b"},
           {"http://[::1]:81", "http://[::1]:81 /"},
           {"page;x=1:2/\xC3\xA9", "https://a.example:8443 /dir/page;x=1:2/%C3%A9"},
           {"http:/\xC3\xA9", "http://\xC3\xA9:80 /"},
           {"/" + longer_than_a_client_may, "https://a.example:8443 /" + longer_than_a_client_may},
           {"http:a.example", "refused"},
           {"http:////a.example", "refused"},
           {"http://a b.example/", "refused"},
           {"file:///etc/passwd", "refused"},
           {"https://a.example:99999/", "refused"}}) {
    const std::optional<HttpUrl> url = ResolveLocation(base, location);
    EXPECT_EQ(url.has_value() ? UrlOrigin(*url) + " " + url->target : "refused", expected)
        << location;
  }
}

}  // namespace
}  // namespace KRBASE::network::platform
