#include <stdexcept>
#include <utility>

#include "base/platform/windows/wide_text.h"
#include "network/platform/http_handles.h"
#include "network/platform/transfer_plan.h"
#include "network/platform/winhttp/winhttp_handle.h"
#include "network/platform/winhttp/winhttp_request.h"

namespace KRBASE::network::platform {

namespace {

class WinHttpConnection final : public HttpConnection {
 public:
  WinHttpConnection(HINTERNET session, WinHttpHandle handle, TransferPlan plan)
      : session_(session), handle_(std::move(handle)), plan_(std::move(plan)) {}

  std::unique_ptr<HttpRequestHandle> OpenRequest(HttpMethod method, const std::string& target,
                                                 bool is_secure) const override {
    TransferPlan plan = plan_;
    plan.url.is_https = is_secure;
    plan.url.target = target;
    plan.method = method;
    auto request = std::make_unique<WinHttpRequest>(session_, std::move(plan));
    return request->Open(handle_.get()) ? std::move(request) : nullptr;
  }

 private:
  const HINTERNET session_;
  const WinHttpHandle handle_;
  const TransferPlan plan_;  // of a request, as far as it is known
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
    if (connection == nullptr) {
      return nullptr;
    }
    TransferPlan plan;
    plan.url.host = host;
    plan.url.port = port;
    plan.time_outs = time_outs_;
    return std::make_unique<WinHttpConnection>(handle_.get(), std::move(connection),
                                               std::move(plan));
  }

 private:
  const WinHttpHandle handle_;
  TransferTimeOuts time_outs_;
};

}  // namespace

std::unique_ptr<HttpSession> HttpSession::Open(const std::string& agent) {
  WinHttpHandle handle(WinHttpOpen(zo_base::Wide(agent).c_str(), WINHTTP_ACCESS_TYPE_NO_PROXY,
                                   WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
  if (handle == nullptr) {
    throw std::runtime_error("WinHTTP opens no session, error " + std::to_string(GetLastError()));
  }
  return std::make_unique<WinHttpSession>(std::move(handle));
}

}  // namespace KRBASE::network::platform
