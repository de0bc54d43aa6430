// A client in plain C++11 that knows sturdy.h and the shared library alone.
//   cpp11_client DATA_FOLDER LBS_URL DEFAULT_LINK
// prints the address that it gets at once, waits for the first fetch, prints its code and then as
// many addresses as the list has. Ends with 0 if the fetch was good, 1 if not, 2 for wrong usage.
#include <sturdy/sturdy.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>

// What the boundary's description can't hold, since it passes through a char*: a client's buffers
// are as large as these say, and the library writes as much.
static_assert(zo_sturdy::kLinkHostBufferSize == 512 &&
                  zo_sturdy::kLBSResponseBufferSize == 1048577 &&
                  zo_sturdy::kVltDLBufferSize == 1048577 && zo_sturdy::kNameBufferSize == 1048577 &&
                  zo_sturdy::kVltDLListBufferSize == 6291457 &&
                  zo_sturdy::kVltListBufferSize == 6291457 &&
                  zo_sturdy::kDescBufferSize == 1048577 &&
                  zo_sturdy::kQueryHostBufferSize == 2097153,
              "sizes of the out buffers");
static_assert(offsetof(zo_sturdy::_ZOSturdyMsgStatInfo, host) == 1 &&
                  offsetof(zo_sturdy::_ZOSturdyMsgStatInfo, api) == 513 &&
                  offsetof(zo_sturdy::_ZOSturdyMsgStatInfo, desc) == 1025,
              "layout of the message statistics");

namespace {

std::promise<int>& FirstCode() {
  static std::promise<int> code;
  return code;
}

void OnUpdate(int code, const char* /*document*/) {
  try {
    FirstCode().set_value(code);
  } catch (const std::future_error&) {
    // A later fetch.
  }
}

void PrintLink(zo_sturdy::IZOSturdyLBSService* service) {
  char host[zo_sturdy::kLinkHostBufferSize] = {};
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;
  if (service->GetLinkAddress(host, &port, &family)) {
    std::printf("%s:%d family %d\n", host, port, static_cast<int>(family));
    std::fflush(stdout);  // the test goes on once it has read it
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    return 2;
  }
  zo_sturdy::_ZOSturdyEnvironmentSettings settings = {};
  std::strncpy(settings.business_token, "token", sizeof(settings.business_token) - 1);
  std::strncpy(settings.data_path, argv[1], sizeof(settings.data_path) - 1);
  const int id = zo_sturdy::StartSturdyEnvironment(settings);

  zo_sturdy::_ZOSturdyLBSSettings lbs = {};
  lbs.enable = true;
  std::strncpy(lbs.lbs_url, argv[2], sizeof(lbs.lbs_url) - 1);
  std::strncpy(lbs.default_link_v4, argv[3], sizeof(lbs.default_link_v4) - 1);
  zo_sturdy::IZOSturdyLBSService* service = zo_sturdy::GetSturdyObject(id)->GetLBSService();
  service->SetUpdateCallback(&OnUpdate);
  service->Start(lbs);
  PrintLink(service);

  std::future<int> first = FirstCode().get_future();
  const bool came = first.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  const int code = came ? first.get() : -1;
  std::printf("code %d\n", code);
  for (int32_t i = service->GetLinkHostCount(); i > 0; --i) {
    PrintLink(service);
  }
  zo_sturdy::ExitSturdyEnvironment(id);
  return code == 200 ? 0 : 1;
}
