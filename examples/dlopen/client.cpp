// client LIBRARY LBS_URL DATA_FOLDER: loads the library, asks it once where to connect, and unloads
// it, as a plug-in would. dlsym finds the three functions by their mangled names.
#include <dlfcn.h>
#include <sturdy/sturdy.h>

#include <cstdio>
#include <cstring>
#include <vector>

template <class Pointer>
Pointer Find(void* library, const char* name) {
  return reinterpret_cast<Pointer>(dlsym(library, name));
}

int main(int argc, char** argv) {
  if (argc != 4)
    return 2;
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  // The header provides the types. Nothing is linked.
  namespace zo = zo_sturdy;
  auto start = Find<decltype(&zo::StartSturdyEnvironment)>(
      library, "_ZN9zo_sturdy22StartSturdyEnvironmentERKNS_28_ZOSturdyEnvironmentSettingsE");
  auto get = Find<decltype(&zo::GetSturdyObject)>(library, "_ZN9zo_sturdy15GetSturdyObjectEi");
  auto exit =
      Find<decltype(&zo::ExitSturdyEnvironment)>(library, "_ZN9zo_sturdy21ExitSturdyEnvironmentEi");
  if (!start || !get || !exit)
    return 1;

  zo::_ZOSturdyEnvironmentSettings environment = {};
  std::strcpy(environment.business_token, "your-key");
  std::snprintf(environment.data_path, sizeof(environment.data_path), "%s", argv[3]);
  const int id = start(environment);
  zo::_ZOSturdyLBSSettings lbs = {};
  lbs.enable = true;
  std::snprintf(lbs.lbs_url, sizeof(lbs.lbs_url), "%s", argv[2]);
  zo::IZOSturdyLBSService* service = get(id)->GetLBSService();
  service->Start(lbs);
  std::vector<char> document(zo::kLBSResponseBufferSize);
  service->GetLBSResponse(false, document.data());  // blocks until the first fetch has ended
  char host[zo::kLinkHostBufferSize] = {};
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;
  service->GetLinkAddress(host, &port, &family);
  std::printf("%s:%d\n", host, port);
  exit(id);
  return dlclose(library);
}
