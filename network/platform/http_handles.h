#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "network/platform/curl_transfer.h"
#include "network/platform/header_lines.h"
#include "network/platform/http_url.h"
#include "network/platform/transfer_plan.h"

// The platform's HTTP handles: a session gives connections, a connection gives requests. Each is
// closed by its destructor, requests before connections before sessions.
// Threads: one at a time; every call that waits blocks its thread.
// Errors:  an open call without success gives an empty pointer, every other one false.
namespace KRBASE::network::platform {

// The choices that its connections and requests share.
class HttpSession {
 public:
  static std::unique_ptr<HttpSession> Open(std::string agent);

  // For requests opened from now on. The system's resolver knows no limit.
  void SetTimeOuts(const TransferTimeOuts& time_outs) { time_outs_ = time_outs; }
  [[nodiscard]] const TransferTimeOuts& time_outs() const { return time_outs_; }
  [[nodiscard]] const std::string& agent() const { return agent_; }

 private:
  explicit HttpSession(std::string agent) : agent_(std::move(agent)) {}

  const std::string agent_;
  TransferTimeOuts time_outs_;
};

// Host and port to talk to. Nothing is looked up and no socket is opened before a request is sent.
class HttpConnection {
 public:
  // Requires: `session` lives as long as the connection.
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

enum class HttpQuery { kRawHeadersCrlf, kStatusCode, kContentLength };

// One request and its answer, redirects included: up to kMaxRedirects are followed, each looked up
// anew and under its own Host, a POST as a GET after 301, 302 and 303. From https to http none is:
// such an answer is the final one, as is one that doesn't say where to.
class HttpRequestHandle {
 public:
  // Requires: `connection` lives as long as the request.
  static std::unique_ptr<HttpRequestHandle> Open(const HttpConnection& connection,
                                                 std::string_view verb, const std::string& target,
                                                 bool is_secure);

  // Any certificate will do: unknown issuer, other name, other date.
  void IgnoreCertificateErrors() { plan_.ignore_certificate_errors = true; }

  // Adds lines "Name: value", each ended by CRLF; a line takes the place of one with its name.
  void AddOrReplaceHeaders(std::string_view header_text);

  // Looks the host up, connects and sends. A name without an address is told by
  // `name_not_resolved` from other failures.
  [[nodiscard]] bool Send(std::string_view extra_header_text, std::string_view body);
  [[nodiscard]] bool name_not_resolved() const { return name_not_resolved_; }

  // Waits for the head of the final answer.
  [[nodiscard]] bool ReceiveResponse();

  // Requires: a response has been received. Empty for a content length that the server didn't tell.
  [[nodiscard]] std::optional<std::string> QueryHeaders(HttpQuery query) const;

  // Waits until a part of the body is there; 0 at its end.
  [[nodiscard]] bool QueryDataAvailable(size_t& available_bytes);
  // Takes what is there, at most this much, and gives its size.
  [[nodiscard]] size_t ReadData(char* out, size_t limit_bytes);

 private:
  enum class NextHop { kNone, kPrepared, kUnusable };

  HttpRequestHandle() = default;

  // Sends the request of the plan; the answer in hand is dropped.
  bool SendHop();
  bool ResolveHost();
  // If the answer in hand leads elsewhere, drops it and turns the plan into that of the next hop.
  NextHop PrepareNextHop();

  TransferPlan plan_;
  std::unique_ptr<CurlTransfer> transfer_;  // refers to the plan
  bool name_not_resolved_ = false;
  int64_t deadline_ms_ = INT64_MAX;
};

}  // namespace KRBASE::network::platform
