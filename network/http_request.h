#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace KRBASE::network {

class HttpClient;
struct HttpResponseUser;

using HttpHeaderList = std::vector<std::pair<std::string, std::string>>;

constexpr int32_t kHttpMethodGet = 0;
constexpr int32_t kHttpMethodPost = 1;
// Marks a request whose method nobody has set; the transport sends it as a POST.
constexpr int32_t kHttpMethodUnset = 5;

constexpr int32_t kHttpRequestNew = 0;
constexpr int32_t kHttpRequestQueued = 1;
constexpr int32_t kHttpRequestCancelled = 3;

// What a request carries into the client. Plain fields, written by the one who makes it.
// Threads: one at a time; from HttpClient::Send on the request belongs to the client's threads.
// Owner:   always a shared pointer, held by the queue, the worker and the response function.
// Errors:  none.
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

  int32_t method = kHttpMethodUnset;
  std::string url;
  std::vector<char> body;
  // Unique in the process, the first is 1: the key in the client's table of running requests.
  uint64_t id;
  HttpHeaderList headers;
  // Milliseconds. It bounds connecting only: sending and receiving have bounds of their own.
  int32_t time_out = 30000;
  // The name behind an IP URL, and what that URL names, for a transport that connects to an
  // address and presents a name. CWinHttp reads none of the four.
  std::string host;
  std::string ip;
  int32_t port = 443;
  bool sni = false;
  // May be set from any thread while the request is queued.
  std::atomic<int32_t> state{kHttpRequestNew};
};

// A request with the function that takes its answer.
// The callback runs on a worker of the pool, or on the dispatcher for a cancelled request, and so
// brings itself to the thread where it belongs. `error` is 0 for an answer, and -1 for a request
// found cancelled: `response` is then empty. An exception that leaves it is dropped.
struct HttpRequestUser : HttpRequest {
  using Callback = std::function<void(
      HttpClient* client, const std::shared_ptr<HttpResponseUser>& response, int32_t error)>;

  ~HttpRequestUser() override;

  Callback callback;
};

}  // namespace KRBASE::network
