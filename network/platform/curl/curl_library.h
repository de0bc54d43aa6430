#pragma once

#include <curl/curl.h>
#include <openssl/ssl.h>

namespace KRBASE::network::platform {

// The functions of libcurl, and one of OpenSSL, that transfers call. Nothing links against libcurl:
// it brings 30 other libraries, and loading them took 4 of the 13 ms from a client's start to its
// first address, which needs none of them. The worker of the first transfer loads it.
struct CurlLibrary {
  decltype(&::curl_global_init) global_init;
  decltype(&::curl_global_cleanup) global_cleanup;

  decltype(&::curl_easy_init) easy_init;
  decltype(&::curl_easy_cleanup) easy_cleanup;
  decltype(&::curl_easy_setopt) easy_setopt;
  decltype(&::curl_easy_getinfo) easy_getinfo;
  decltype(&::curl_easy_pause) easy_pause;

  decltype(&::curl_multi_init) multi_init;
  decltype(&::curl_multi_cleanup) multi_cleanup;
  decltype(&::curl_multi_add_handle) multi_add_handle;
  decltype(&::curl_multi_remove_handle) multi_remove_handle;
  decltype(&::curl_multi_perform) multi_perform;
  decltype(&::curl_multi_info_read) multi_info_read;
  decltype(&::curl_multi_poll) multi_poll;
  decltype(&::curl_multi_wakeup) multi_wakeup;

  decltype(&::curl_slist_append) slist_append;
  decltype(&::curl_slist_free_all) slist_free_all;

  // Of the OpenSSL that libcurl uses; null if it uses another library for TLS.
  decltype(&::SSL_CTX_set_keylog_callback) set_keylog_callback;
};

// Loads libcurl and sets it up, once. Unloading this library undoes it; there are no threads by
// then.
// Threads: any, outside the exit gate. Blocks while another thread loads.
// Errors:  throws std::runtime_error if a file is missing, no descriptor is left or the process is
//          ending, and std::bad_alloc. The next call tries again.
void LoadCurl();

// Requires: LoadCurl has returned.
const CurlLibrary& Curl();

}  // namespace KRBASE::network::platform
