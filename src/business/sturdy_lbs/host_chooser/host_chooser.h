#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sturdy/sturdy.h"

namespace zo_sturdy {

// Returns the place of the next host in a list of `count`, and moves `index` on. At the end of the
// list returns nothing, and moves `index` to the begin.
std::optional<size_t> NextPlace(int32_t& index, size_t count);

// Rotates through one list of "host:port" texts.
//
// Each GetHost returns the next host. At the end of the list it returns a default, so the caller
// knows that all hosts have failed, and the next call starts over. No failures are counted: another
// GetHost reports a failure, HoldHost a success. A host name serves every family; an address of
// another family is skipped.
//
// Threads: one at a time; LinkHosts calls it with its `hosts_mutex_` held.
// Owner:   LinkHosts, which creates new ones for each document.
// Errors:  none; without a list and defaults it returns an empty text.
class HostChooser {
 public:
  HostChooser(std::string v4, std::string v6, int32_t limit_of_key);
  HostChooser(const HostChooser&) = delete;
  HostChooser& operator=(const HostChooser&) = delete;

  // Writes the next address to `host`. Returns true if it is a default: the list is spent.
  bool GetHost(net::AddressFamily family, std::string& host);

  // Makes "ip:port" the next host, or the first one if it isn't in the list.
  void HoldHost(const std::string& ip, uint32_t port);

  void ResetHosts(const std::vector<std::string>& new_hosts);

  // Sets both defaults for kIPFamilyAny. Does nothing for an unknown family.
  void SetDefaultHost(net::AddressFamily family, const std::string& host);

  // Returns the host that GetHost would try next, empty if the list is spent.
  std::string GetCurrentHost() const;

  size_t GetHostCount() const { return hosts.size(); }

 private:
  // Tries one host, or a default at the end of the list. True if it serves the family.
  bool Step(net::AddressFamily family, std::string& host, bool& is_default);
  std::string DefaultHost(net::AddressFamily family) const;
  // Returns all hosts, one a line, and a line of dashes, for the log.
  std::string HostLines() const;

  std::vector<std::string> hosts;
  std::string default_v4;
  std::string default_v6;
  int32_t index = 0;
  // Part of the fixed shape: a limit on failures that nothing reads.
  [[maybe_unused]] const int32_t limit;
};

// Returns the limit of the chooser with this key: 0 the link servers, 1 the default ones.
// Throws std::out_of_range for an unknown key.
int32_t HostChooserLimit(int32_t key);

}  // namespace zo_sturdy
