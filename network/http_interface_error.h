#pragma once

#include <cstdint>

namespace KRBASE::network {

// What went wrong in a transfer. The gaps are not in use.
enum HttpInterfaceError : int32_t {
  kHttpNoError = 0,
  kHttpOpenFailed = 1,       // no session, no request, or no response came
  kHttpConnectFailed = 2,    // the URL gave nothing to connect to
  kHttpNameNotResolved = 3,  // sending failed: the system's resolver has no address of the host
  kHttpSendFailed = 4,       // sending failed for any other reason
  kHttpQueryFailed = 5,      // no content length, or the amount to read couldn't be told
  kHttpNotFound = 6,         // the response's head holds the text "404"
  kHttpFileFailed = 8,       // the target file couldn't be made
  kHttpReadFailed = 9,       // reading the response failed
  kHttpTooLarge = 13,        // a download to memory above 8388608 bytes
};

}  // namespace KRBASE::network
