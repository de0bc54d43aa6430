// A client in plain C++11 that knows sturdy.h and the shared library alone.
//   cpp11_client DATA_FOLDER LBS_URL DEFAULT_LINK
// prints the address that it gets at once, waits for the first fetch, prints its code and then as
// many addresses as the list has. Ends with 0 if the fetch was good, 1 if not, 2 for wrong usage.
#include <sturdy/sturdy.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>

namespace {

using namespace zo_sturdy;

// What the boundary's description can't hold, since it passes through a char*: a client's buffers
// are as large as these say, and the library writes as much.
static_assert(kLinkHostBufferSize == 512 && kLBSResponseBufferSize == 1048577 &&
                  kVltDLBufferSize == 1048577 && kNameBufferSize == 1048577 &&
                  kVltDLListBufferSize == 6291457 && kVltListBufferSize == 6291457 &&
                  kDescBufferSize == 1048577 && kQueryHostBufferSize == 2097153,
              "sizes of the out buffers");
static_assert(offsetof(_ZOSturdyMsgStatInfo, host) == 1 &&
                  offsetof(_ZOSturdyMsgStatInfo, api) == 513 &&
                  offsetof(_ZOSturdyMsgStatInfo, desc) == 1025,
              "layout of the message statistics");

std::promise<int> first_code;
std::atomic<bool> came{false};

void OnUpdate(int code, const char* /*document*/) {
  if (!came.exchange(true)) {
    first_code.set_value(code);
  }
}

void PrintLink(IZOSturdyLBSService* service) {
  char host[kLinkHostBufferSize] = {};
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
  _ZOSturdyEnvironmentSettings settings = {};
  std::strncpy(settings.business_token, "token", sizeof(settings.business_token) - 1);
  std::strncpy(settings.data_path, argv[1], sizeof(settings.data_path) - 1);
  const int id = StartSturdyEnvironment(settings);

  _ZOSturdyLBSSettings lbs = {};
  lbs.enable = true;
  std::strncpy(lbs.lbs_url, argv[2], sizeof(lbs.lbs_url) - 1);
  std::strncpy(lbs.default_link_v4, argv[3], sizeof(lbs.default_link_v4) - 1);
  IZOSturdyLBSService* service = GetSturdyObject(id)->GetLBSService();
  service->SetUpdateCallback(&OnUpdate);
  service->Start(lbs);
  PrintLink(service);

  std::future<int> first = first_code.get_future();
  const bool done = first.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  const int code = done ? first.get() : -1;
  std::printf("code %d\n", code);
  for (int32_t i = service->GetLinkHostCount(); i > 0; --i) {
    PrintLink(service);
  }
  ExitSturdyEnvironment(id);
  return code == 200 ? 0 : 1;
}
