#pragma once

#include <cstdint>

namespace KRBASE::network {

// The reason why a transfer failed. The missing numbers are not in use.
enum HttpInterfaceError : int32_t {
  kHttpNoError = 0,
  kHttpOpenFailed = 1,       // no session, no request, or no response
  kHttpConnectFailed = 2,    // the URL names no host to connect to
  kHttpNameNotResolved = 3,  // sending failed: the system's resolver has no address of the host
  kHttpSendFailed = 4,       // sending failed for any other reason
  kHttpQueryFailed = 5,      // no content length, or no answer on how much can be read
  kHttpNotFound = 6,         // the head of the response contains the text "404"
  kHttpFileFailed = 8,       // the target file couldn't be created
  kHttpReadFailed = 9,       // reading the response failed
  kHttpTooLarge = 13,        // a download to memory of more than 8388608 bytes
};

}  // namespace KRBASE::network
