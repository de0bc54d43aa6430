#include "lab/gates.h"

#include <utility>

namespace lab {

uint64_t Gates::Hold(const std::string& gate, std::function<void()> go) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (gates_[gate].open) {
    return 0;
  }
  gates_[gate].held.emplace(++last_ticket_, std::move(go));
  changed_.notify_all();
  return last_ticket_;
}

void Gates::Unhold(const std::string& gate, uint64_t ticket) {
  const std::lock_guard<std::mutex> lock(mutex_);
  gates_[gate].held.erase(ticket);
}

bool Gates::WaitForHeld(const std::string& gate, int at_least, Limit limit) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, limit, [&] {
    const auto found = gates_.find(gate);
    const size_t held = found == gates_.end() ? 0 : found->second.held.size();
    return static_cast<int>(held) >= at_least;
  });
}

int Gates::Release(const std::string& gate) {
  return LetPass(gate, false);
}

void Gates::Open(const std::string& gate) {
  LetPass(gate, true);
}

int Gates::LetPass(const std::string& gate, bool for_good) {
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

}  // namespace lab
