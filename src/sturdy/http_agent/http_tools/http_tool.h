#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zo_base {
class RecursiveMutex;
}

namespace zo_sturdy {

// One sub-request: what is sent to one URL, and who gets the answer. A plain record, copied by
// value.
struct HttpToolRequest {
  // Judges the answer; its result is not used. `code` is the HTTP status as the transport gave it.
  using Callback =
      std::function<bool(int32_t code, const std::string& headers, const std::string& body)>;

  std::vector<std::string> heads;  // header lines, "Name:value"
  int32_t time_out = 0;            // ms, connect time-out
  int32_t type = 0;                // 0 is GET, everything else POST
  std::string url;                 // what is connected to
  std::string host;                // name to present; empty when `url` names its own host
  Callback callback;
  std::string body;  // sent with POST only
};

// Turns a sub-request into a request of the HTTP client, and brings its answer home.
//
// Home is the task loop of the thread that called PostRequest. When that loop is gone by the time
// of the answer, or there was none, the callback runs on the thread that has the answer, a worker
// of the HTTP client. Objects that work without a lock rely on their loop to take one thing at a
// time, so these deliveries come one at a time too, over the whole process.
// Threads: any.
// Errors:  a failed transfer is an answer with code 0. An empty callback raises
//          std::bad_function_call where the answer is delivered.
class HttpTool {
 public:
  // Queues the request and returns at once. The record may go away afterwards.
  static void PostRequest(const HttpToolRequest& request);

  // Held while an answer is delivered on a foreign thread. Who works without a lock of its own and
  // sends from a thread without a loop holds it while sending, so that no answer comes in between.
  static zo_base::RecursiveMutex& DeliveryMutex();
};

}  // namespace zo_sturdy
