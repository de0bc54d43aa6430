#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "network/http_method.h"
#include "network/platform/curl/transfer_plan.h"
#include "network/platform/http_url.h"
#include "network/transfer_failure.h"

// The platform's HTTP handles: a session opens connections, a connection opens requests. Another
// platform implements these three over its own calls.
// Threads: one at a time. Send, ReceiveResponse and QueryDataAvailable block.
// Owner:   the caller. Destroy requests before their connection, connections before their session.
// Errors:  Open returns an empty pointer, every other call false. A request has its cause. Only a
//          session throws: std::runtime_error, with the reason for which none can be opened.
namespace KRBASE::network::platform {

class CurlTransfer;

// Holds the agent and the time-outs of its connections and requests.
class HttpSession {
 public:
  static std::unique_ptr<HttpSession> Open(std::string agent);

  // Holds for requests opened from now on. The look-up of a name has no limit.
  void SetTimeOuts(const TransferTimeOuts& time_outs) { time_outs_ = time_outs; }
  [[nodiscard]] const TransferTimeOuts& time_outs() const { return time_outs_; }
  [[nodiscard]] const std::string& agent() const { return agent_; }

 private:
  explicit HttpSession(std::string agent) : agent_(std::move(agent)) {}

  const std::string agent_;
  TransferTimeOuts time_outs_;
};

// Holds a host and a port. Looks nothing up and opens no socket; a request does so when it is sent.
class HttpConnection {
 public:
  // Requires: `session` outlives the connection.
  static std::unique_ptr<HttpConnection> Open(const HttpSession& session, const std::string& host,
                                              uint16_t port);

  [[nodiscard]] const HttpSession& session() const { return session_; }
  [[nodiscard]] const std::string& host() const { return host_; }
  [[nodiscard]] uint16_t port() const { return port_; }

 private:
  HttpConnection(const HttpSession& session, std::string host, uint16_t port)
      : session_(session), host_(std::move(host)), port_(port) {}

  const HttpSession& session_;
  const std::string host_;
  const uint16_t port_;
};

// One request and its answer. Follows up to kMaxRedirects redirects. Each gets its own look-up and
// its own Host header; 301, 302 and 303 turn a POST into a GET. An answer that redirects from https
// to http, or that has no Location, is the final one.
class HttpRequestHandle {
 public:
  // Requires: `connection` outlives the request.
  static std::unique_ptr<HttpRequestHandle> Open(const HttpConnection& connection,
                                                 HttpMethod method, const std::string& target,
                                                 bool is_secure);
  ~HttpRequestHandle();

  // Accepts any certificate: unknown issuer, other name, other date.
  void IgnoreCertificateErrors() { plan_.ignore_certificate_errors = true; }

  // Adds lines "Name: value", each ended by CRLF. A line replaces an earlier one of its name.
  void AddOrReplaceHeaders(std::string_view header_text);

  // Looks the host up, connects and sends.
  // Requires: `body` stays until the answer has been read.
  [[nodiscard]] bool Send(std::string_view extra_header_text, std::string_view body);
  // The addresses that the look-up gave, as texts for reports; those of a redirect don't count.
  [[nodiscard]] const std::list<std::string>& host_addresses() const { return host_addresses_; }

  // Blocks until the head of the final answer has been received.
  [[nodiscard]] bool ReceiveResponse();

  // The final answer's head. Requires: ReceiveResponse has returned true.
  [[nodiscard]] const std::string& raw_headers() const;  // lines ended by CRLF, the last one empty
  [[nodiscard]] int32_t status() const;
  [[nodiscard]] std::optional<int64_t> content_length() const;  // empty if the server sent none

  // Blocks until a part of the body has been received. `available_bytes` is 0 at its end.
  [[nodiscard]] bool QueryDataAvailable(size_t& available_bytes);
  // Moves at most this many received bytes to `out` and returns their number.
  [[nodiscard]] size_t ReadData(char* out, size_t limit_bytes);

  // Requires: a call has returned false.
  [[nodiscard]] TransferCause cause() const;
  // The steps of the last hop so far.
  [[nodiscard]] TransferSteps steps() const;

 private:
  enum class NextHop { kNone, kPrepared, kUnusable };

  HttpRequestHandle() = default;

  // Sends the plan's request in place of the one before.
  bool SendHop();
  bool ResolveHost();
  bool Fail(TransferCause cause);  // returns false
  // Turns the plan into that of the next hop if the answer redirects.
  NextHop PrepareNextHop();

  TransferPlan plan_;
  std::unique_ptr<CurlTransfer> transfer_;  // refers to the plan
  TransferCause cause_{};                   // of a failure outside of a transfer
  TransferSteps steps_;  // the look-up's; all of a hop that has ended in a redirect
  std::list<std::string> host_addresses_;
  int64_t deadline_ms_ = INT64_MAX;
};

}  // namespace KRBASE::network::platform
