#include <utility>

#include "lab/scenario.h"

namespace lab {
namespace {

// Large enough that a reader's limit counts bytes and not pieces.
constexpr size_t kEndlessPieceBytes = 4096;

Behaviour Make(Behaviour::Kind kind) {
  Behaviour behaviour;
  behaviour.kind = kind;
  return behaviour;
}

}  // namespace

Behaviour& Behaviour::Field(std::string name, std::string value) {
  headers.emplace_back(std::move(name), std::move(value));
  return *this;
}

Behaviour& Behaviour::Framed(Framing value) {
  framing = value;
  return *this;
}

Behaviour& Behaviour::Reason(std::string value) {
  reason = std::move(value);
  return *this;
}

Behaviour& Behaviour::CloseAfter() {
  keep_alive = false;
  return *this;
}

Behaviour& Behaviour::Delayed(int ms) {
  delay_ms = ms;
  return *this;
}

Behaviour& Behaviour::HeadDripped(int ms_per_byte) {
  head_drip_ms = ms_per_byte;
  return *this;
}

Behaviour& Behaviour::InPieces(int count, int over_ms) {
  body_pieces = count;
  body_over_ms = over_ms;
  return *this;
}

Behaviour& Behaviour::Truncated(int bytes) {
  missing_bytes = bytes;
  return *this;
}

Behaviour& Behaviour::HeldAt(std::string gate) {
  hold = std::move(gate);
  return *this;
}

Behaviour Answer(int status, std::string body) {
  Behaviour behaviour;
  behaviour.status = status;
  behaviour.body = std::move(body);
  return behaviour;
}

Behaviour Answer(std::string body) {
  return Answer(200, std::move(body));
}

Behaviour Answer(HostBook hosts) {
  Behaviour behaviour = Answer(200);
  behaviour.hosts = std::move(hosts);
  return behaviour;
}

Behaviour Silent() {
  return Make(Behaviour::Kind::kSilent);
}

Behaviour CloseEarly() {
  return Make(Behaviour::Kind::kClose);
}

Behaviour Reset() {
  return Make(Behaviour::Kind::kReset);
}

Behaviour Garbage(std::string bytes) {
  Behaviour behaviour = Make(Behaviour::Kind::kGarbage);
  behaviour.body = std::move(bytes);
  return behaviour;
}

Behaviour Endless(int piece_every_ms, Framing framing) {
  Behaviour behaviour = Make(Behaviour::Kind::kEndless);
  behaviour.body.assign(kEndlessPieceBytes, 'x');
  behaviour.piece_every_ms = piece_every_ms;
  behaviour.framing = framing;
  return behaviour;
}

Behaviour Redirect(std::string location, int status) {
  Behaviour behaviour = Make(Behaviour::Kind::kRedirect);
  behaviour.status = status;
  behaviour.location = std::move(location);
  return behaviour;
}

Behaviour RedirectLoop(int status) {
  Behaviour behaviour = Make(Behaviour::Kind::kRedirectLoop);
  behaviour.status = status;
  return behaviour;
}

Server& Server::On(std::string path, Behaviour always) {
  routes.push_back({std::move(path), {std::move(always)}});
  return *this;
}

Server& Server::On(std::string path, std::initializer_list<Behaviour> in_turn) {
  routes.push_back({std::move(path), in_turn});
  return *this;
}

Server& Server::At(std::string ip) {
  address = std::move(ip);
  return *this;
}

Server& Server::OnPort(int number) {
  port = number;
  return *this;
}

Server& Server::OnPortOf(std::string server) {
  port_of = std::move(server);
  return *this;
}

Server& Server::Listens(Listening value) {
  listening = value;
  return *this;
}

Server& Server::Limited(int to_answers_per_s, int to_queue) {
  answers_per_s = to_answers_per_s;
  queue = to_queue;
  return *this;
}

Server HttpServer(std::string name) {
  Server server;
  server.name = std::move(name);
  return server;
}

Server HttpsServer(std::string name, Certificate certificate) {
  Server server = HttpServer(std::move(name));
  server.https = true;
  server.certificate = certificate;
  return server;
}

}  // namespace lab
