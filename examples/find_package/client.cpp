// client LBS_URL DATA_FOLDER [LONGEST_PAUSE_MS]: waits for the first fetch, tries one link server
// after the other until one accepts, and tells the library to hold it. SIGHUP fetches a new list,
// SIGINT and SIGTERM end it.
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sturdy/backoff.h>
#include <sturdy/client.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// What other threads tell the loop that connects: the update callback a new list, and the thread
// that waits for signals the end.
class News {
 public:
  // An LBS server may draw the order of the link servers for each answer, so takes the texts of the
  // document sorted.
  void SetList(const std::string& document) {
    std::vector<std::string> texts;
    std::istringstream rest(document);
    for (std::string text; std::getline(rest, text, '"');)
      texts.push_back(text);
    std::sort(texts.begin(), texts.end());
    const std::lock_guard<std::mutex> lock(mutex_);
    newest_ = texts;
    changed_.notify_one();
  }
  void End() {
    const std::lock_guard<std::mutex> lock(mutex_);
    has_ended_ = true;
    changed_.notify_one();
  }
  bool HasEnded() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return has_ended_;
  }
  // Waits for that time, until the end, or until the list differs from that of the last call, and
  // returns whether it differs. A fetch can bring the same dead servers again, which is no reason
  // to try them sooner.
  bool WaitForList(uint32_t ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(ms),
                      [this] { return has_ended_ || newest_ != seen_; });
    const bool is_new = newest_ != seen_;
    seen_ = newest_;
    return is_new;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> newest_, seen_;
  bool has_ended_ = false;
};

// Returns whether a server accepts a connection within 5 s.
bool Accepts(const addrinfo& address) {
  const int fd = socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
    return false;
  fcntl(fd, F_SETFL, O_NONBLOCK);
  int error = connect(fd, address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
  if (error == EINPROGRESS) {
    pollfd connecting = {fd, POLLOUT, 0};
    socklen_t size = sizeof(error);
    if (poll(&connecting, 1, 5000) == 1)
      getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
  }
  close(fd);
  return error == 0;
}

// Tries each address of the host.
bool Connects(const sturdy::Link& link) {
  addrinfo hints = {}, *found = nullptr;
  hints.ai_socktype = SOCK_STREAM;
  if (getaddrinfo(link.host.c_str(), std::to_string(link.port).c_str(), &hints, &found) != 0)
    return false;
  const addrinfo* address = found;
  while (address != nullptr && !Accepts(*address))
    address = address->ai_next;
  freeaddrinfo(found);
  return address != nullptr;
}

// Returns whether the client is connected; false at the end of the program.
bool ConnectToAny(sturdy::Client& client, News& news, sturdy::Backoff& backoff) {
  while (!news.HasEnded()) {
    const sturdy::Link link = client.NextLink();
    if (Connects(link)) {
      std::printf("%s connected\n", link.HostPort().c_str());
      client.Hold(link);
      backoff.Reset();
      return true;
    }
    std::printf("%s refused\n", link.HostPort().c_str());
    if (news.WaitForList(0))  // came during the attempt: its round has begun
      backoff.Reset();
    if (news.WaitForList(backoff.AfterFailure(client.service().GetLinkHostCount())))
      backoff.Reset();
  }
  return false;
}

int main(int argc, char** argv) try {
  if (argc != 3 && argc != 4)
    return 2;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  // The thread below takes these signals, so block them in all threads.
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM})
    sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  sturdy::Settings settings;
  settings.token = "your-key";
  settings.data_path = argv[2];
  settings.lbs_urls = {argv[1]};
  News news;  // outlives the client
  settings.on_update = [&](sturdy::Client&, bool fetched, const std::string& document) {
    if (fetched)
      news.SetList(document);
  };
  sturdy::Client client(settings);
  client.Document(false);  // blocks until the first fetch has ended

  std::thread watcher([&] {
    int signal = 0;
    // SIGHUP stands for a message of your own server that the list has changed.
    while (sigwait(&signals, &signal) == 0 && signal == SIGHUP)
      client.service().Update(net::kIPFamilyAny);
    news.End();
  });
  sturdy::Backoff backoff(argc == 4 ? uint32_t(std::strtoul(argv[3], nullptr, 10)) : 20000);
  const bool connected = ConnectToAny(client, news, backoff);
  // A client that stays calls ConnectToAny again when it is cut off.
  pthread_kill(watcher.native_handle(), SIGINT);  // ends its sigwait
  watcher.join();
  return connected ? 0 : 1;
} catch (const std::exception& error) {  // of the client's constructor
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
