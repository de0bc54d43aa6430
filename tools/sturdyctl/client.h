#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sturdy/sturdy.h"
#include "tools/sturdyctl/client_options.h"
#include "tools/sturdyctl/environment.h"

namespace sturdyctl {

inline constexpr int kFetched = 200;  // the code of an update callback

// One answer of GetLinkAddress. The call doesn't return the source: `from_default` comes from the
// line that it left in the log. `from_settings`: no server has ever sent the list.
struct LinkAnswer {
  std::string host;
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;
  bool from_default = false;
  bool from_settings = false;

  std::string HostPort() const { return host + ":" + std::to_string(port); }
};

const char* FamilyName(net::AddressFamily family);

// Returns the "link" list of an LBS document, empty if the text isn't one.
std::vector<std::string> LinkList(const std::string& document);

// A running environment with its LBS service.
// Threads: one. The update callback runs on the service's thread.
// Owner:   the command. At most one at a time.
// Errors:  those of Environment.
class Client {
 public:
  using UpdateCallback = std::function<void(int code, const std::string& document)>;

  explicit Client(const ClientOptions& options, UpdateCallback on_update = nullptr);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  zo_sturdy::IZOSturdyObject& object() { return environment_->object(); }
  zo_sturdy::IZOSturdyLBSService& service() { return *service_; }
  log_reader::LogReader& log() { return environment_->log(); }

  LinkAnswer NextLink(net::AddressFamily family);
  // Returns the active document.
  std::string Document();

 private:
  std::unique_ptr<Environment> environment_;
  zo_sturdy::IZOSturdyLBSService* service_ = nullptr;
  std::atomic<bool> has_fetched_{false};  // the active document, in this run or an earlier one
};

}  // namespace sturdyctl
