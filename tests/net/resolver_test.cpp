#include "net/platform/resolver.h"

#include <gtest/gtest.h>

// Looks up no names, since each machine has its own.
namespace net {
namespace {

using Texts = std::list<std::string>;

TEST(ResolveHost, NumericHostsNeedNoLookUpAndFailuresLeaveNothing) {
  const struct {
    std::string host;
    AddressFamily family;
    bool is_resolved;
    Texts addresses;
  } kCases[] = {{"10.1.2.3", kIPFamilyAny, true, {"10.1.2.3"}},
                {"0x7f.1", kIPFamilyV4, true, {"127.0.0.1"}},
                {"fe80::1:0", kIPFamilyV6, true, {"[fe80::1:0]:0"}},
                {"10.1.2.3", static_cast<AddressFamily>(99), true, {"10.1.2.3"}},
                {"::1", kIPFamilyV4, false, {}},
                {"", kIPFamilyAny, false, {}},
                {std::string("localhost\0.example", 18), kIPFamilyAny, false, {}}};
  for (const auto& row : kCases) {
    Texts out = {"old"};
    const int result = ResolveHostAddresses(row.host, out, 12, row.family);
    EXPECT_EQ(result == 0, row.is_resolved) << row.host;
    EXPECT_EQ(out, row.addresses) << row.host;
    ResolvedAddressList list{{IPEndpoint()}, "old"};
    int system_error = 1;
    const ResolveError error = ResolveHostEndpoints(row.host, 12, row.family, list, system_error);
    EXPECT_EQ(error == kResolved, row.is_resolved);
    EXPECT_TRUE(!row.host.empty() || error == kNameNotResolved);
    EXPECT_EQ(system_error, result);
    EXPECT_EQ(list.endpoints.size(), row.addresses.size());
    EXPECT_EQ(list.canonical_name, "");
  }
}

}  // namespace
}  // namespace net
