#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "network/http_method.h"

namespace KRBASE::network {

class HttpClient;
struct HttpResponseUser;

using HttpHeaderList = std::vector<std::pair<std::string, std::string>>;

constexpr int32_t kHttpRequestNew = 0;
constexpr int32_t kHttpRequestQueued = 1;
constexpr int32_t kHttpRequestCancelled = 3;

// One request to the client. Plain fields, written by its maker.
// Threads: one at a time; HttpClient::Send passes it to the client's threads.
// Owner:   shared by the queue, the worker and the response function.
// Errors:  none. A URL that can't be used fails the transfer.
struct HttpRequest {
  HttpRequest();
  virtual ~HttpRequest();
  HttpRequest(const HttpRequest&) = delete;
  HttpRequest& operator=(const HttpRequest&) = delete;

  void setHost(const std::string& host_name) { host = host_name; }
  void setIP(const std::string& ip_text) { ip = ip_text; }
  void setPort(int32_t port_number) { port = port_number; }
  void setSNI(bool present_name) { sni = present_name; }
  // Replaces the body by a copy of these bytes.
  void setBody(const void* bytes, size_t size_bytes);

  int32_t method = kHttpMethodUnset;  // an HttpMethod
  std::string url;
  std::vector<char> body;
  // Unique in the process, from 1 up: the key in the client's table of running requests.
  uint64_t id;
  HttpHeaderList headers;
  // Milliseconds. Bounds connecting only: sending and receiving have bounds of the transport.
  int32_t time_out = 30000;

  // For a transport that connects to an address and presents a name: the name that an IP URL is
  // meant for, and the URL's own address and port. Ours reads none of the four.
  std::string host;
  std::string ip;
  int32_t port = 443;
  bool sni = false;

  // Any thread may set it while the request is queued.
  std::atomic<int32_t> state{kHttpRequestNew};
};

// A request with the function that takes its answer.
// The callback runs on a worker of the pool, or on the dispatcher for a cancelled request; it posts
// to its own thread itself. `error` is 0 for an answer. It is -1 for a cancelled request, whose
// `response` is empty. The client drops exceptions that leave the callback.
struct HttpRequestUser : HttpRequest {
  using Callback = std::function<void(
      HttpClient* client, const std::shared_ptr<HttpResponseUser>& response, int32_t error)>;

  ~HttpRequestUser() override;

  Callback callback;
};

}  // namespace KRBASE::network
