#include "tests/lab/client.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace {

constexpr int kLimitMs = 10000;

struct Sink {
  std::string bytes;
  size_t most = 0;
};

size_t TakeBytes(char* data, size_t size, size_t count, void* user) {
  auto* sink = static_cast<Sink*>(user);
  sink->bytes.append(data, size * count);
  return sink->bytes.size() > sink->most ? 0 : size * count;
}

}  // namespace

Fetched Fetch(const std::string& url, const FetchOptions& options) {
  Fetched fetched;
  Sink sink{"", options.most_bytes};
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, options.limit_ms);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, options.most_redirects > 0 ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, options.most_redirects);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &TakeBytes);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &sink);
  const bool checked = !options.trusted_pem.empty();
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, checked ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, checked ? 2L : 0L);
  curl_blob blob{const_cast<char*>(options.trusted_pem.data()), options.trusted_pem.size(),
                 CURL_BLOB_COPY};
  if (checked) {
    curl_easy_setopt(curl, CURLOPT_CAINFO_BLOB, &blob);
  }
  fetched.code = curl_easy_perform(curl);
  double handshake = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &fetched.status);
  curl_easy_getinfo(curl, CURLINFO_TOTAL_TIME, &fetched.seconds);
  curl_easy_getinfo(curl, CURLINFO_APPCONNECT_TIME, &handshake);
  curl_easy_cleanup(curl);
  fetched.handshake_done = handshake > 0;
  fetched.body = std::move(sink.bytes);
  return fetched;
}

RawClient::RawClient(int port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    throw std::runtime_error("cannot connect");
  }
}

RawClient::~RawClient() {
  close(fd_);
}

void RawClient::Send(const std::string& bytes) {
  if (send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("cannot send");
  }
}

std::string RawClient::ReadTo(const std::string& end) {
  std::string all;
  while (all.size() < end.size() || all.compare(all.size() - end.size(), end.size(), end) != 0) {
    pollfd wait{fd_, POLLIN, 0};
    if (poll(&wait, 1, kLimitMs) == 0) {
      return all + "<limit>";
    }
    char buffer[4096];
    const ssize_t size = recv(fd_, buffer, sizeof(buffer), 0);
    if (size <= 0) {
      return all + (size == 0 ? "<closed>" : "<reset>");
    }
    all.append(buffer, static_cast<size_t>(size));
  }
  return all;
}
