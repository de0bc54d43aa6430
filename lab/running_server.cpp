#include "lab/running_server.h"

#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <cerrno>
#include <chrono>
#include <utility>

#include "lab/tls/openssl/certificate.h"

namespace lab {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr int kBacklog = 128;
constexpr std::chrono::milliseconds kAcceptRetry(50);

}  // namespace

RunningServer::RunningServer(asio::io_context& io, Server server, LoopbackPort port,
                             Journal& journal, Gates& gates, Script& script,
                             const std::function<void(const Request&)>& observer)
    : io_(io),
      server_(std::move(server)),
      port_(std::move(port)),
      context_{server_, journal, gates, script, observer, {server_.answers_per_s, server_.queue},
               nullptr} {
  if (!server_.https) {
    return;
  }
  const CertificateFiles files = MakeCertificate(server_.certificate, server_.address);
  certificate_pem_ = files.certificate_pem;
  context_.tls = std::make_unique<asio::ssl::context>(asio::ssl::context::tls_server);
  context_.tls->use_certificate_chain(asio::buffer(files.certificate_pem));
  context_.tls->use_private_key(asio::buffer(files.key_pem), asio::ssl::context::pem);
}

std::string RunningServer::HostPort() const {
  const std::string host = port_.is_v6() ? "[" + server_.address + "]" : server_.address;
  return host + ":" + std::to_string(port_.number());
}

Endpoint RunningServer::AsEndpoint() const {
  return {server_.name, HostPort(), Url(), server_.address, port_.number(), server_.https};
}

void RunningServer::Listen() {
  if (listener_ != nullptr || server_.listening == Listening::kRefuse) {
    return;
  }
  const bool never_connect = server_.listening == Listening::kNeverConnect;
  Descriptor fd = port_.Listen(never_connect ? 0 : kBacklog);
  if (never_connect) {
    fillers_ = port_.FillQueue();
  }
  listener_ = std::make_unique<asio::posix::stream_descriptor>(io_, fd.get());
  fd.Release();
  if (!never_connect) {
    AcceptNext();
  }
}

void RunningServer::Stop() {
  listener_.reset();
  fillers_.clear();
  for (const auto& weak : std::exchange(connections_, {})) {
    if (const auto connection = weak.lock()) {
      connection->ResetNow();
    }
  }
}

void RunningServer::AcceptNext() {
  listener_->async_wait(asio::posix::stream_descriptor::wait_read,
                        [this, mine = listener_.get()](const boost::system::error_code& error) {
                          if (!error && listener_.get() == mine) {
                            AcceptAll();
                          }
                        });
}

// Calls accept4 itself: Asio's accept leaves the descriptor open across an exec.
void RunningServer::AcceptAll() {
  for (;;) {
    const int fd =
        accept4(listener_->native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0 && (errno == EMFILE || errno == ENFILE)) {
      return RetryAccept();  // waiting for the listener would return at once
    }
    if (fd < 0) {
      break;
    }
    tcp::socket socket(io_);
    socket.assign(port_.is_v6() ? tcp::v6() : tcp::v4(), fd);
    // Send at once, as real servers do: the end of an answer mustn't wait for an acknowledgement.
    boost::system::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    const auto connection = Connection::Make(std::move(socket), context_);
    connections_.push_back(connection);
    connection->Begin();
  }
  connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                    [](const auto& weak) { return weak.expired(); }),
                     connections_.end());
  AcceptNext();
}

void RunningServer::RetryAccept() {
  retry_ = std::make_unique<asio::steady_timer>(io_, kAcceptRetry);
  retry_->async_wait([this, mine = listener_.get()](const boost::system::error_code& error) {
    if (!error && listener_.get() == mine) {
      AcceptNext();
    }
  });
}

}  // namespace lab
