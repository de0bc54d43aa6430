#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "network/http_method.h"
#include "network/transfer_failure.h"

// The platform's HTTP handles: a session opens connections, a connection opens requests. Each room
// of this folder implements the three over the calls of one library.
// Threads: one at a time. Send, ReceiveResponse, QueryDataAvailable and ReadData block.
// Owner:   the caller. Destroy requests before their connection, connections before their session.
// Errors:  a function that opens returns an empty pointer, every other call false. A request has
//          its cause. Only HttpSession::Open throws: std::runtime_error, with the reason for which
//          none can be opened.
namespace KRBASE::network::platform {

// A value of 0 or less is no limit.
struct TransferTimeOuts {
  int32_t connect_ms = 0;  // TLS included; with WinHTTP for each address, then for TLS
  int32_t send_ms = 0;     // for each step of sending
  int32_t receive_ms = 0;  // for the whole head, then for each read
};

// One request and its answer. Follows up to kMaxRedirects redirects, but none from https to http.
// Each gets its own look-up and its own Host header; 301, 302 and 303 turn a POST into a GET. An
// answer that redirects without a Location is the final one.
class HttpRequestHandle {
 public:
  HttpRequestHandle() = default;
  virtual ~HttpRequestHandle() = default;
  HttpRequestHandle(const HttpRequestHandle&) = delete;
  HttpRequestHandle& operator=(const HttpRequestHandle&) = delete;

  // Accepts a certificate of an unknown issuer, for another name or of another date. WinHTTP still
  // refuses one that isn't made for servers.
  virtual void IgnoreCertificateErrors() = 0;

  // Adds lines "Name: value", each ended by CRLF. A line replaces an earlier one of its name.
  virtual void AddOrReplaceHeaders(std::string_view header_text) = 0;

  // Looks the host up, connects and sends.
  // Requires: `body` stays until the answer has been read.
  [[nodiscard]] virtual bool Send(std::string_view extra_header_text, std::string_view body) = 0;
  // The addresses that the look-up gave, as texts for reports; those of a redirect don't count.
  [[nodiscard]] virtual const std::list<std::string>& host_addresses() const = 0;

  // Blocks until the head of the final answer has been received.
  [[nodiscard]] virtual bool ReceiveResponse() = 0;

  // The final answer's head. Requires: ReceiveResponse has returned true.
  // Lines ended by CRLF, the last one empty.
  [[nodiscard]] virtual const std::string& raw_headers() const = 0;
  [[nodiscard]] virtual int32_t status() const = 0;
  // Empty if the server sent none.
  [[nodiscard]] virtual std::optional<int64_t> content_length() const = 0;

  // Blocks until a part of the body has been received. `available_bytes` is 0 at its end.
  [[nodiscard]] virtual bool QueryDataAvailable(size_t& available_bytes) = 0;
  // Moves at most this many received bytes to `out`.
  [[nodiscard]] virtual bool ReadData(char* out, size_t limit_bytes, size_t& read_bytes) = 0;

  // Requires: a call has returned false.
  [[nodiscard]] virtual TransferCause cause() const = 0;
  // The steps of the last hop so far.
  [[nodiscard]] virtual TransferSteps steps() const = 0;
};

// Holds a host and a port. Looks nothing up and opens no socket; a request does so when it is sent.
class HttpConnection {
 public:
  HttpConnection() = default;
  virtual ~HttpConnection() = default;
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  // Requires: the connection outlives the request.
  [[nodiscard]] virtual std::unique_ptr<HttpRequestHandle> OpenRequest(HttpMethod method,
                                                                       const std::string& target,
                                                                       bool is_secure) const = 0;
};

// Holds the agent and the time-outs of its connections and requests.
class HttpSession {
 public:
  // The room's own session. `agent` is sent if a request has no User-Agent.
  static std::unique_ptr<HttpSession> Open(const std::string& agent);

  HttpSession() = default;
  virtual ~HttpSession() = default;
  HttpSession(const HttpSession&) = delete;
  HttpSession& operator=(const HttpSession&) = delete;

  // Holds for requests opened from now on. The look-up of a name has no limit.
  virtual void SetTimeOuts(const TransferTimeOuts& time_outs) = 0;

  // Fails without a host or a port. Requires: the session outlives the connection.
  [[nodiscard]] virtual std::unique_ptr<HttpConnection> OpenConnection(const std::string& host,
                                                                       uint16_t port) const = 0;
};

}  // namespace KRBASE::network::platform
