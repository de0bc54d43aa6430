#include "lab/platform/sockets.h"

#include <boost/system/system_error.hpp>
#include <utility>

namespace lab {

using boost::asio::ip::tcp;
using boost::system::error_code;

tcp::socket::native_handle_type MakeSocket(const tcp& protocol) {
  const SOCKET socket = WSASocketW(protocol.family(), protocol.type(), protocol.protocol(), nullptr,
                                   0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
  if (socket == INVALID_SOCKET) {
    throw boost::system::system_error(
        error_code(WSAGetLastError(), boost::system::system_category()), "socket");
  }
  return socket;
}

// A child inherits the handles of its pipes alone (child.cpp), so Asio's accept will do.
void AsyncAccept(const std::shared_ptr<tcp::acceptor>& listener,
                 std::function<void(error_code, tcp::socket)> accepted) {
  listener->async_accept(
      [listener, accepted = std::move(accepted)](const error_code& error, tcp::socket socket) {
        accepted(error, std::move(socket));
      });
}

}  // namespace lab
