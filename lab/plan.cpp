#include "lab/plan.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace lab {
namespace {

const char* UsualReason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 301:
      return "Moved Permanently";
    case 302:
      return "Found";
    case 307:
      return "Temporary Redirect";
    case 400:
      return "Bad Request";
    case 404:
      return "Not Found";
    case 500:
      return "Internal Server Error";
    case 503:
      return "Service Unavailable";
    default:
      return "Scripted";
  }
}

bool HasField(const Behaviour& b, const std::string& name) {
  Request fields;
  fields.headers = b.headers;
  return fields.Header(name) != nullptr;
}

std::string Chunk(const std::string& bytes) {
  char size[32];
  const int length = std::snprintf(size, sizeof(size), "%zx\r\n", bytes.size());
  return std::string(size, static_cast<size_t>(length)) + bytes + "\r\n";
}

// Writes status line and fields. A field that the script sets is not added again.
std::string Head(const Behaviour& b, const PlanInput& request, bool has_body, bool keep_alive) {
  std::string head = "HTTP/1.1 " + std::to_string(b.status) + " " +
                     (b.reason.empty() ? UsualReason(b.status) : b.reason) + "\r\n";
  const auto add = [&](const std::string& name, const std::string& value) {
    if (!HasField(b, name)) {
      head.append(name).append(": ").append(value).append("\r\n");
    }
  };
  if (b.kind == Behaviour::Kind::kRedirect) {
    add("Location", b.location);
  } else if (b.kind == Behaviour::Kind::kRedirectLoop) {
    add("Location", request.path + "?hop=" + std::to_string(request.number));
  }
  for (const auto& [name, value] : b.headers) {
    head.append(name).append(": ").append(value).append("\r\n");
  }
  if (has_body && b.framing == Framing::kChunked) {
    add("Transfer-Encoding", "chunked");
  } else if (has_body && b.framing == Framing::kLength) {
    add("Content-Length", std::to_string(b.body.size() + static_cast<size_t>(b.missing_bytes)));
  }
  add("Connection", keep_alive ? "keep-alive" : "close");
  return head + "\r\n";
}

void AddHead(const std::string& head, int drip_ms, Plan& plan) {
  if (drip_ms == 0) {
    plan.steps.push_back({0, head});
    return;
  }
  for (const char byte : head) {
    plan.steps.push_back({plan.steps.empty() ? 0 : drip_ms, std::string(1, byte)});
  }
}

void AddBody(const Behaviour& b, Plan& plan) {
  const bool chunked = b.framing == Framing::kChunked;
  const auto count = static_cast<size_t>(b.body_pieces);
  int due_ms = 0;
  for (size_t i = 0; i < count; ++i) {
    const size_t from = b.body.size() * i / count;
    const std::string piece = b.body.substr(from, b.body.size() * (i + 1) / count - from);
    const auto at_ms =
        static_cast<int>(static_cast<long long>(b.body_over_ms) * static_cast<long long>(i + 1) /
                         static_cast<long long>(count));
    if (!piece.empty()) {
      plan.steps.push_back({at_ms - due_ms, chunked ? Chunk(piece) : piece});
      due_ms = at_ms;
    }
  }
  if (chunked && b.missing_bytes == 0) {
    plan.steps.push_back({0, "0\r\n\r\n"});
  }
}

void AddAnswer(const Behaviour& b, const PlanInput& request, Plan& plan) {
  const bool status_has_body = b.status >= 200 && b.status != 204 && b.status != 304;
  const bool ends_open = b.kind != Behaviour::Kind::kEndless && b.missing_bytes == 0 &&
                         (b.framing != Framing::kUntilClose || !status_has_body);
  const bool keep_alive = b.keep_alive && request.keep_alive && ends_open;
  AddHead(Head(b, request, status_has_body, keep_alive), b.head_drip_ms, plan);
  plan.end = keep_alive ? Plan::End::kNextRequest : Plan::End::kClose;
  if (!status_has_body || request.method == "HEAD") {
    return;
  }
  if (b.kind == Behaviour::Kind::kEndless) {
    plan.repeated = {b.piece_every_ms, b.framing == Framing::kChunked ? Chunk(b.body) : b.body};
    return;
  }
  AddBody(b, plan);
}

// Sets the body of a behaviour that answers from a book of hosts.
Behaviour WithBody(Behaviour b, const std::string& query) {
  if (b.hosts.has_value()) {
    b.body = b.hosts->AnswerTo(query);
  }
  return b;
}

}  // namespace

Plan MakePlan(const Behaviour& behaviour, const PlanInput& request) {
  // The bytes and the end.
  Plan plan;
  plan.gate = behaviour.hold;
  switch (behaviour.kind) {
    case Behaviour::Kind::kSilent:
      plan.end = Plan::End::kStay;
      break;
    case Behaviour::Kind::kClose:
      plan.end = Plan::End::kClose;
      break;
    case Behaviour::Kind::kReset:
      plan.end = Plan::End::kReset;
      break;
    case Behaviour::Kind::kGarbage:
      plan.steps.push_back({0, behaviour.body});
      plan.end = Plan::End::kClose;
      break;
    case Behaviour::Kind::kAnswer:
      AddAnswer(WithBody(behaviour, request.query), request, plan);
      break;
    case Behaviour::Kind::kEndless:
    case Behaviour::Kind::kRedirect:
    case Behaviour::Kind::kRedirectLoop:
      AddAnswer(behaviour, request, plan);
      break;
  }
  // The delay before the first of them.
  if (behaviour.delay_ms > 0) {
    plan.steps.insert(plan.steps.begin(), Plan::Step{behaviour.delay_ms, ""});
  }
  return plan;
}

}  // namespace lab
