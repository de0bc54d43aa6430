#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <utility>

#include "lab/scenario.h"
#include "lab/scenario_node.h"
#include "lab/service_table.h"
#include "lab/utf8_path.h"

// Parses the JSON form of a scenario (docs/lab-scenario.md). Each function reads one kind of object
// and throws ScenarioError if that has an unknown key or a value of the wrong kind.
namespace lab {
namespace {

// Reads the keys of an answer's head, which several kinds have.
void ReadHead(const Node& node, Behaviour& b) {
  node.Read("status", b.status);
  node.Read("reason", b.reason);
  node.Read("keep_alive", b.keep_alive);
  node.Read("head_drip_ms", b.head_drip_ms);
  if (!node.Has("headers")) {
    return;
  }
  for (const auto& [name, value] : node.At("headers").Members()) {
    if (!value.IsList()) {
      b.Field(name, value.Text());
      continue;
    }
    for (const Node& item : value.Items()) {
      b.Field(name, item.Text());
    }
  }
}

void ReadFraming(const Node& node, Framing& framing) {
  node.Read("framing", framing,
            {{"length", Framing::kLength},
             {"chunked", Framing::kChunked},
             {"close", Framing::kUntilClose}});
}

std::vector<std::string> ReadTexts(const Node& node) {
  std::vector<std::string> texts;
  for (const Node& item : node.Items()) {
    texts.push_back(item.Text());
  }
  return texts;
}

ServiceTable::Texts ReadEndpoints(const Node& node) {
  ServiceTable::Texts endpoints;
  for (const Node& item : node.Items()) {
    if (item.IsText()) {
      endpoints.push_back("${endpoint:" + item.Text() + "}");
      continue;
    }
    item.ExpectKeys({"host", "port", "https"}, "an endpoint");
    DnsEndpoint endpoint{item.At("host").Text()};
    item.Read("port", endpoint.port);
    item.Read("https", endpoint.https);
    endpoints.push_back(EndpointText(endpoint));
  }
  return endpoints;
}

std::string ReadServiceTable(const Node& node) {
  node.ExpectKeys({"host", "ipv4", "ipv6", "ttl"}, "a service table");
  ServiceTable table;
  if (node.Has("host")) {
    table.Domain(node.At("host").Text());
  }
  if (node.Has("ipv4")) {
    table.V4(ReadEndpoints(node.At("ipv4")));
  }
  if (node.Has("ipv6")) {
    table.V6(ReadEndpoints(node.At("ipv6")));
  }
  if (node.Has("ttl")) {
    table.Ttl(node.At("ttl").Number());
  }
  return table.Text();
}

HostBook ReadHosts(const Node& node) {
  HostBook book;
  for (const auto& [name, host] : node.Members()) {
    host.ExpectKeys({"ip", "ipv6", "ttl"}, "a host");
    HostRecord& record = book.hosts[name];
    if (host.Has("ip")) {
      record.ip = ReadTexts(host.At("ip"));
    }
    if (host.Has("ipv6")) {
      record.ipv6 = ReadTexts(host.At("ipv6"));
    }
    if (host.Has("ttl")) {
      record.ttl_s = host.At("ttl").Number();
    }
  }
  return book;
}

// Reads the body, which has one of four forms.
void ReadAnswerBody(const Node& node, Behaviour& b) {
  const char* given = nullptr;
  for (const char* key : {"body", "json", "service_table", "hosts"}) {
    if (node.Has(key) && given != nullptr) {
      node.At(key).Fail("must not be given with \"" + std::string(given) + "\".");
    }
    given = node.Has(key) ? key : given;
  }
  b.body_key = given == nullptr ? b.body_key : given;
  node.Read("body", b.body);
  if (node.Has("json")) {
    b.body = node.At("json").Dump();
  } else if (node.Has("service_table")) {
    b.body = ReadServiceTable(node.At("service_table"));
  } else if (node.Has("hosts")) {
    b.hosts = ReadHosts(node.At("hosts"));
    node.Read("code", b.hosts->code);
  }
  if (node.Has("code") && !b.hosts.has_value()) {
    node.At("code").Fail("needs \"hosts\".");
  }
}

Behaviour ReadAnswer(const Node& node) {
  node.ExpectKeys({"do", "hold", "delay_ms", "status", "reason", "headers", "keep_alive",
                   "head_drip_ms", "body", "json", "service_table", "hosts", "code", "framing",
                   "pieces", "over_ms", "missing_bytes"},
                  "the behaviour \"answer\"");
  Behaviour b = Answer(200);
  ReadHead(node, b);
  ReadFraming(node, b.framing);
  ReadAnswerBody(node, b);
  node.Read("pieces", b.body_pieces);
  node.Read("over_ms", b.body_over_ms);
  node.Read("missing_bytes", b.missing_bytes);
  return b;
}

Behaviour ReadEndless(const Node& node) {
  node.ExpectKeys({"do", "hold", "delay_ms", "status", "reason", "headers", "keep_alive",
                   "head_drip_ms", "body", "framing", "piece_every_ms"},
                  "the behaviour \"endless\"");
  Behaviour b = Endless();
  ReadHead(node, b);
  ReadFraming(node, b.framing);
  node.Read("body", b.body);
  node.Read("piece_every_ms", b.piece_every_ms);
  return b;
}

Behaviour ReadRedirect(const Node& node, bool loop) {
  if (loop) {
    node.ExpectKeys(
        {"do", "hold", "delay_ms", "status", "reason", "headers", "keep_alive", "head_drip_ms"},
        "the behaviour \"redirect_loop\"");
    Behaviour b = RedirectLoop();
    ReadHead(node, b);
    return b;
  }
  node.ExpectKeys({"do", "hold", "delay_ms", "status", "reason", "headers", "keep_alive",
                   "head_drip_ms", "location"},
                  "the behaviour \"redirect\"");
  Behaviour b = Redirect(node.At("location").Text());
  ReadHead(node, b);
  return b;
}

Behaviour ReadKind(const Node& node, Behaviour::Kind kind) {
  switch (kind) {
    case Behaviour::Kind::kAnswer:
      return ReadAnswer(node);
    case Behaviour::Kind::kEndless:
      return ReadEndless(node);
    case Behaviour::Kind::kRedirect:
      return ReadRedirect(node, false);
    case Behaviour::Kind::kRedirectLoop:
      return ReadRedirect(node, true);
    case Behaviour::Kind::kGarbage: {
      node.ExpectKeys({"do", "hold", "delay_ms", "body"}, "the behaviour \"garbage\"");
      Behaviour b = Garbage();
      node.Read("body", b.body);
      return b;
    }
    case Behaviour::Kind::kSilent:
    case Behaviour::Kind::kClose:
    case Behaviour::Kind::kReset:
      break;
  }
  node.ExpectKeys({"do", "hold", "delay_ms"}, "the behaviour \"" + node.At("do").Text() + "\"");
  Behaviour b;
  b.kind = kind;
  return b;
}

Behaviour ReadBehaviour(const Node& node) {
  node.Members();  // fails unless it is an object
  auto kind = Behaviour::Kind::kAnswer;
  node.Read("do", kind,
            {{"answer", Behaviour::Kind::kAnswer},
             {"silent", Behaviour::Kind::kSilent},
             {"close", Behaviour::Kind::kClose},
             {"reset", Behaviour::Kind::kReset},
             {"garbage", Behaviour::Kind::kGarbage},
             {"endless", Behaviour::Kind::kEndless},
             {"redirect", Behaviour::Kind::kRedirect},
             {"redirect_loop", Behaviour::Kind::kRedirectLoop}});
  Behaviour b = ReadKind(node, kind);
  node.Read("hold", b.hold);
  node.Read("delay_ms", b.delay_ms);
  return b;
}

Route ReadRoute(const Node& node) {
  node.ExpectKeys({"path", "behaviours"}, "a route");
  Route route;
  route.path = node.At("path").Text();
  for (const Node& item : node.At("behaviours").Items()) {
    route.behaviours.push_back(ReadBehaviour(item));
  }
  return route;
}

Server ReadServer(const Node& node) {
  node.ExpectKeys({"name", "scheme", "address", "port", "port_of", "certificate", "listening",
                   "answers_per_s", "queue", "routes"},
                  "a server");
  // Where it listens.
  Server server = HttpServer(node.At("name").Text());
  node.Read("scheme", server.https, {{"http", false}, {"https", true}});
  node.Read("address", server.address);
  node.Read("port", server.port);
  node.Read("port_of", server.port_of);
  if (node.Has("port_of") && server.port_of.empty()) {
    node.At("port_of").Fail("must not be empty.");
  }
  // What it does below HTTP.
  node.Read("listening", server.listening,
            {{"serve", Listening::kServe},
             {"refuse", Listening::kRefuse},
             {"never_connect", Listening::kNeverConnect},
             {"no_handshake", Listening::kNoHandshake},
             {"silent", Listening::kSilent},
             {"close", Listening::kClose},
             {"reset", Listening::kReset}});
  if (node.Has("certificate") && !server.https) {
    node.At("certificate").Fail("needs the scheme \"https\".");
  }
  node.Read("certificate", server.certificate,
            {{"self_signed", Certificate::kSelfSigned},
             {"wrong_name", Certificate::kWrongName},
             {"expired", Certificate::kExpired}});
  // What it answers, and how fast.
  node.Read("answers_per_s", server.answers_per_s);
  node.Read("queue", server.queue);
  if (node.Has("routes")) {
    for (const Node& item : node.At("routes").Items()) {
      server.routes.push_back(ReadRoute(item));
    }
  }
  return server;
}

constexpr int kMaxNesting = 100;

// Returns line and column of the byte, both counted from 1.
std::string Place(std::string_view text, size_t byte) {
  const std::string_view before = text.substr(0, std::min(byte == 0 ? 0 : byte - 1, text.size()));
  const size_t last_line = before.rfind('\n');
  const size_t column =
      last_line == std::string_view::npos ? before.size() : before.size() - last_line - 1;
  return "line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) +
         ", column " + std::to_string(column + 1);
}

// Refuses documents that the parser takes but we can't: two equal keys, of which it silently keeps
// one, and nesting so deep that a walk over it would overflow the stack.
class ShapeCheck {
 public:
  bool operator()(int depth, Json::parse_event_t event, const Json& value) {
    if (depth > kMaxNesting) {
      throw ScenarioError("scenario: is nested too deeply.");
    }
    if (event == Json::parse_event_t::object_start) {
      open_.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      open_.pop_back();
    } else if (event == Json::parse_event_t::key &&
               !open_.back().insert(value.get<std::string>()).second) {
      throw ScenarioError(value.get<std::string>() + ": appears twice in one object.");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> open_;  // keys of each object that is still open
};

// Keeps an error on one line, whatever keys and texts of the file it quotes.
std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
  return text;
}

}  // namespace

ScenarioError::ScenarioError(const std::string& what) : std::runtime_error(OneLine(what)) {}

Scenario Scenario::Parse(std::string_view json_text) {
  Json json;
  try {
    ShapeCheck check;
    json = Json::parse(json_text, std::ref(check));
  } catch (const Json::parse_error& error) {
    throw ScenarioError("scenario: is not JSON at " + Place(json_text, error.byte) + ".");
  } catch (const Json::out_of_range&) {
    throw ScenarioError("scenario: contains a number that is too large.");
  }
  const Node node(json, "");
  node.ExpectKeys({"description", "servers"}, "a scenario");
  std::string description;
  node.Read("description", description);
  Scenario scenario;
  for (const Node& item : node.At("servers").Items()) {
    scenario.servers.push_back(ReadServer(item));
  }
  scenario.Check();
  return scenario;
}

Scenario Scenario::ParseFile(const std::string& path) {
  std::ifstream file(Utf8Path(path), std::ios::binary);
  file.peek();  // opening a folder succeeds, reading it fails
  if (!file.is_open() || file.bad()) {
    throw ScenarioError(std::string("can't be read (") + std::strerror(errno) + ").");
  }
  std::ostringstream text;
  text << file.rdbuf();
  return Parse(text.str());
}

}  // namespace lab
