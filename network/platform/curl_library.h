#pragma once

#include <curl/curl.h>

namespace KRBASE::network::platform {

// The functions of libcurl that transfers use. Nothing links against libcurl: it brings 30 other
// libraries, and loading them took 4 of the 13 ms from a client's start to its first address, which
// needs none of them. They are loaded for the first transfer, on its worker.
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

  decltype(&::curl_url) url;
  decltype(&::curl_url_cleanup) url_cleanup;
  decltype(&::curl_url_get) url_get;
  decltype(&::curl_url_set) url_set;
  decltype(&::curl_free) free;
};

// Loads libcurl and sets it up, once; false, with a line in the log that says why, if it can't be
// had: a file is missing, or there is no descriptor or memory left. The next call tries again.
// Threads: any, outside the gate; those that come meanwhile wait. An unload of this library, which
// has no threads then, undoes it.
bool LoadCurl();

// Requires: LoadCurl has given true.
const CurlLibrary& Curl();

}  // namespace KRBASE::network::platform
