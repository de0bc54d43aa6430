// client LBS_URL DATA_FOLDER: waits for the list, connects to the first link server that accepts,
// and tells the library to hold it.
#include <netdb.h>
#include <sturdy/client.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>

bool Connects(const sturdy::Link& link) {
  addrinfo hints = {}, *found = nullptr;
  hints.ai_socktype = SOCK_STREAM;
  if (getaddrinfo(link.host.c_str(), std::to_string(link.port).c_str(), &hints, &found) != 0) {
    return false;
  }
  const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool connected = connect(fd, found->ai_addr, found->ai_addrlen) == 0;
  close(fd);
  freeaddrinfo(found);
  return connected;
}

int main(int argc, char** argv) try {
  if (argc != 3)
    return 2;
  sturdy::Settings settings;
  settings.token = "your-key";
  settings.data_path = argv[2];
  settings.lbs_urls = {argv[1]};
  sturdy::Client client(settings);
  client.Document(false);  // blocks until the first fetch has ended

  bool connected = false;
  for (int i = client.service().GetLinkHostCount(); i >= 0 && !connected; --i) {
    const sturdy::Link link = client.NextLink();
    connected = Connects(link);
    std::printf("%s %s\n", link.HostPort().c_str(), connected ? "connected" : "refused");
    if (connected)
      client.Hold(link);
  }
  return connected ? 0 : 1;
} catch (const std::exception& error) {  // of the client's constructor
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
