#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "network/http_request.h"
#include "network/http_response.h"

namespace KRBASE::network {

// A transport: carries out requests and returns their responses. The slots and their order are
// fixed.
// Threads: the client's dispatcher calls Send, which must not block. `done` runs on the thread that
//          finished the transfer.
// Owner:   HttpClient, by a shared pointer. The destructor waits for transfers in progress.
// Errors:  a failed transfer is a response with status 0. Send may throw if it can't take the
//          request; `done` isn't called then.
class IHttpRequestor {
 public:
  using Done = std::function<void(const std::shared_ptr<const HttpResponse>& response)>;

  IHttpRequestor() = default;
  virtual ~IHttpRequestor() = default;
  IHttpRequestor(const IHttpRequestor&) = delete;
  IHttpRequestor& operator=(const IHttpRequestor&) = delete;

  virtual void Send(const std::shared_ptr<HttpRequest>& request, const Done& done) = 0;
  // For transports that can end a transfer early. The client doesn't call it.
  virtual void Cancel(uint64_t request_id) = 0;
  // Begins no further transfer, and ends those in progress if the transport can.
  virtual void CancelAll() = 0;
};

}  // namespace KRBASE::network
