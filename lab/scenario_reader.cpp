#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <utility>

#include "lab/scenario.h"

namespace lab {
namespace {

using Json = nlohmann::ordered_json;  // header fields keep their order

template <class T>
using Names = std::initializer_list<std::pair<const char*, T>>;

// A JSON value with the key that errors about it begin with.
class Node {
 public:
  Node(const Json& value, std::string key) : value_(value), key_(std::move(key)) {}

  [[noreturn]] void Fail(const std::string& what) const {
    throw ScenarioError((key_.empty() ? "scenario" : key_) + ": " + what);
  }

  // Requires an object all of whose keys are among `allowed`.
  void ExpectKeys(std::initializer_list<const char*> allowed, const std::string& of_what) const {
    ExpectObject();
    for (const auto& [name, child] : value_.items()) {
      if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
        Node(child, Below(name)).Fail("is no key of " + of_what + ".");
      }
    }
  }

  bool Has(const char* name) const { return value_.contains(name); }

  Node At(const char* name) const {
    const auto found = value_.find(name);
    if (found == value_.end()) {
      throw ScenarioError(Below(name) + ": is missing.");
    }
    return {*found, Below(name)};
  }

  std::vector<Node> Items() const {
    if (!value_.is_array()) {
      Fail("must be a list.");
    }
    std::vector<Node> items;
    for (const Json& item : value_) {
      items.emplace_back(item, key_ + "[" + std::to_string(items.size()) + "]");
    }
    return items;
  }

  std::vector<std::pair<std::string, Node>> Members() const {
    ExpectObject();
    std::vector<std::pair<std::string, Node>> members;
    for (const auto& [name, child] : value_.items()) {
      members.emplace_back(name, Node(child, Below(name)));
    }
    return members;
  }

  bool IsList() const { return value_.is_array(); }
  std::string Dump() const { return value_.dump(); }

  void Read(const char* name, std::string& to) const {
    if (Has(name)) {
      to = At(name).Text();
    }
  }

  void Read(const char* name, int& to) const {
    if (Has(name)) {
      to = At(name).Number();
    }
  }

  void Read(const char* name, bool& to) const {
    if (!Has(name)) {
      return;
    }
    const Node node = At(name);
    if (!node.value_.is_boolean()) {
      node.Fail("must be true or false.");
    }
    to = node.value_.get<bool>();
  }

  template <class T>
  void Read(const char* name, T& to, Names<T> names) const {
    if (!Has(name)) {
      return;
    }
    const Node node = At(name);
    const std::string text = node.Text();
    std::string all;
    for (const auto& [known, value] : names) {
      if (text == known) {
        to = value;
        return;
      }
      all.append(all.empty() ? "\"" : ", \"").append(known).append("\"");
    }
    node.Fail("must be one of " + all + ", not \"" + text + "\".");
  }

  std::string Text() const {
    if (!value_.is_string()) {
      Fail("must be a text.");
    }
    return value_.get<std::string>();
  }

 private:
  std::string Below(const std::string& name) const {
    return key_.empty() ? name : key_ + "." + name;
  }

  void ExpectObject() const {
    if (!value_.is_object()) {
      Fail("must be an object.");
    }
  }

  int Number() const {
    const bool fits =
        value_.is_number_integer() &&
        (!value_.is_number_unsigned() || value_.get<uint64_t>() <= uint64_t{INT_MAX}) &&
        value_.get<int64_t>() >= INT_MIN && value_.get<int64_t>() <= INT_MAX;
    if (!fits) {
      Fail("must be a whole number below 2^31.");
    }
    return value_.get<int>();
  }

  const Json& value_;
  std::string key_;
};

// Keys that say how a head is sent, for all kinds that have one.
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

Behaviour ReadAnswer(const Node& node) {
  node.ExpectKeys({"do", "hold", "delay_ms", "status", "reason", "headers", "keep_alive",
                   "head_drip_ms", "body", "json", "framing", "pieces", "over_ms", "missing_bytes"},
                  "the behaviour \"answer\"");
  Behaviour b = Answer(200);
  ReadHead(node, b);
  ReadFraming(node, b.framing);
  if (node.Has("body") && node.Has("json")) {
    node.At("json").Fail("must not stand beside \"body\".");
  }
  node.Read("body", b.body);
  if (node.Has("json")) {
    b.body = node.At("json").Dump();
  }
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
  node.Members();  // an object, whatever it does
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
  node.ExpectKeys({"name", "scheme", "address", "port", "certificate", "listening", "routes"},
                  "a server");
  Server server = HttpServer(node.At("name").Text());
  node.Read("scheme", server.https, {{"http", false}, {"https", true}});
  node.Read("address", server.address);
  node.Read("port", server.port);
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
  if (node.Has("routes")) {
    for (const Node& item : node.At("routes").Items()) {
      server.routes.push_back(ReadRoute(item));
    }
  }
  return server;
}

// Line and column of the byte, both from 1.
std::string Place(std::string_view text, size_t byte) {
  const std::string_view before = text.substr(0, std::min(byte == 0 ? 0 : byte - 1, text.size()));
  const size_t last_line = before.rfind('\n');
  const size_t column =
      last_line == std::string_view::npos ? before.size() : before.size() - last_line - 1;
  return "line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) +
         ", column " + std::to_string(column + 1);
}

// The parser would keep the first of two equal keys without a word.
class EqualKeys {
 public:
  bool operator()(int, Json::parse_event_t event, const Json& value) {
    if (event == Json::parse_event_t::object_start) {
      open_.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      open_.pop_back();
    } else if (event == Json::parse_event_t::key &&
               !open_.back().insert(value.get<std::string>()).second) {
      throw ScenarioError(value.get<std::string>() + ": stands twice in one object.");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> open_;  // one per object that isn't closed yet
};

}  // namespace

Scenario Scenario::Parse(std::string_view json_text) {
  Json json;
  try {
    EqualKeys equal_keys;
    json = Json::parse(json_text, std::ref(equal_keys));
  } catch (const Json::parse_error& error) {
    throw ScenarioError("scenario: is no JSON, from " + Place(json_text, error.byte) + " on.");
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
  std::ifstream file(path, std::ios::binary);
  file.peek();  // opening a folder succeeds, reading it doesn't
  if (!file.is_open() || file.bad()) {
    throw ScenarioError(path + ": can't be read (" + std::strerror(errno) + ").");
  }
  std::ostringstream text;
  text << file.rdbuf();
  return Parse(text.str());
}

}  // namespace lab
