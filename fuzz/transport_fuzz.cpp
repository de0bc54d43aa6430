// Sends any bytes as a server's answer, over a socket, to the transport with its pool. There must
// be a response of bounded size, and all of it must be from the server. Bytes that begin like a TLS
// record answer an https request.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "base/ascii.h"
#include "base/built_in_values.h"
#include "fuzz/expect.h"
#include "network/http_request_win.h"
#include "tests/support/own_network.h"

namespace {

using KRBASE::network::HttpRequest;
using KRBASE::network::HttpResponse;

// Answers each connection with the same bytes and closes it, on a thread that runs until the
// process ends.
class Server {
 public:
  Server() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    Expect(bind(listener_, generic, length) == 0 && listen(listener_, 64) == 0 &&
               getsockname(listener_, generic, &length) == 0,
           "a server on loopback");
    port = ntohs(address.sin_port);
    std::thread([this] { Serve(); }).detach();
  }

  void SetAnswer(const std::string& bytes) {
    const std::lock_guard lock(mutex_);
    answer_ = bytes;
  }

  uint16_t port = 0;

 private:
  [[noreturn]] void Serve() {
    while (true) {
      const int connection = accept(listener_, nullptr, nullptr);
      if (connection >= 0) {
        Answer(connection);
        close(connection);
      }
    }
  }

  void Answer(int connection) {
    std::string request;
    while (Receive(connection, request) && request.find("\r\n\r\n") == std::string::npos &&
           request[0] == 'G') {
    }
    std::string bytes;
    {
      const std::lock_guard lock(mutex_);
      bytes = answer_;
    }
    if (send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0) {
      shutdown(connection, SHUT_WR);
      while (Receive(connection, request)) {
      }
    }
  }

  static bool Receive(int connection, std::string& bytes) {
    constexpr int kPatienceMs = 1000;
    pollfd waiting{connection, POLLIN, 0};
    char block[4096];
    if (poll(&waiting, 1, kPatienceMs) != 1) {
      return false;
    }
    const ssize_t received = recv(connection, block, sizeof block, 0);
    bytes.append(block, static_cast<size_t>(std::max<ssize_t>(received, 0)));
    return received > 0;
  }

  const int listener_;
  std::mutex mutex_;
  std::string answer_;
};

// A redirect can lead anywhere, and nothing may leave the machine.
bool has_own_network = false;

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), zo_base::LowerAscii);
  return text;
}

std::shared_ptr<const HttpResponse> Transfer(const std::string& url) {
  static auto& transport = *new KRBASE::network::HttpRequestWin;
  transport.MakePool();
  const auto request = std::make_shared<HttpRequest>();
  request->method = KRBASE::network::kHttpMethodGet;
  request->url = url;
  std::promise<std::shared_ptr<const HttpResponse>> answered;
  transport.Send(request, [&](const auto& response) { answered.set_value(response); });
  return answered.get_future().get();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  has_own_network = EnterOwnNetwork() || (unshare(CLONE_NEWUSER) == 0 && EnterOwnNetwork());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto& server = *new Server;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  if (!has_own_network && Lower(bytes).find("location") != std::string::npos) {
    return 0;
  }
  server.SetAnswer(bytes);
  const bool https = size > 0 && data[0] >= 0x14 && data[0] <= 0x17;
  const auto response = Transfer((https ? "https://127.0.0.1:" : "http://127.0.0.1:") +
                                 std::to_string(server.port) + "/lbs/conf.jsp?k=v");
  Expect(response != nullptr, "a response, whatever comes");
  Expect(response->success == (response->status == 200), "success is 200");
  Expect(response->status == 0 || bytes.find("HTTP/") != std::string::npos, "a status was sent");
  Expect(response->body.size() <= static_cast<size_t>(zo_sturdy::kMaxBodyBytes), "a bounded body");
  Expect(response->status != 0 || response->body.empty() || response->headers.empty(),
         "a failure brings no answer");
  for (const auto& [name, value] : response->headers) {
    Expect((name + value).find_first_of("\r\n") == std::string::npos, "one line a header", name);
  }
  if (Lower(bytes).find("chunked") == std::string::npos) {
    Expect(bytes.find(response->body) != std::string::npos, "a body that was sent", response->body);
  }
  return 0;
}
