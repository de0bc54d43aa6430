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

// A scenario that can't be played. what() is one sentence that begins with the key it is about,
// such as "servers[0].routes[1].behaviours[0].status: must be a number from 100 to 599." What could
// end its line is shown as "?".
class ScenarioError : public std::runtime_error {
 public:
  explicit ScenarioError(const std::string& what);
};

enum class Framing { kLength, kChunked, kUntilClose };

// What a route does with one request. Made by the functions below and refined by chaining:
//   Answer(200, "text").Field("Content-Type", "text/plain").InPieces(6, 3000)
// Texts (body, header values, location, raw bytes) may hold "${name}" for the "host:port" of a
// server of the scenario, "${url:name}" for its "scheme://host:port", "${ip:name}" and
// "${port:name}" for the two parts of where it is, "${endpoint:name}" for the JSON object by which
// an HTTP DNS service names it as an endpoint; "$${" stands for "${".
struct Behaviour {
  enum class Kind {
    kAnswer,
    kSilent,        // reads the request, never answers, never closes
    kClose,         // closes in order, without a byte
    kReset,         // a TCP reset, without a byte
    kGarbage,       // `body` as raw bytes instead of an HTTP answer, then closes
    kEndless,       // a head and then a body that never ends
    kRedirect,      // `status` with `location`
    kRedirectLoop,  // `status` with a new query of the same path, each time
  };

  Behaviour& Field(std::string name, std::string value);
  Behaviour& Framed(Framing value);
  Behaviour& Reason(std::string value);
  Behaviour& CloseAfter();                  // no keep-alive
  Behaviour& Delayed(int ms);               // before anything is sent
  Behaviour& HeadDripped(int ms_per_byte);  // the head byte by byte
  Behaviour& InPieces(int count,
                      int over_ms);         // the body in `count` pieces; the last one at `over_ms`
  Behaviour& Truncated(int missing_bytes);  // announces more than it sends, then closes
  Behaviour& HeldAt(std::string gate);      // waits for Lab::Release(gate) before anything else

  Kind kind = Kind::kAnswer;
  int status = 200;
  std::string reason;  // empty: the usual one
  std::vector<HeaderField> headers;
  std::string body;               // kEndless: the piece that is repeated
  const char* body_key = "body";  // the key of the file that the body was written with
  std::optional<HostBook> hosts;  // kAnswer: its answer to the request's query is the body
  Framing framing = Framing::kLength;
  bool keep_alive = true;
  int delay_ms = 0;
  int head_drip_ms = 0;
  int body_pieces = 1;
  int body_over_ms = 0;
  int missing_bytes = 0;
  int piece_every_ms = 0;  // kEndless: the pause between pieces; 0 sends as fast as it is read
  std::string location;
  std::string hold;
};

Behaviour Answer(int status, std::string body = "");
Behaviour Answer(std::string body);  // 200
Behaviour Answer(HostBook hosts);    // 200, whatever code the book has
Behaviour Silent();
Behaviour CloseEarly();
Behaviour Reset();
Behaviour Garbage(std::string bytes = "\x01\x02 this is no HTTP\r\n\r\n");
Behaviour Endless(int piece_every_ms = 0, Framing framing = Framing::kChunked);
Behaviour Redirect(std::string location, int status = 302);
Behaviour RedirectLoop(int status = 302);

// Behaviours are taken in turn, the last one repeats.
struct Route {
  std::string path;  // matched against the target without its query
  std::vector<Behaviour> behaviours;
};

// What the server does below HTTP.
enum class Listening {
  kServe,
  kRefuse,        // the port is reserved and nobody listens: connections are refused
  kNeverConnect,  // the accept queue is full: connection attempts get no answer
  kNoHandshake,   // https: accepts, reads, and never answers the handshake
  kSilent,        // accepts (on https with the handshake) and stays silent
  kClose,         // closes in order right after accept
  kReset,         // resets right after accept
};

// All of them are made when the lab starts and are signed by themselves.
enum class Certificate {
  kSelfSigned,  // names "localhost" and the server's address, valid
  kWrongName,   // valid, but names another host
  kExpired,     // right name, ended yesterday
};

// One server of the scenario:
//   HttpServer("good").On("/lbs/conf.jsp", Answer(document))
struct Server {
  Server& On(std::string path, Behaviour always);
  Server& On(std::string path, std::initializer_list<Behaviour> in_turn);
  Server& At(std::string ip);            // 127.0.0.0/8 or ::1, "127.0.0.1" if not given
  Server& OnPort(int number);            // 0, the default: the system chooses
  Server& OnPortOf(std::string server);  // the same as an earlier server, on another address
  Server& Listens(Listening value);

  std::string name;
  bool https = false;
  std::string address = "127.0.0.1";
  int port = 0;
  std::string port_of;
  Certificate certificate = Certificate::kSelfSigned;
  Listening listening = Listening::kServe;
  std::vector<Route> routes;
};

Server HttpServer(std::string name);
Server HttpsServer(std::string name, Certificate certificate = Certificate::kSelfSigned);

// The servers of a lab and their script. A plain value; docs/lab-scenario.md has the JSON form.
// Errors: Parse and Check throw ScenarioError; what the builders made is checked by the Lab.
struct Scenario {
  Scenario() = default;
  Scenario(std::initializer_list<Server> list) : servers(list) {}

  static Scenario Parse(std::string_view json_text);
  static Scenario ParseFile(const std::string& path);
  void Check() const;

  std::vector<Server> servers;
};

}  // namespace lab
