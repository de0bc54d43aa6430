#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace zo_sturdy {

// One URL of a request. `host` is the name to present to the server if `url` has an address in the
// host's place; empty if `url` names the host itself.
struct URLItem {
  std::string url;
  std::string host;
};

// One logical request that any of several URLs may answer, tried in order. A plain record, copied
// by value; MultipleURLHttpRequestHelper carries it out.
//
// `check` judges the answer of the URL at `index`: true ends the request as a success. `code` is
// the HTTP status, or 0 for every failure below HTTP, which a check must treat as a failure.
// `need_statistic` comes in false; a check sets it to record this failure.
// `callback` is called once, with the headers and body of the answer that ended the request.
// Threads: both run on the thread that started the request. If that thread has no loop, or its loop
//          has ended, they run on a thread of the HTTP client.
// Errors:  a request without a check or a callback throws std::bad_function_call.
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
  bool use_http_dns = true;  // allows a second pass through HTTP DNS after a failure
  int32_t ip_family = 0;     // the family of that second pass
};

// One recorded failure of a URL. Nothing fills `extra`; it is part of the record's fixed shape.
struct StatisticRecord {
  std::string request_url;
  // The URL's address, or what the transfer's look-up of its host gave.
  std::list<std::string> host_ip;
  std::string appkey;
  std::string extra;
  uint64_t timestamp = 0;  // ms since the epoch, when the response was handled
  int32_t error_code = 0;
  int32_t send_time = 0;  // ms from the sending to the handling of the response
};

}  // namespace zo_sturdy
