#include "lab/script.h"

#include <algorithm>

namespace lab {

void Script::Set(const std::string& server, const std::string& path,
                 std::vector<Behaviour> behaviours) {
  const std::lock_guard<std::mutex> lock(mutex_);
  turns_[{server, path}] = {std::move(behaviours), 0};
}

Behaviour Script::Next(const std::string& server, const std::string& path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = turns_.find({server, path});
  if (found == turns_.end()) {
    return Answer(404, "no such route\n");
  }
  Turn& turn = found->second;
  const size_t now = turn.next;
  turn.next = std::min(turn.next + 1, turn.behaviours.size() - 1);
  return turn.behaviours[now];
}

}  // namespace lab
