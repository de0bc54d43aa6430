#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>
#include <functional>
#include <memory>

namespace lab {

// Makes a non-blocking socket. No process that starts meanwhile inherits it.
// Owner:  the caller.
// Errors: boost::system::system_error.
boost::asio::ip::tcp::socket::native_handle_type MakeSocket(const boost::asio::ip::tcp& protocol);

// Waits for the next connection and passes it on, with a socket that no process inherits. Passes on
// an error if the listener is closed, or if the system has no descriptor for the connection.
void AsyncAccept(
    const std::shared_ptr<boost::asio::ip::tcp::acceptor>& listener,
    std::function<void(boost::system::error_code, boost::asio::ip::tcp::socket)> accepted);

}  // namespace lab
