#include "lab/tls/tls_server.h"

#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <utility>

#include "lab/tls/openssl/certificate.h"

namespace lab {
namespace {

namespace asio = boost::asio;
namespace ssl = boost::asio::ssl;
using asio::ip::tcp;

class OpenSslStream : public TlsStream {
 public:
  OpenSslStream(tcp::socket& socket, ssl::context& context) : stream_(socket, context) {}

  void Handshake(Done done) override {
    stream_.async_handshake(ssl::stream_base::server, std::move(done));
  }
  std::string ServerName() override {
    const char* name = SSL_get_servername(stream_.native_handle(), TLSEXT_NAMETYPE_host_name);
    return name == nullptr ? "" : name;
  }
  void ReadSome(asio::mutable_buffer buffer, Moved moved) override {
    stream_.async_read_some(buffer, std::move(moved));
  }
  void Write(asio::const_buffer bytes, Moved moved) override {
    asio::async_write(stream_, bytes, std::move(moved));
  }
  void Shutdown(Done done) override { stream_.async_shutdown(std::move(done)); }

 private:
  ssl::stream<tcp::socket&> stream_;
};

class OpenSslServer : public TlsServer {
 public:
  explicit OpenSslServer(const CertificateFiles& files) : certificate_pem_(files.certificate_pem) {
    context_.use_certificate_chain(asio::buffer(files.certificate_pem));
    context_.use_private_key(asio::buffer(files.key_pem), ssl::context::pem);
  }

  const std::string& certificate_pem() const override { return certificate_pem_; }
  std::unique_ptr<TlsStream> Wrap(tcp::socket& socket) override {
    return std::make_unique<OpenSslStream>(socket, context_);
  }

 private:
  const std::string certificate_pem_;
  ssl::context context_{ssl::context::tls_server};
};

}  // namespace

bool CanServeHttps() {
  return true;
}

std::unique_ptr<TlsServer> MakeTlsServer(const Server& server) {
  return std::make_unique<OpenSslServer>(MakeCertificate(server.certificate, server.address));
}

}  // namespace lab
