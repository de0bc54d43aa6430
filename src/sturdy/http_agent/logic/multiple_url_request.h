#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace zo_sturdy {

// One URL of a request. `host` is the name to present to the server when `url` carries an
// address in its place; empty when `url` names its host itself.
struct URLItem {
  std::string url;
  std::string host;
};

// One logical request that may be answered by any of several URLs, tried in order.
// A plain record, copied by value. How it is carried out stands in multiple_url_request_helper.h.
//
// `check` judges the answer of the URL at `index`: true ends the request as a success. `code` is
// the HTTP status, or 0 for every failure below HTTP, which a check must treat as a failure.
// `need_statistic` comes in false; a check sets it to have this failure recorded. A request
// without a check or without a callback is a programming fault (std::bad_function_call).
// `callback` is called once, with the headers and body of the answer that ended the request.
// Threads: both run on the thread that the request was started on, or, once that thread's loop
//          has ended, on a thread of the HTTP client.
struct MultipleURLHttpRequest {
  using Check = std::function<bool(int32_t index, int32_t code, const std::string& headers,
                                   const std::string& body, bool& need_statistic)>;
  using Callback =
      std::function<void(bool success, const std::string& headers, const std::string& body)>;

  std::vector<std::string> heads;    // header lines, "Name:value"
  std::string body;                  // sent with POST only
  int32_t time_out = 7000;           // ms, connect time-out of each single sub-request
  int32_t multiple_time_out = 2000;  // ms of silence after which the next URL is tried
  int32_t type = 0;                  // 0 is GET, everything else POST
  std::vector<URLItem> urls;         // in the order of trial
  Check check;
  Callback callback;
  bool use_http_dns = true;  // a second pass through HTTP DNS may follow a failure
  int32_t ip_family = 0;     // of that second pass
};

// One recorded failure of a URL. `extra` travels with the record and is never filled.
struct StatisticRecord {
  std::string request_url;
  std::list<std::string> host_ip;  // the addresses of the URL's host when it failed
  std::string appkey;
  std::string extra;
  uint64_t timestamp = 0;  // ms since the epoch, when the response was handled
  int32_t error_code = 0;
  int32_t send_time = 0;  // ms from the sending to the handling of the response
};

}  // namespace zo_sturdy
