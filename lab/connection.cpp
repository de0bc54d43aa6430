#include "lab/connection.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "lab/plan.h"

namespace lab {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

constexpr size_t kMostHeadBytes = size_t{64} << 10;
constexpr size_t kMostBodyBytes = size_t{64} << 20;
// How long the end of a TLS connection waits for the peer's own before the plain end follows.
constexpr std::chrono::milliseconds kTlsEndLimit{200};

// Fields of a complete head, with their bytes as they came.
std::vector<HeaderField> SplitFields(const std::string& head) {
  std::vector<HeaderField> fields;
  size_t begin = head.find("\r\n") + 2;
  for (size_t end = head.find("\r\n", begin); end != std::string::npos && end > begin;
       begin = end + 2, end = head.find("\r\n", begin)) {
    const std::string line = head.substr(begin, end - begin);
    const size_t colon = line.find(':');
    if (colon != std::string::npos) {
      const size_t value = line.find_first_not_of(" \t", colon + 1);
      fields.emplace_back(line.substr(0, colon),
                          value == std::string::npos ? "" : line.substr(value));
    }
  }
  return fields;
}

class ConnectionImpl : public Connection, public std::enable_shared_from_this<ConnectionImpl> {
 public:
  ConnectionImpl(tcp::socket socket, ServerContext& context)
      : context_(context),
        number_(context.journal.Opened(context.server.name)),
        socket_(std::move(socket)),
        timer_(socket_.get_executor()) {
    if (context_.tls != nullptr) {
      tls_.emplace(socket_, *context_.tls);
    }
  }
  ~ConnectionImpl() override {
    LeaveGate();
    tls_.reset();
    error_code ignored;
    socket_.close(ignored);
    context_.journal.Closed(context_.server.name);
  }

  void Begin() override;
  void ResetNow() override;

 private:
  enum class State { kReadingRequest, kHeld, kPlaying, kStaying, kEnding, kOver };
  using Parser = http::request_parser<http::string_body>;

  // The handlers' common part: they hold the connection and do nothing once it is over.
  template <class... Args>
  auto Handler(void (ConnectionImpl::*method)(Args...)) {
    return [self = shared_from_this(), method](Args... args) {
      if (self->state_ != State::kOver) {
        (self.get()->*method)(args...);
      }
    };
  }

  void OnHandshake(error_code error);
  void Stay();
  void Read();
  void OnRead(error_code error, size_t size);
  void TakeRequest();
  void TakeHead(size_t head_bytes);
  void RecordMalformed();
  void RefuseMalformed();
  void OnRequest();
  void Play(Plan plan);
  void OnGate();
  void LeaveGate();
  void NextStep();
  void OnDue(error_code error);
  void OnWritten(error_code error, size_t size);
  void EndPlan();
  void CloseInOrder();
  void OnTlsEnd(error_code error);
  void Finish();

  ServerContext& context_;
  const int number_;
  tcp::socket socket_;
  std::optional<asio::ssl::stream<tcp::socket&>> tls_;
  asio::steady_timer timer_;
  State state_ = State::kReadingRequest;
  std::array<char, 16384> buffer_{};
  std::string inbox_;  // came, not yet taken
  std::optional<Parser> parser_;
  Request request_;
  Plan plan_;
  size_t step_ = 0;
  std::chrono::steady_clock::time_point due_;
  const Plan::Step* current_ = nullptr;
  uint64_t ticket_ = 0;
};

void ConnectionImpl::Begin() {
  switch (context_.server.listening) {
    case Listening::kReset:
      return ResetNow();
    case Listening::kClose:
      tls_.reset();  // no handshake, so no end of one either
      Read();
      return CloseInOrder();
    case Listening::kNoHandshake:
      tls_.reset();
      return Stay();
    default:
      break;
  }
  if (tls_.has_value()) {
    return tls_->async_handshake(asio::ssl::stream_base::server,
                                 Handler(&ConnectionImpl::OnHandshake));
  }
  OnHandshake({});
}

void ConnectionImpl::OnHandshake(error_code error) {
  if (error) {
    return Finish();
  }
  if (tls_.has_value()) {
    const char* name = SSL_get_servername(tls_->native_handle(), TLSEXT_NAMETYPE_host_name);
    request_.sni = name == nullptr ? "" : name;
  }
  if (context_.server.listening == Listening::kSilent) {
    return Stay();
  }
  Read();
}

void ConnectionImpl::Stay() {
  state_ = State::kStaying;
  Read();
}

// One read is always pending, so that the end of the peer is seen in each state.
void ConnectionImpl::Read() {
  if (tls_.has_value()) {
    tls_->async_read_some(asio::buffer(buffer_), Handler(&ConnectionImpl::OnRead));
  } else {
    socket_.async_read_some(asio::buffer(buffer_), Handler(&ConnectionImpl::OnRead));
  }
}

void ConnectionImpl::OnRead(error_code error, size_t size) {
  if (error) {
    // A client that ends its side is taken as gone, so that nothing is played to nobody.
    if (state_ == State::kReadingRequest && (!inbox_.empty() || parser_.has_value())) {
      RecordMalformed();
    }
    return Finish();
  }
  if (state_ == State::kReadingRequest || state_ == State::kHeld || state_ == State::kPlaying) {
    inbox_.append(buffer_.data(), size);
  }
  if (inbox_.size() > kMostBodyBytes) {
    return Finish();
  }
  if (state_ == State::kReadingRequest) {
    TakeRequest();
  }
  if (state_ != State::kOver) {
    Read();
  }
}

void ConnectionImpl::TakeRequest() {
  if (!parser_.has_value()) {
    const size_t end = inbox_.find("\r\n\r\n");
    if (end == std::string::npos) {
      return inbox_.size() > kMostHeadBytes ? RefuseMalformed() : void();
    }
    TakeHead(end + 4);
  }
  error_code error;
  while (!error && !inbox_.empty() && !parser_->is_done()) {
    inbox_.erase(0, parser_->put(asio::buffer(inbox_), error));
  }
  if (parser_->is_done()) {
    return OnRequest();
  }
  if (error && error != http::error::need_more) {
    RefuseMalformed();
  }
}

void ConnectionImpl::TakeHead(size_t head_bytes) {
  parser_.emplace();
  parser_->eager(true);
  parser_->header_limit(static_cast<uint32_t>(kMostHeadBytes));
  parser_->body_limit(kMostBodyBytes);
  request_.raw_head = inbox_.substr(0, head_bytes);
}

void ConnectionImpl::RecordMalformed() {
  Request refused;
  refused.server = context_.server.name;
  refused.connection = number_;
  refused.sni = request_.sni;
  refused.malformed = true;
  refused.raw_head = parser_.has_value() ? request_.raw_head : inbox_;
  parser_.reset();
  inbox_.clear();
  context_.journal.Add(refused);
  if (context_.observer) {
    context_.observer(refused);
  }
}

void ConnectionImpl::RefuseMalformed() {
  RecordMalformed();
  Play(MakePlan(Answer(400, "malformed request\n").CloseAfter(), {}));
}

void ConnectionImpl::OnRequest() {
  const auto& message = parser_->get();
  request_.server = context_.server.name;
  request_.connection = number_;
  request_.method = std::string(message.method_string());
  request_.target = std::string(message.target());
  const size_t mark = std::min(request_.target.find('?'), request_.target.size());
  request_.path = request_.target.substr(0, mark);
  request_.query = mark < request_.target.size() ? request_.target.substr(mark + 1) : "";
  request_.headers = SplitFields(request_.raw_head);
  request_.body = message.body();
  const bool keep_alive = message.keep_alive();
  parser_.reset();
  context_.journal.Add(request_);
  const Behaviour behaviour = context_.script.Next(context_.server.name, request_.path);
  if (context_.observer) {
    context_.observer(request_);
  }
  if (state_ != State::kOver) {  // the observer may have stopped the server
    Play(MakePlan(behaviour, {request_.method, request_.path, request_.query, keep_alive,
                              context_.journal.Count()}));
  }
}

void ConnectionImpl::Play(Plan plan) {
  plan_ = std::move(plan);
  step_ = 0;
  if (!plan_.gate.empty()) {
    state_ = State::kHeld;
    // Let go on another thread; the connection may be over by then.
    ticket_ = context_.journal.Hold(plan_.gate,
                                    [executor = socket_.get_executor(), weak = weak_from_this()] {
                                      asio::post(executor, [weak] {
                                        if (const auto self = weak.lock()) {
                                          self->OnGate();
                                        }
                                      });
                                    });
    if (ticket_ != 0) {
      return;
    }
  }
  state_ = State::kPlaying;
  due_ = std::chrono::steady_clock::now();
  NextStep();
}

void ConnectionImpl::OnGate() {
  if (state_ == State::kHeld) {
    ticket_ = 0;
    state_ = State::kPlaying;
    due_ = std::chrono::steady_clock::now();
    NextStep();
  }
}

void ConnectionImpl::LeaveGate() {
  if (ticket_ != 0) {
    context_.journal.Unhold(plan_.gate, std::exchange(ticket_, 0));
  }
}

void ConnectionImpl::NextStep() {
  if (step_ < plan_.steps.size()) {
    current_ = &plan_.steps[step_];
  } else if (!plan_.repeated.bytes.empty()) {
    current_ = &plan_.repeated;
  } else {
    return EndPlan();
  }
  ++step_;
  due_ += std::chrono::milliseconds(current_->delay_ms);
  if (current_->delay_ms == 0) {
    return OnDue({});
  }
  timer_.expires_at(due_);
  timer_.async_wait(Handler(&ConnectionImpl::OnDue));
}

void ConnectionImpl::OnDue(error_code error) {
  if (error) {
    return;
  }
  if (tls_.has_value()) {
    asio::async_write(*tls_, asio::buffer(current_->bytes), Handler(&ConnectionImpl::OnWritten));
  } else {
    asio::async_write(socket_, asio::buffer(current_->bytes), Handler(&ConnectionImpl::OnWritten));
  }
}

void ConnectionImpl::OnWritten(error_code error, size_t) {
  return error ? Finish() : NextStep();
}

void ConnectionImpl::EndPlan() {
  switch (plan_.end) {
    case Plan::End::kReset:
      return ResetNow();
    case Plan::End::kClose:
      return CloseInOrder();
    case Plan::End::kStay:
      state_ = State::kStaying;
      return;
    case Plan::End::kNextRequest:
      break;
  }
  state_ = State::kReadingRequest;
  if (!inbox_.empty()) {
    TakeRequest();
  }
}

// Ours is ended now; the connection itself ends with the peer's side, since closing while bytes of
// the peer come in would reset it and could take our last bytes with it.
void ConnectionImpl::CloseInOrder() {
  state_ = State::kEnding;
  if (!tls_.has_value()) {
    return OnTlsEnd({});
  }
  tls_->async_shutdown(Handler(&ConnectionImpl::OnTlsEnd));
  timer_.expires_after(kTlsEndLimit);
  timer_.async_wait(Handler(&ConnectionImpl::OnTlsEnd));
}

void ConnectionImpl::OnTlsEnd(error_code) {
  error_code ignored;
  socket_.shutdown(tcp::socket::shutdown_send, ignored);
}

void ConnectionImpl::ResetNow() {
  error_code ignored;
  socket_.set_option(asio::socket_base::linger(true, 0), ignored);
  Finish();
}

// Closes the socket, which ends all pending operations; their handlers hold the object so long.
void ConnectionImpl::Finish() {
  state_ = State::kOver;
  LeaveGate();
  timer_.cancel();
  error_code ignored;
  socket_.close(ignored);
}

}  // namespace

std::shared_ptr<Connection> Connection::Make(tcp::socket socket, ServerContext& context) {
  return std::make_shared<ConnectionImpl>(std::move(socket), context);
}

}  // namespace lab
