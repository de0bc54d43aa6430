// client LBS_URL DATA_FOLDER: waits for the list, connects to the first link server that accepts,
// and tells the library to hold it.
#include <netdb.h>
#include <sturdy/sturdy.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

bool Connects(std::string host, uint16_t port) {
  if (host[0] == '[') {
    host = host.substr(1, host.size() - 2);
  }
  addrinfo hints = {}, *found = nullptr;
  hints.ai_socktype = SOCK_STREAM;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
    return false;
  }
  const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool connected = connect(fd, found->ai_addr, found->ai_addrlen) == 0;
  close(fd);
  freeaddrinfo(found);
  return connected;
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
  zo_sturdy::IZOSturdyLBSService* service = zo_sturdy::GetSturdyObject(id)->GetLBSService();
  service->Start(lbs);
  std::vector<char> document(zo_sturdy::kLBSResponseBufferSize);
  service->GetLBSResponse(false, document.data());  // blocks until the first fetch has ended

  bool connected = false;
  for (int i = service->GetLinkHostCount(); i >= 0 && !connected; --i) {
    char host[zo_sturdy::kLinkHostBufferSize] = {};
    uint16_t port = 0;
    net::AddressFamily family = net::kIPFamilyAny;
    service->GetLinkAddress(host, &port, &family);
    connected = Connects(host, port);
    std::printf("%s:%d %s\n", host, port, connected ? "connected" : "refused");
    if (connected)
      service->HoldLinkAddress(host, static_cast<int16_t>(port));
  }
  zo_sturdy::ExitSturdyEnvironment(id);
  return connected ? 0 : 1;
}
