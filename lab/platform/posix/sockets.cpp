#include "lab/platform/sockets.h"

#include <sys/socket.h>

#include <boost/system/system_error.hpp>
#include <cerrno>
#include <utility>

namespace lab {

using boost::asio::ip::tcp;
using boost::system::error_code;

namespace {

error_code LastError() {
  return {errno, boost::system::system_category()};
}

// Calls accept4 itself: Asio's accept leaves the descriptor open across an exec.
void Accept(tcp::acceptor& listener, tcp::socket& socket, error_code& error) {
  const int fd = accept4(listener.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (fd < 0) {
    error = LastError();
  } else {
    socket.assign(listener.local_endpoint().protocol(), fd);
  }
}

}  // namespace

tcp::socket::native_handle_type MakeSocket(const tcp& protocol) {
  const int fd = socket(protocol.family(), protocol.type() | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) {
    throw boost::system::system_error(LastError(), "socket");
  }
  return fd;
}

void AsyncAccept(const std::shared_ptr<tcp::acceptor>& listener,
                 std::function<void(error_code, tcp::socket)> accepted) {
  listener->async_wait(tcp::acceptor::wait_read,
                       [listener, accepted = std::move(accepted)](error_code error) {
                         tcp::socket socket(listener->get_executor());
                         if (!error && listener->is_open()) {
                           Accept(*listener, socket, error);
                         }
                         accepted(error, std::move(socket));
                       });
}

}  // namespace lab
