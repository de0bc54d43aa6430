#include "lab/running_server.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "lab/platform/sockets.h"

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
  if (server_.https) {
    context_.tls = MakeTlsServer(server_);
  }
}

std::string RunningServer::certificate_pem() const {
  return context_.tls == nullptr ? "" : context_.tls->certificate_pem();
}

std::string RunningServer::HostPort() const {
  const std::string host = port_->is_v6() ? "[" + server_.address + "]" : server_.address;
  return host + ":" + std::to_string(port_->number());
}

Endpoint RunningServer::AsEndpoint() const {
  return {server_.name, HostPort(), Url(), server_.address, port_->number(), server_.https};
}

void RunningServer::Listen() {
  if (listener_ != nullptr || server_.listening == Listening::kRefuse) {
    return;
  }
  const bool never_connect = server_.listening == Listening::kNeverConnect;
  listener_ = std::make_shared<tcp::acceptor>(port_->Listen(never_connect ? 0 : kBacklog));
  if (never_connect) {
    fillers_ = port_->FillQueue();
  } else {
    AcceptNext();
  }
}

void RunningServer::Stop() {
  if (listener_ != nullptr) {
    listener_->close();  // a pending accept keeps the object
    listener_.reset();
  }
  fillers_.reset();
  for (const auto& weak : std::exchange(connections_, {})) {
    if (const auto connection = weak.lock()) {
      connection->ResetNow();
    }
  }
}

void RunningServer::AcceptNext() {
  AsyncAccept(listener_, [this, mine = listener_.get()](const boost::system::error_code& error,
                                                        tcp::socket socket) {
    if (listener_.get() != mine) {
      return;  // stopped meanwhile
    }
    if (error) {
      return RetryAccept();  // another attempt at once would fail too
    }
    Take(std::move(socket));
    AcceptNext();
  });
}

void RunningServer::Take(tcp::socket socket) {
  // Send at once, as real servers do: the end of an answer mustn't wait for an acknowledgement.
  boost::system::error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  const auto connection = Connection::Make(std::move(socket), context_);
  connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                    [](const auto& weak) { return weak.expired(); }),
                     connections_.end());
  connections_.push_back(connection);
  connection->Begin();
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
