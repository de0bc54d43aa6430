#include "network/platform/curl/curl_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "base/process/unload_hook.h"
#include "base/sync/once_flag.h"
#include "network/platform/curl/exit_gate_guard.h"
#include "network/platform/exit_gate.h"

namespace KRBASE::network::platform {

namespace {

zo_base::OnceFlag loaded_once;

// Written inside the once-flag only.
CurlLibrary curl;
void* library = nullptr;
pid_t loaded_in = 0;

template <class Function>
void Find(Function*& function, const char* name) {
  function = reinterpret_cast<Function*>(dlsym(library, name));
  if (function == nullptr) {
    throw std::runtime_error(dlerror());
  }
}

void FindFunctions() {
  Find(curl.global_init, "curl_global_init");
  Find(curl.global_cleanup, "curl_global_cleanup");
  Find(curl.easy_init, "curl_easy_init");
  Find(curl.easy_cleanup, "curl_easy_cleanup");
  Find(curl.easy_setopt, "curl_easy_setopt");
  Find(curl.easy_getinfo, "curl_easy_getinfo");
  Find(curl.easy_pause, "curl_easy_pause");
  Find(curl.multi_init, "curl_multi_init");
  Find(curl.multi_cleanup, "curl_multi_cleanup");
  Find(curl.multi_add_handle, "curl_multi_add_handle");
  Find(curl.multi_remove_handle, "curl_multi_remove_handle");
  Find(curl.multi_perform, "curl_multi_perform");
  Find(curl.multi_info_read, "curl_multi_info_read");
  Find(curl.multi_poll, "curl_multi_poll");
  Find(curl.multi_wakeup, "curl_multi_wakeup");
  Find(curl.slist_append, "curl_slist_append");
  Find(curl.slist_free_all, "curl_slist_free_all");
  curl.set_keylog_callback = reinterpret_cast<decltype(curl.set_keylog_callback)>(
      dlsym(library, "SSL_CTX_set_keylog_callback"));  // searches what libcurl links, too
}

void Unload() {
  if (std::exchange(loaded_in, 0) != getpid()) {
    return;  // a forked child: threads of its parent may have held libcurl's locks
  }
  curl.global_cleanup();
  dlclose(library);
  loaded_once.Reset();
}

void Load() {
  const ExitGateGuard inside;
  if (!inside) {
    throw std::runtime_error("the process is ending");
  }
  library = dlopen(STURDY_CURL_FILE, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw std::runtime_error(dlerror());
  }
  try {
    FindFunctions();
    zo_base::AtUnload(Unload);
    if (curl.global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
      throw std::runtime_error("libcurl can't be set up");
    }
  } catch (const std::exception&) {
    dlclose(library);
    throw;
  }
  loaded_in = getpid();
  ReregisterExitHandler();
}

}  // namespace

void LoadCurl() {
  PrepareExitGate();
  loaded_once.Call(Load);
}

const CurlLibrary& Curl() {
  return curl;
}

}  // namespace KRBASE::network::platform
