#include "lab/journal.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace lab {

Journal::Journal(const std::vector<std::string>& servers) {
  for (const std::string& server : servers) {
    connections_[server];
  }
}

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

std::vector<Request> Journal::RequestsOf(const std::string& server) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  OfLocked(server);
  std::vector<Request> of_server;
  std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(of_server),
               [&](const Request& request) { return request.server == server; });
  return of_server;
}

std::vector<Request> Journal::RequestsFor(const std::string& path) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Request> for_path;
  std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(for_path),
               [&](const Request& request) { return request.path == path; });
  return for_path;
}

void Journal::Forget() {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Request>().swap(requests_);  // frees the memory too, for tests that measure the heap
}

int Journal::Count() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

bool Journal::WaitForRequests(size_t count, Limit limit) const {
  return Wait(limit, [&] { return requests_.size() >= count; });
}

bool Journal::WaitForRequestsFor(const std::string& path, size_t count, Limit limit) const {
  const auto is_for_path = [&](const Request& request) { return request.path == path; };
  return Wait(limit, [&] {
    return static_cast<size_t>(std::count_if(requests_.begin(), requests_.end(), is_for_path)) >=
           count;
  });
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

const Journal::Connections& Journal::OfLocked(const std::string& server) const {
  const auto found = connections_.find(server);
  if (found == connections_.end()) {
    throw std::invalid_argument("the lab has no server \"" + server + "\"");
  }
  return found->second;
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

}  // namespace lab
