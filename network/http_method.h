#pragma once

#include <cstdint>

namespace KRBASE::network {

// The numbers are those of HttpRequest::method.
enum HttpMethod : int32_t {
  kHttpMethodGet = 0,
  kHttpMethodPost = 1,
  kHttpMethodUnset = 5,  // not chosen yet; sent as a POST
};

// Records that hold a method as a number read 0 as GET and every other value as POST.
constexpr HttpMethod HttpMethodOf(int32_t number) {
  return number == kHttpMethodGet ? kHttpMethodGet : kHttpMethodPost;
}

}  // namespace KRBASE::network
