#include "net/platform/resolver.h"

#include <gtest/gtest.h>
#include <netdb.h>

// Looks up no names, since each machine has its own.
namespace net {
namespace {

using Texts = std::list<std::string>;

TEST(ResolveHost, NumericHostsNeedNoLookUpAndFailuresLeaveNothing) {
  const struct {
    std::string host;
    AddressFamily family;
    int result;
    Texts addresses;
  } kCases[] = {{"10.1.2.3", kIPFamilyAny, 0, {"10.1.2.3"}},
                {"0x7f.1", kIPFamilyV4, 0, {"127.0.0.1"}},
                {"fe80::1:0", kIPFamilyV6, 0, {"[fe80::1:0]:0"}},
                {"10.1.2.3", static_cast<AddressFamily>(99), 0, {"10.1.2.3"}},
                {"::1", kIPFamilyV4, EAI_ADDRFAMILY, {}},
                {"", kIPFamilyAny, EAI_NONAME, {}},
                {std::string("localhost\0.example", 18), kIPFamilyAny, EAI_NONAME, {}}};
  for (const auto& row : kCases) {
    Texts out = {"old"};
    EXPECT_EQ(ResolveHostAddresses(row.host, out, 12, row.family), row.result) << row.host;
    EXPECT_EQ(out, row.addresses) << row.host;
    ResolvedAddressList list{{IPEndpoint()}, "old"};
    int system_error = 1;
    EXPECT_EQ(ResolveHostEndpoints(row.host, 12, row.family, list, system_error),
              row.result == 0 ? kResolved : kNameNotResolved);
    EXPECT_EQ(system_error, row.result);
    EXPECT_EQ(list.endpoints.size(), row.addresses.size());
    EXPECT_EQ(list.canonical_name, "");
  }
}

}  // namespace
}  // namespace net
