#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "network/http_request.h"

namespace KRBASE::network {

// The outcome of a transfer. One that failed has status 0.
// Threads: the worker of the transfer writes it. It is constant from the call of `done` on.
// Owner:   the shared pointer that `done` gets.
// Errors:  none.
struct HttpResponse {
  HttpResponse() = default;
  virtual ~HttpResponse();
  HttpResponse(const HttpResponse&) = delete;
  HttpResponse& operator=(const HttpResponse&) = delete;

  bool success = false;    // true exactly for kStatusOk
  std::vector<char> data;  // raw data; CWinHttp fills `body` instead
  HttpHeaderList headers;
  int32_t status = 0;
  std::string message;  // CWinHttp leaves it empty
  std::string body;
  // What the look-up of the URL's host gave, as texts for reports. Empty if it gave nothing or
  // wasn't made.
  std::list<std::string> host_addresses;
};

// The copy that a request's callback gets, which may change it. `body` and `message` end at their
// first zero byte.
struct HttpResponseUser : HttpResponse {
  ~HttpResponseUser() override;

  // The answered request. Not owned; valid until the callback returns.
  HttpRequest* request = nullptr;
};

}  // namespace KRBASE::network
