#include <sturdy/sturdy.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

// dll_client DATA_FOLDER: starts the DLL, asks for a link server without a network, and exits,
// several times over. Returns 0 if each answer was the default of the settings.
int main(int argc, char** argv) {
  if (argc != 2) {
    return 2;
  }
  for (int round = 0; round < 3; ++round) {
    zo_sturdy::_ZOSturdyEnvironmentSettings environment = {};
    std::strncpy(environment.data_path, argv[1], sizeof(environment.data_path) - 1);
    zo_sturdy::_ZOSturdyLBSSettings lbs = {};
    lbs.enable = true;
    std::strncpy(lbs.default_link_v4, "192.0.2.1:443", sizeof(lbs.default_link_v4) - 1);
    zo_sturdy::IZOSturdyObject* const object =
        zo_sturdy::GetSturdyObject(zo_sturdy::StartSturdyEnvironment(environment));
    zo_sturdy::IZOSturdyLBSService* const service = object->GetLBSService();
    service->Start(lbs);
    char host[zo_sturdy::kLinkHostBufferSize] = {};
    uint16_t port = 0;
    net::AddressFamily family = net::kIPFamilyV4;
    service->GetLinkAddress(host, &port, &family);
    std::printf("%s %d\n", host, port);
    zo_sturdy::ExitSturdyEnvironment(1);
    if (std::strcmp(host, "192.0.2.1") != 0 || port != 443) {
      return 1;
    }
  }
  return 0;
}
