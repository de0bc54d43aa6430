#include "tools/history/transfers.h"

#include <algorithm>
#include <cstdlib>

namespace history {

namespace {

// Times of two threads that are this close don't say which came first.
constexpr int64_t kNearMs = 100;

char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Returns the URL as the workers show it: with its port, without user info, query and fragment.
std::string ShownUrl(std::string_view url) {
  url = url.substr(0, url.find_first_of("?#"));
  const size_t scheme_end = url.find("://");
  if (scheme_end == std::string_view::npos) {
    return std::string(url);
  }
  const size_t begin = scheme_end + 3;
  const size_t path_begin = std::min(url.find('/', begin), url.size());
  std::string origin(url.substr(0, path_begin));
  std::transform(origin.begin(), origin.end(), origin.begin(), ToLower);
  if (const size_t user_end = origin.rfind('@'); user_end != std::string::npos) {
    origin.erase(begin, user_end + 1 - begin);
  }
  const size_t port = origin.find(':', std::max(begin, origin.rfind(']') + 1));
  if (port == std::string::npos) {
    origin += origin.starts_with("https:") ? ":443" : ":80";
  }
  const std::string_view path = url.substr(path_begin);
  return origin.append(path.empty() ? "/" : path);
}

}  // namespace

void Transfers::Take(const Line& line) {
  std::string_view rest = line.text;
  const size_t url_end = rest.rfind(" failed: ");
  if (!rest.starts_with("[transfer] ") || url_end == std::string_view::npos) {
    return;
  }
  Failure failure;
  const std::string_view url = rest.substr(0, url_end).substr(sizeof "[transfer]");
  rest.remove_prefix(url_end + sizeof " failed:");
  failure.cause = rest.substr(0, rest.find(' '));
  failure.end_ms = line.at_ms;
  failure.begin_ms = line.at_ms - NumberAfter(rest, " after ").value_or(0);
  failure.message = line.message;
  failures_[{line.run, std::string(url)}].push_back(failure);
}

bool Transfers::HasFailureOf(const Try& one, size_t run) const {
  return failures_.find({run, ShownUrl(one.url)}) != failures_.end();
}

std::optional<Transfers::Failure> Transfers::TakeFailureOf(const Try& one, size_t run,
                                                           bool must_follow) {
  const auto found = failures_.find({run, ShownUrl(one.url)});
  if (found == failures_.end()) {
    return std::nullopt;
  }
  // Choose the one that began nearest to the try. Earlier ones are of tries that nobody waited for.
  std::vector<Failure>& list = found->second;
  const auto distance = [&](const Failure& failure) {
    return std::llabs(failure.begin_ms - one.begin_ms);
  };
  const auto nearest = std::min_element(
      list.begin(), list.end(),
      [&](const Failure& a, const Failure& b) { return distance(a) < distance(b); });
  if (must_follow && nearest->begin_ms < one.begin_ms - kNearMs) {
    return std::nullopt;
  }
  Failure failure = *nearest;
  failure.is_unsure = std::any_of(list.begin(), list.end(), [&](const Failure& other) {
    return other.cause != failure.cause && distance(other) - distance(failure) < kNearMs;
  });
  list.erase(nearest);
  if (list.empty()) {
    failures_.erase(found);
  }
  return failure;
}

}  // namespace history
