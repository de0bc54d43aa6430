#include "lab/journal.h"

#include <utility>

namespace lab {

void Journal::Add(Request& request) {
  const auto since = std::chrono::steady_clock::now() - begin_;
  request.at_ms = std::chrono::duration_cast<std::chrono::milliseconds>(since).count();
  const std::lock_guard<std::mutex> lock(mutex_);
  requests_.push_back(request);
  ++count_;
  changed_.notify_all();
}

std::vector<Request> Journal::Requests() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

void Journal::Forget() {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Request>().swap(requests_);  // frees the memory too, for tests that measure the heap
}

int Journal::Count() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

bool Journal::WaitFor(const std::function<bool(const std::vector<Request>&)>& predicate,
                      Limit limit) const {
  return Wait(limit, [&] { return predicate(requests_); });
}

int Journal::Opened(const std::string& server) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++connections_[server].accepted;
  ++connections_[server].open;
  changed_.notify_all();
  return ++last_connection_;
}

void Journal::Closed(const std::string& server) {
  const std::lock_guard<std::mutex> lock(mutex_);
  --connections_[server].open;
  changed_.notify_all();
}

Journal::Connections Journal::OfLocked(const std::string& server) const {
  const auto found = connections_.find(server);
  return found == connections_.end() ? Connections() : found->second;
}

int Journal::Accepted(const std::string& server) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return OfLocked(server).accepted;
}

int Journal::Open(const std::string& server) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return OfLocked(server).open;
}

bool Journal::WaitForAccepted(const std::string& server, int at_least, Limit limit) const {
  return Wait(limit, [&] { return OfLocked(server).accepted >= at_least; });
}

bool Journal::WaitForOpen(const std::string& server, int exactly, Limit limit) const {
  return Wait(limit, [&] { return OfLocked(server).open == exactly; });
}

uint64_t Journal::Hold(const std::string& gate, std::function<void()> go) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (gates_[gate].open) {
    return 0;
  }
  gates_[gate].held.emplace(++last_ticket_, std::move(go));
  changed_.notify_all();
  return last_ticket_;
}

void Journal::Unhold(const std::string& gate, uint64_t ticket) {
  const std::lock_guard<std::mutex> lock(mutex_);
  gates_[gate].held.erase(ticket);
}

int Journal::Release(const std::string& gate, bool for_good) {
  std::map<uint64_t, std::function<void()>> held;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    held.swap(gates_[gate].held);
    gates_[gate].open = gates_[gate].open || for_good;
  }
  for (const auto& [ticket, go] : held) {
    go();
  }
  return static_cast<int>(held.size());
}

bool Journal::WaitForHeld(const std::string& gate, int at_least, Limit limit) const {
  return Wait(limit, [&] {
    const auto found = gates_.find(gate);
    const size_t held = found == gates_.end() ? 0 : found->second.held.size();
    return static_cast<int>(held) >= at_least;
  });
}

}  // namespace lab
