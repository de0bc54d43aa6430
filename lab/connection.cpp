#include "lab/connection.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "lab/plan.h"
#include "lab/request_reader.h"

namespace lab {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

// How long a TLS shutdown waits for the peer's own before the TCP shutdown follows.
constexpr std::chrono::milliseconds kTlsShutdownLimit{200};

// Takes one request at a time and carries out its plan:
//   - If the plan has a gate, the request is held there until the gate opens. Meanwhile the
//     connection has a ticket, with which it gives up its place when it ends early.
//   - It then plays the plan, that is, it writes the bytes of each step when they are due.
//   - At the plan's end it takes the next request, closes, resets, or stays: open and silent.
// It reads all the time, so that it sees the peer's end at once.
class ConnectionImpl : public Connection, public std::enable_shared_from_this<ConnectionImpl> {
 public:
  ConnectionImpl(tcp::socket socket, ServerContext& context)
      : context_(context),
        number_(context.journal.Opened(context.server.name)),
        socket_(std::move(socket)),
        timer_(socket_.get_executor()) {
    if (context_.tls != nullptr) {
      tls_ = context_.tls->Wrap(socket_);
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
  enum class State { kReadingRequest, kHeld, kPlaying, kStaying, kClosing, kClosed };

  // Wraps a handler: it keeps the connection alive, and does nothing once that is closed.
  template <class... Args>
  auto Handler(void (ConnectionImpl::*method)(Args...)) {
    return [self = shared_from_this(), method](Args... args) {
      if (self->state_ != State::kClosed) {
        (self.get()->*method)(args...);
      }
    };
  }

  void OnHandshake(error_code error);
  void Stay();
  void Read();
  void OnRead(error_code error, size_t size);
  void TakeRequest();
  void Record(Request& request);
  void RecordMalformed();
  void OnRequest(Request& request);
  void Play(Plan plan);
  void OnGate();
  void LeaveGate();
  void BeginSteps();
  void NextStep();
  void OnDue(error_code error);
  void OnWritten(error_code error, size_t size);
  void EndPlan();
  void Close();
  void ShutDownSending(error_code error);
  void Finish();

  ServerContext& context_;
  const int number_;
  tcp::socket socket_;
  std::unique_ptr<TlsStream> tls_;  // null once the connection is a plain one
  asio::steady_timer timer_;
  State state_ = State::kReadingRequest;
  std::array<char, 16384> buffer_{};
  RequestReader reader_;
  std::string sni_;
  Plan plan_;
  size_t step_ = 0;                            // number of the next step
  const Plan::Step* current_ = nullptr;        // the step that is being played
  std::chrono::steady_clock::time_point due_;  // when it is due
  uint64_t ticket_ = 0;  // at the gate of the plan; 0 if it doesn't wait there
};

void ConnectionImpl::Begin() {
  switch (context_.server.listening) {
    case Listening::kReset:
      return ResetNow();
    case Listening::kClose:
      tls_.reset();  // no handshake, so no TLS shutdown either
      Read();
      return Close();
    case Listening::kNoHandshake:
      tls_.reset();
      return Stay();
    default:
      break;
  }
  if (tls_ != nullptr) {
    return tls_->Handshake(Handler(&ConnectionImpl::OnHandshake));
  }
  OnHandshake({});
}

void ConnectionImpl::OnHandshake(error_code error) {
  if (error) {
    return Finish();
  }
  if (tls_ != nullptr) {
    sni_ = tls_->ServerName();
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

// Starts a read. One is pending from the handshake to the end of the connection.
void ConnectionImpl::Read() {
  if (tls_ != nullptr) {
    tls_->ReadSome(asio::buffer(buffer_), Handler(&ConnectionImpl::OnRead));
  } else {
    socket_.async_read_some(asio::buffer(buffer_), Handler(&ConnectionImpl::OnRead));
  }
}

void ConnectionImpl::OnRead(error_code error, size_t size) {
  if (error) {
    // A client that ends its side counts as gone, so nothing more is played to it.
    if (state_ == State::kReadingRequest && reader_.HasPart()) {
      RecordMalformed();
    }
    return Finish();
  }
  if (state_ == State::kReadingRequest || state_ == State::kHeld || state_ == State::kPlaying) {
    reader_.Append(buffer_.data(), size);
  }
  if (reader_.IsOverfull()) {
    return Finish();
  }
  if (state_ == State::kReadingRequest) {
    TakeRequest();
  }
  if (state_ != State::kClosed) {
    Read();
  }
}

void ConnectionImpl::TakeRequest() {
  Request request;
  switch (reader_.Next(request)) {
    case RequestReader::Result::kIncomplete:
      return;
    case RequestReader::Result::kRequest:
      return OnRequest(request);
    case RequestReader::Result::kMalformed:
      RecordMalformed();
      return Play(MakePlan(Answer(400, "malformed request\n").CloseAfter(), {}));
  }
}

void ConnectionImpl::Record(Request& request) {
  request.server = context_.server.name;
  request.connection = number_;
  request.sni = sni_;
  context_.journal.Add(request);
}

void ConnectionImpl::RecordMalformed() {
  Request request;
  request.malformed = true;
  request.raw_head = reader_.TakeMalformed();
  Record(request);
  if (context_.observer) {
    context_.observer(request);
  }
}

void ConnectionImpl::OnRequest(Request& request) {
  Record(request);
  const std::optional<int> wait_ms = context_.queue.Add(AnswerQueue::Clock::now());
  const Behaviour behaviour = wait_ms ? context_.script.Next(context_.server.name, request.path)
                                      : Answer(503, "the queue is full\n");
  if (context_.observer) {
    context_.observer(request);
  }
  Plan plan = MakePlan(behaviour, {request.method, request.path, request.query,
                                   reader_.keep_alive(), context_.journal.Count()});
  if (wait_ms.value_or(0) > 0) {
    plan.steps.insert(plan.steps.begin(), Plan::Step{*wait_ms, ""});
  }
  Play(std::move(plan));
}

void ConnectionImpl::Play(Plan plan) {
  if (state_ == State::kClosed) {
    return;  // the observer has stopped the server
  }
  plan_ = std::move(plan);
  step_ = 0;
  if (!plan_.gate.empty()) {
    state_ = State::kHeld;
    // The gate opens on another thread. The connection may be gone by then.
    ticket_ = context_.gates.Hold(plan_.gate,
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
  BeginSteps();
}

void ConnectionImpl::OnGate() {
  if (state_ == State::kHeld) {
    ticket_ = 0;
    BeginSteps();
  }
}

void ConnectionImpl::LeaveGate() {
  if (ticket_ != 0) {
    context_.gates.Unhold(plan_.gate, std::exchange(ticket_, 0));
  }
}

void ConnectionImpl::BeginSteps() {
  state_ = State::kPlaying;
  due_ = std::chrono::steady_clock::now();
  NextStep();
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
  if (tls_ != nullptr) {
    tls_->Write(asio::buffer(current_->bytes), Handler(&ConnectionImpl::OnWritten));
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
      return Close();
    case Plan::End::kStay:
      state_ = State::kStaying;
      return;
    case Plan::End::kNextRequest:
      state_ = State::kReadingRequest;
      return TakeRequest();
  }
}

// Ends our side: after the TLS shutdown, or at its time limit, the TCP one. The socket is closed
// only after the peer's end: closing it while bytes come in would reset the connection, and could
// lose our last bytes.
void ConnectionImpl::Close() {
  state_ = State::kClosing;
  if (tls_ == nullptr) {
    return ShutDownSending({});
  }
  tls_->Shutdown(Handler(&ConnectionImpl::ShutDownSending));
  timer_.expires_after(kTlsShutdownLimit);
  timer_.async_wait(Handler(&ConnectionImpl::ShutDownSending));
}

void ConnectionImpl::ShutDownSending(error_code) {
  error_code ignored;
  socket_.shutdown(tcp::socket::shutdown_send, ignored);
}

void ConnectionImpl::ResetNow() {
  error_code ignored;
  socket_.set_option(asio::socket_base::linger(true, 0), ignored);
  Finish();
}

// Closes the socket, which ends all pending operations. Their handlers hold the object until then.
void ConnectionImpl::Finish() {
  state_ = State::kClosed;
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
