#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "network/http_request.h"

namespace KRBASE::network {

// What came back. A transfer that failed is a response like any other, with status 0.
// Threads: written by the worker that makes it, only read once it has been handed on.
// Owner:   a shared pointer.
// Errors:  none.
struct HttpResponse {
  HttpResponse() = default;
  virtual ~HttpResponse();
  HttpResponse(const HttpResponse&) = delete;
  HttpResponse& operator=(const HttpResponse&) = delete;

  // True exactly for kStatusOk.
  bool success = false;
  // Raw data; CWinHttp's road leaves it empty and fills `body`.
  std::vector<char> data;
  HttpHeaderList headers;
  int32_t status = 0;
  std::string message;
  std::string body;
};

// The copy that a request's callback gets. `body` and `message` end at their first zero byte.
struct HttpResponseUser : HttpResponse {
  ~HttpResponseUser() override;

  // The request answered; not owned, good until the callback returns.
  HttpRequest* request = nullptr;
};

}  // namespace KRBASE::network
