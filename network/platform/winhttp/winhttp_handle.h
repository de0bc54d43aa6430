#pragma once

// windows.h first: winhttp.h needs its types.
#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <memory>

#include "network/platform/http_handles.h"

namespace KRBASE::network::platform {

// Lets no notification begin any more: the library may be unloaded soon.
struct WinHttpCloser {
  void operator()(HINTERNET handle) const {
    WinHttpSetStatusCallback(handle, nullptr, WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS, 0);
    WinHttpCloseHandle(handle);
  }
};

// Closes the handle of a session, connection or request.
using WinHttpHandle = std::unique_ptr<void, WinHttpCloser>;

// Sets an option to a number. Returns whether WinHTTP knows the option and took the number.
inline bool SetOption(HINTERNET handle, DWORD option, DWORD number) {
  return WinHttpSetOption(handle, option, &number, sizeof(number)) != FALSE;
}

// Sets the time-outs of a session; a name's look-up has none. The wait for the head has
// an option of its own, whose default is 90 s.
inline void SetTimeOutsOf(HINTERNET handle, const TransferTimeOuts& time_outs) {
  const int receive_ms = std::max(time_outs.receive_ms, 0);
  WinHttpSetTimeouts(handle, 0, std::max(time_outs.connect_ms, 0), std::max(time_outs.send_ms, 0),
                     receive_ms);
  SetOption(handle, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, static_cast<DWORD>(receive_ms));
}

}  // namespace KRBASE::network::platform
