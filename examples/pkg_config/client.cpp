// client LBS_URL DATA_FOLDER: asks for an address before any server has answered, waits for the
// first fetch, and prints the list.
#include <sturdy/sturdy.h>

#include <cstdio>
#include <cstring>
#include <future>

static std::promise<int>* first_update = nullptr;

static void OnUpdate(int code, const char*) {
  static bool is_first = true;  // needs no lock: the library calls back on one thread
  if (is_first)
    first_update->set_value(code);
  is_first = false;
}

static void PrintNext(zo_sturdy::IZOSturdyLBSService* service) {
  char host[zo_sturdy::kLinkHostBufferSize] = {};
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;
  service->GetLinkAddress(host, &port, &family);
  std::printf("%s:%d\n", host, port);
}

int main(int argc, char** argv) {
  if (argc != 3)
    return 2;
  zo_sturdy::_ZOSturdyEnvironmentSettings environment = {};
  std::strcpy(environment.business_token, "your-key");
  std::snprintf(environment.data_path, sizeof(environment.data_path), "%s", argv[2]);
  const int id = zo_sturdy::StartSturdyEnvironment(environment);

  zo_sturdy::_ZOSturdyLBSSettings lbs = {};
  lbs.enable = true;
  std::snprintf(lbs.lbs_url, sizeof(lbs.lbs_url), "%s", argv[1]);
  std::strcpy(lbs.default_link_v4, "192.0.2.1:8080");
  std::strcpy(lbs.default_link_v6, "[2001:db8::1]:8080");
  zo_sturdy::IZOSturdyLBSService* service = zo_sturdy::GetSturdyObject(id)->GetLBSService();
  std::promise<int> update;
  first_update = &update;
  service->SetUpdateCallback(&OnUpdate);
  service->Start(lbs);
  PrintNext(service);

  const int code = update.get_future().get();
  std::printf("code %d\n", code);
  for (int i = service->GetLinkHostCount(); i > 0; --i)
    PrintNext(service);
  zo_sturdy::ExitSturdyEnvironment(id);
  return code == 200 ? 0 : 1;
}
