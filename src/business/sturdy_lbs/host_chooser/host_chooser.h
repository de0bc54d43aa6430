#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sturdy/sturdy.h"

namespace zo_sturdy {

// The rotation through one list of "host:port" texts.
//
// Each GetHost moves one on. Once the list is spent the answer is a default, which tells the
// caller that the list has failed as a whole, and the next call begins the list again. There is
// no count of failures per host: asking again is the failure, HoldHost is the success. A host
// name serves every family; an address of the other family is passed over.
//
// Threads: one at a time; the LBS service calls it with its `hosts_mutex_` held.
// Owner:   the LBS service, which makes new ones for each document.
// Errors:  none; with neither list nor defaults the answer is the empty text.
class HostChooser {
 public:
  HostChooser(std::string v4, std::string v6, int32_t limit_of_key);
  HostChooser(const HostChooser&) = delete;
  HostChooser& operator=(const HostChooser&) = delete;

  // Writes the next address to `host`. True if it is a default: the list is spent.
  bool GetHost(net::AddressFamily family, std::string& host);

  // Makes "ip:port" the next host, or the first one if it isn't in the list.
  void HoldHost(const std::string& ip, uint32_t port);

  void ResetHosts(const std::vector<std::string>& new_hosts);

  // Sets both defaults for kIPFamilyAny, and none for a family that isn't known.
  void SetDefaultHost(net::AddressFamily family, const std::string& host);

  // The host that GetHost would look at next, empty if the list is spent.
  std::string GetCurrentHost() const;

  size_t GetHostCount() const { return hosts.size(); }

 private:
  // One step of the walk: true if it gave an answer.
  bool Step(net::AddressFamily family, std::string& host, bool& is_default);
  std::string DefaultHost(net::AddressFamily family) const;
  // Each host with a line end and the closing dashes, for the log.
  std::string HostLines() const;

  std::vector<std::string> hosts;
  std::string default_v4;
  std::string default_v6;
  int32_t index = 0;
  // Kept with the list for a limit on failures, which no rule uses yet.
  [[maybe_unused]] const int32_t limit;
};

// The limit of the chooser with this key: 0 the link servers, 1 the default ones.
// Throws std::out_of_range for a key that has none.
int32_t HostChooserLimit(int32_t key);

}  // namespace zo_sturdy
