#include <stdexcept>
#include <utility>

#include "base/platform/windows/wide_text.h"
#include "network/platform/http_handles.h"
#include "network/platform/winhttp/winhttp_handle.h"
#include "network/platform/winhttp/winhttp_request.h"

namespace KRBASE::network::platform {

namespace {

class WinHttpConnection final : public HttpConnection {
 public:
  WinHttpConnection(WinHttpHandle handle, std::string host, uint16_t port,
                    const TransferTimeOuts& time_outs)
      : handle_(std::move(handle)), host_(std::move(host)), port_(port), time_outs_(time_outs) {}

  std::unique_ptr<HttpRequestHandle> OpenRequest(HttpMethod method, const std::string& target,
                                                 bool is_secure) const override {
    WinHttpHandle request(
        WinHttpOpenRequest(handle_.get(), method == kHttpMethodGet ? L"GET" : L"POST",
                           zo_base::Wide(target).c_str(), nullptr, WINHTTP_NO_REFERER,
                           WINHTTP_DEFAULT_ACCEPT_TYPES, is_secure ? WINHTTP_FLAG_SECURE : 0));
    if (request == nullptr) {
      return nullptr;
    }
    auto opened = std::make_unique<WinHttpRequest>(
        std::move(request), HttpUrl{is_secure, host_, port_, target}, time_outs_);
    return opened->SetOptions() ? std::move(opened) : nullptr;
  }

 private:
  const WinHttpHandle handle_;
  const std::string host_;
  const uint16_t port_;
  const TransferTimeOuts time_outs_;
};

class WinHttpSession final : public HttpSession {
 public:
  explicit WinHttpSession(WinHttpHandle handle) : handle_(std::move(handle)) {}

  void SetTimeOuts(const TransferTimeOuts& time_outs) override {
    time_outs_ = time_outs;
    SetTimeOutsOf(handle_.get(), time_outs);
  }

  std::unique_ptr<HttpConnection> OpenConnection(const std::string& host,
                                                 uint16_t port) const override {
    if (host.empty() || port == 0) {
      return nullptr;
    }
    WinHttpHandle connection(WinHttpConnect(handle_.get(), zo_base::Wide(host).c_str(), port, 0));
    return connection == nullptr
               ? nullptr
               : std::make_unique<WinHttpConnection>(std::move(connection), host, port, time_outs_);
  }

 private:
  const WinHttpHandle handle_;
  TransferTimeOuts time_outs_;
};

}  // namespace

std::unique_ptr<HttpSession> HttpSession::Open(const std::string& agent) {
  WinHttpHandle handle(WinHttpOpen(zo_base::Wide(agent).c_str(), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                   WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
  if (handle == nullptr) {
    throw std::runtime_error("WinHTTP opens no session, error " + std::to_string(GetLastError()));
  }
  return std::make_unique<WinHttpSession>(std::move(handle));
}

}  // namespace KRBASE::network::platform
