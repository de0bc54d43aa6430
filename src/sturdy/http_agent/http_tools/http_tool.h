#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace zo_base {
class RecursiveMutex;
}

namespace zo_sturdy {

// One sub-request: what to send to one URL, and the callback for its answer. A plain record, copied
// by value.
struct HttpToolRequest {
  // Judges the answer; nothing reads its result. `code` is the transport's HTTP status,
  // `host_addresses` what its look-up of the URL's host gave.
  using Callback =
      std::function<bool(int32_t code, const std::string& headers, const std::string& body,
                         const std::list<std::string>& host_addresses)>;

  std::vector<std::string> heads;  // header lines, "Name:value"
  int32_t time_out = 0;            // ms, connect time-out
  int32_t type = 0;                // 0 is GET, everything else POST
  std::string url;                 // the URL to connect to
  std::string host;                // the name to present; empty if `url` names its own host
  Callback callback;
  std::string body;  // sent with POST only
};

// Turns a sub-request into a request of the HTTP client, and delivers the answer on the task loop
// of the thread that called PostRequest.
//
// If that loop has ended, or the thread had none, the callback runs on the thread that has the
// answer, a worker of the HTTP client. Objects without a lock rely on their loop to run one task at
// a time, so these deliveries too come one at a time in the whole process.
// Threads: any.
// Errors:  a failed transfer is an answer with code 0. An empty callback throws
//          std::bad_function_call where the answer is delivered.
class HttpTool {
 public:
  // Queues the request and returns at once. The record needn't outlive the call.
  static void PostRequest(const HttpToolRequest& request);

  // Held while an answer is delivered on a foreign thread. An object without a lock that sends from
  // a thread without a loop holds it while sending, so that no answer comes in between.
  static zo_base::RecursiveMutex& DeliveryMutex();
};

}  // namespace zo_sturdy
