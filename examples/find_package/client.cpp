// client LBS_URL DATA_FOLDER: waits for the first fetch, tries one link server after the other
// until one accepts, and tells the library to hold it.
#include <netdb.h>
#include <sturdy/backoff.h>
#include <sturdy/client.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <string>

// Whether a new list has come since the last look. The update callback sets it on its own thread.
class NewList {
 public:
  void Set() {
    const std::lock_guard<std::mutex> lock(mutex_);
    has_come_ = true;
    came_.notify_one();
  }
  // Returns at once if a list has come, else when one comes, or after the time.
  bool WaitFor(uint32_t ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    came_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return has_come_; });
    const bool has_come = has_come_;
    has_come_ = false;
    return has_come;
  }

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  bool has_come_ = false;
};

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
  NewList new_list;  // outlives the client
  settings.on_update = [&](sturdy::Client&, bool fetched, const std::string&) {
    if (fetched)
      new_list.Set();
  };
  sturdy::Client client(settings);
  client.Document(false);  // blocks until the first fetch has ended

  sturdy::Backoff backoff;
  sturdy::Link link = client.NextLink();
  while (!Connects(link)) {
    std::printf("%s refused\n", link.HostPort().c_str());
    if (new_list.WaitFor(0))  // came during the attempt: its round has begun
      backoff.Reset();
    if (new_list.WaitFor(backoff.AfterFailure(client.service().GetLinkHostCount())))
      backoff.Reset();
    link = client.NextLink();
  }
  std::printf("%s connected\n", link.HostPort().c_str());
  client.Hold(link);
  // A client that stays calls backoff.Reset() here, and runs the loop again when it is cut off.
  return 0;
} catch (const std::exception& error) {  // of the client's constructor
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
