#include "network/http_request.h"

#include <atomic>

namespace KRBASE::network {

namespace {

uint64_t NextRequestId() {
  static std::atomic<uint64_t> last_id{0};
  return last_id.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

HttpRequest::HttpRequest() : id(NextRequestId()) {}

HttpRequest::~HttpRequest() = default;

void HttpRequest::setBody(const void* bytes, size_t size_bytes) {
  const char* first = static_cast<const char*>(bytes);
  body.assign(first, first + size_bytes);
}

HttpRequestUser::~HttpRequestUser() = default;

}  // namespace KRBASE::network
