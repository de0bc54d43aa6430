#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"
#include "src/business/sturdy_lbs/host_chooser/host_chooser.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

struct LBSDocument;
struct LBSSettings;

struct LinkAddress {
  std::string host;  // fits a client's buffer of kLinkHostBufferSize bytes
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;  // of a literal; a host name serves every family
};

// Chooses link servers from the lists of the active document.
//
// Threads: any. `on_default` runs under `hosts_mutex_`, which comes before the configuration's
//          mutex.
// Owner:   ActiveDocument.
// Errors:  none. Requires: a Reset before Next, Peek and Hold.
class LinkHosts {
 public:
  explicit LinkHosts(const LBSSettings& settings) : settings_(settings) {}
  LinkHosts(const LinkHosts&) = delete;
  LinkHosts& operator=(const LinkHosts&) = delete;

  // Replaces both lists by those of the document. Returns the address taken from the default
  // servers, empty if there is none.
  std::string Reset(const LBSDocument& document);

  // Returns the next address and logs the choice. Calls `on_default` if it is a default.
  LinkAddress Next(net::AddressFamily family, const std::function<void()>& on_default);

  // Returns the address that Next would try first; nothing if the list is spent.
  std::optional<LinkAddress> Peek();

  void Hold(const char* ip, int16_t port);

  // The number of link servers, without the default. Takes no lock.
  int32_t count() const { return link_host_count_; }

 private:
  const LBSSettings& settings_;
  std::atomic<int32_t> link_host_count_{0};
  zo_base::RecursiveMutex hosts_mutex_;
  std::map<int32_t, std::shared_ptr<HostChooser>> host_choosers_ ZO_GUARDED_BY(hosts_mutex_);
};

}  // namespace zo_sturdy
