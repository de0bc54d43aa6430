#include <utility>

#include "network/platform/curl/curl_library.h"
#include "network/platform/curl/curl_request.h"
#include "network/platform/http_handles.h"

namespace KRBASE::network::platform {

namespace {

// Both only hold values: libcurl gets them with each transfer.
class CurlSession final : public HttpSession {
 public:
  explicit CurlSession(const std::string& agent) { plan_.agent = agent; }

  void SetTimeOuts(const TransferTimeOuts& time_outs) override { plan_.time_outs = time_outs; }
  std::unique_ptr<HttpConnection> OpenConnection(const std::string& host,
                                                 uint16_t port) const override;

 private:
  TransferPlan plan_;  // of a request of this session, as far as it is known
};

class CurlConnection final : public HttpConnection {
 public:
  explicit CurlConnection(TransferPlan plan) : plan_(std::move(plan)) {}

  std::unique_ptr<HttpRequestHandle> OpenRequest(HttpMethod method, const std::string& target,
                                                 bool is_secure) const override {
    TransferPlan plan = plan_;
    plan.url.is_https = is_secure;
    plan.url.target = target;
    plan.method = method;
    return std::make_unique<CurlRequest>(std::move(plan));
  }

 private:
  const TransferPlan plan_;  // as above, with host and port
};

std::unique_ptr<HttpConnection> CurlSession::OpenConnection(const std::string& host,
                                                            uint16_t port) const {
  if (host.empty() || port == 0) {
    return nullptr;
  }
  TransferPlan plan = plan_;
  plan.url.host = host;
  plan.url.port = port;
  return std::make_unique<CurlConnection>(std::move(plan));
}

}  // namespace

std::unique_ptr<HttpSession> HttpSession::Open(const std::string& agent) {
  LoadCurl();
  return std::make_unique<CurlSession>(agent);
}

}  // namespace KRBASE::network::platform
