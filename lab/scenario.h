#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "lab/host_book.h"
#include "lab/request.h"

namespace lab {

// A scenario that can't be played. what() is one sentence that begins with the key, such as
// "servers[0].routes[1].behaviours[0].status: must be a number from 100 to 999, not 99." A control
// character appears as "?".
class ScenarioError : public std::runtime_error {
 public:
  explicit ScenarioError(const std::string& what);
};

enum class Framing { kLength, kChunked, kUntilClose };

// What a route does with one request. The functions below make it, chained calls refine it:
//   Answer(200, "text").Field("Content-Type", "text/plain").InPieces(6, 3000)
// Body, header values, location and raw bytes may contain placeholders for a server of the
// scenario:
//   ${name}           its "host:port"
//   ${url:name}       its "scheme://host:port"
//   ${ip:name}        its address
//   ${port:name}      its port
//   ${endpoint:name}  the JSON object by which an HTTP DNS service names it
// "$${" is a plain "${".
struct Behaviour {
  enum class Kind {
    kAnswer,
    kSilent,        // reads the request, never answers, never closes
    kClose,         // closes without a byte
    kReset,         // resets the connection without a byte
    kGarbage,       // sends `body` instead of an HTTP answer, then closes
    kEndless,       // sends a head and a body that never ends
    kRedirect,      // answers `status` with `location`
    kRedirectLoop,  // answers `status` with its own path and a new query each time
  };

  Behaviour& Field(std::string name, std::string value);
  Behaviour& Framed(Framing value);
  Behaviour& Reason(std::string value);
  Behaviour& CloseAfter();                  // closes the connection after the answer
  Behaviour& Delayed(int ms);               // waits before it sends anything
  Behaviour& HeadDripped(int ms_per_byte);  // sends the head byte by byte
  Behaviour& InPieces(int count,
                      int over_ms);         // sends the body in pieces, the last at `over_ms`
  Behaviour& Truncated(int missing_bytes);  // announces more bytes than it sends, then closes
  Behaviour& HeldAt(std::string gate);      // waits for Gates::Release(gate) first

  Kind kind = Kind::kAnswer;
  int status = 200;
  std::string reason;  // empty: the usual one of the status
  std::vector<HeaderField> headers;
  std::string body;               // kEndless: the repeated piece
  const char* body_key = "body";  // the file's key of the body
  std::optional<HostBook> hosts;  // kAnswer: the body is its answer to the request's query
  Framing framing = Framing::kLength;
  bool keep_alive = true;
  int delay_ms = 0;
  int head_drip_ms = 0;
  int body_pieces = 1;
  int body_over_ms = 0;
  int missing_bytes = 0;
  int piece_every_ms = 0;  // kEndless: the pause between pieces; 0: as fast as they are read
  std::string location;
  std::string hold;
};

Behaviour Answer(int status, std::string body = "");
Behaviour Answer(std::string body);  // 200
Behaviour Answer(HostBook hosts);    // 200, whatever the code of the book
Behaviour Silent();
Behaviour CloseEarly();
Behaviour Reset();
Behaviour Garbage(std::string bytes = "\x01\x02 this is no HTTP\r\n\r\n");
Behaviour Endless(int piece_every_ms = 0, Framing framing = Framing::kChunked);
Behaviour Redirect(std::string location, int status = 302);
Behaviour RedirectLoop(int status = 302);

// A route takes its behaviours in turn and repeats the last.
struct Route {
  std::string path;  // compared with the target before '?'
  std::vector<Behaviour> behaviours;
};

// What a server does below HTTP.
enum class Listening {
  kServe,
  kRefuse,        // reserves the port and doesn't listen: connections are refused
  kNeverConnect,  // keeps the accept queue full: connection attempts get no answer
  kNoHandshake,   // https: accepts and reads, but never answers the handshake
  kSilent,        // accepts, on https with the handshake, and stays silent
  kClose,         // closes right after accept
  kReset,         // resets right after accept
};

// The lab makes them when it starts. Each is self-signed.
enum class Certificate {
  kSelfSigned,  // valid, for "localhost" and the server's address
  kWrongName,   // valid, for another host
  kExpired,     // for the right names, expired yesterday
};

// One server of the scenario:
//   HttpServer("good").On("/lbs/conf.jsp", Answer(document))
struct Server {
  Server& On(std::string path, Behaviour always);
  Server& On(std::string path, std::initializer_list<Behaviour> in_turn);
  Server& At(std::string ip);            // in 127.0.0.0/8 or ::1; by default 127.0.0.1
  Server& OnPort(int number);            // 0, the default: the system chooses
  Server& OnPortOf(std::string server);  // the port of an earlier server, at another address
  Server& Listens(Listening value);
  // Answers one request after the other, at this rate. Answers 503 at once if so many wait.
  Server& Limited(int to_answers_per_s, int to_queue);

  std::string name;
  bool https = false;
  std::string address = "127.0.0.1";
  int port = 0;
  std::string port_of;
  Certificate certificate = Certificate::kSelfSigned;
  Listening listening = Listening::kServe;
  int answers_per_s = 0;  // 0: answers at once
  int queue = 0;          // requests that may wait; 0: without limit
  std::vector<Route> routes;
};

Server HttpServer(std::string name);
Server HttpsServer(std::string name, Certificate certificate = Certificate::kSelfSigned);

// The servers of a lab and what they do. A plain value. docs/lab-scenario.md has the JSON form.
// Errors: Parse, ParseFile and Check throw ScenarioError. The Lab checks what the builders made.
struct Scenario {
  Scenario() = default;
  Scenario(std::initializer_list<Server> list) : servers(list) {}

  static Scenario Parse(std::string_view json_text);
  static Scenario ParseFile(const std::string& path);
  void Check() const;

  std::vector<Server> servers;
};

}  // namespace lab
