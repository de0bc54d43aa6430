#include "tools/history/host_lines.h"

#include <algorithm>
#include <utility>

#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "tools/redactor/redactor.h"

namespace history {

namespace {

// A log that lost lines has wishes without requests.
constexpr size_t kMostWishes = 256;

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    const size_t end = std::min(text.find(separator), text.size());
    if (end > 0) {
      parts.emplace_back(text.substr(0, end));
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

}  // namespace

void HostLines::Take(const Line& line) {
  std::string_view rest = line.text;
  if (line.text == "[multiple]Use http dns,host:") {
    asks_for_second_pass_[ThreadOf(line)] = true;
  } else if (line.text.starts_with("[multiple]User http dns")) {
    asks_for_second_pass_[ThreadOf(line)] = false;
  } else if (line.text == "[http dns] Begin update service") {
    service_begins_[line.run] = line.at_ms;
  } else if (Skip(rest, "[http dns] Check cached host: ")) {
    TakeLook(line, rest);
  } else if (Skip(rest, "[http dns] Check cached need update type = ")) {
    const size_t hosts = rest.find(" : ");
    Wish wish;
    wish.at_ms = line.at_ms;
    wish.is_for_second_pass = asks_for_second_pass_[ThreadOf(line)];
    wish.hosts = hosts == std::string_view::npos ? "" : rest.substr(hosts + 3);
    std::replace(wish.hosts.begin(), wish.hosts.end(), '|', ',');
    std::deque<Wish>& wishes = wishes_[line.run];
    wishes.push_back(wish);
    if (wishes.size() > kMostWishes) {
      wishes.pop_front();
    }
  } else if (rest.starts_with("[http dns] Query hosts`s ip success = true")) {
    TakeLeases(line);
  } else if (Skip(rest, "[http dns] Update success ttl : ")) {
    Lease lease;
    lease.at_ms = line.at_ms;
    lease.run = line.run;
    lease.ttl_ms = LeadingNumber(rest).value_or(0);
    lease.message = line.message;
    history_.leases.push_back(lease);
  }
}

void HostLines::TakeLook(const Line& line, std::string_view rest) {
  const size_t host_end = rest.find(" res: ");
  const auto state = NumberAfter(rest, " res: ");
  if (!state || *state < 1 || *state > 3) {
    return;
  }
  HostLook look;
  look.at_ms = line.at_ms;
  look.run = line.run;
  look.host = rest.substr(0, host_end);
  look.state = static_cast<HostLook::State>(*state);
  look.message = line.message;
  if (const size_t addresses = rest.find(" ret:"); addresses != std::string_view::npos) {
    look.addresses = Split(rest.substr(addresses + 5), '|');
  }
  history_.host_looks.push_back(look);
}

void HostLines::TakeLeases(const Line& line) {
  const auto answer = zo_sturdy::ParseJson(std::string(FramedText(line.text)));
  for (const auto& [host, value] : answer["data"].object_items()) {
    Lease lease;
    lease.at_ms = line.at_ms;
    lease.run = line.run;
    lease.host = host;
    lease.ttl_ms = std::max(zo_sturdy::TtlMs<int32_t>(value), 0);
    lease.addresses = zo_sturdy::TextsOf(value["ip"]);
    for (std::string& address : zo_sturdy::TextsOf(value[zo_sturdy::dns_key::kIPv6])) {
      lease.addresses.push_back(std::move(address));
    }
    lease.message = line.message;
    history_.leases.push_back(std::move(lease));
  }
}

std::optional<HostLines::Wish> HostLines::TakeWishOfHosts(size_t run, std::string_view url) {
  // A redacted URL counts as that of the oldest wish. One thread sends them in order, but two
  // threads that wish at the same moment can log their wishes in another order.
  const bool is_redacted = url.ends_with(redactor::kRedacted);
  std::deque<Wish>& wishes = wishes_[run];
  const auto wish = std::find_if(wishes.begin(), wishes.end(), [&](const Wish& one) {
    return is_redacted || url.ends_with("=" + one.hosts);
  });
  if (wish == wishes.end()) {
    return std::nullopt;
  }
  Wish taken = std::move(*wish);
  wishes.erase(wish);
  return taken;
}

std::optional<int64_t> HostLines::TakeBeginOfService(size_t run) {
  const auto begin = service_begins_.find(run);
  if (begin == service_begins_.end()) {
    return std::nullopt;
  }
  const int64_t at_ms = begin->second;
  service_begins_.erase(begin);
  return at_ms;
}

}  // namespace history
