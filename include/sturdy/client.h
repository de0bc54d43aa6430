// SPDX-License-Identifier: MIT
// Wraps sturdy.h for C++11: texts in place of zeroed buffers, start and exit by scope, any function
// as update callback. The client compiles it in, so the library's boundary stays that of sturdy.h.
// Threads: any, also the update callback's. Only make and destroy a Client outside all other calls.
// Errors:  the constructor throws. All other calls throw nothing but std::bad_alloc.
#pragma once

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sturdy/sturdy.h"

namespace sturdy {
// The fields of both records of sturdy.h, which says what they mean. Only data_path must be set.
struct Settings {
  std::string data_path, token, business, sdk_version;
  int32_t sv = 0, pv = 0, tp = 0;
  std::vector<std::string> lbs_urls;  // in the order of trial, at most 6
  std::string default_link_v4, default_link_v6;
  std::vector<std::string> default_links;  // at most 5
  net::AddressFamily family = net::kIPFamilyAny;
  // Called after each fetch with the active document, which has just arrived if `fetched`. Runs on
  // a thread of the library, perhaps before the constructor returns. It must not throw.
  std::function<void(class Client& client, bool fetched, const std::string& document)> on_update;
};

// Where to connect.
struct Link {
  std::string host;                               // without the brackets of an IPv6 address
  uint16_t port = 0;                              // 0 if the list gives none
  net::AddressFamily family = net::kIPFamilyAny;  // kIPFamilyAny for a host name
  std::string HostPort() const {
    const bool is_v6 = host.find(':') != std::string::npos;
    return (is_v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
  }
};

// The process's environment with its LBS service. The destructor exits both, and blocks as long as
// ExitSturdyEnvironment. What `on_update` uses must outlive it. To move it, use a std::unique_ptr.
class Client {
 public:
  // Starts both, or throws and starts nothing: std::invalid_argument for settings that don't fit,
  // std::logic_error if an environment is started already, or what the starts of sturdy.h throw.
  explicit Client(const Settings& settings)
      : family_(settings.family), on_update_(settings.on_update), scope_(this) {
    // Copy the settings into the two records.
    zo_sturdy::_ZOSturdyEnvironmentSettings environment = {};
    Fill(environment.business, settings.business);
    Fill(environment.business_token, settings.token);
    Fill(environment.sdk_version_text, settings.sdk_version);
    Fill(environment.data_path, settings.data_path);
    environment.sv = settings.sv;
    environment.pv = settings.pv;
    environment.tp = settings.tp;
    zo_sturdy::_ZOSturdyLBSSettings lbs = {};
    lbs.enable = true;
    lbs.address_family = settings.family;
    if (settings.data_path.empty() || settings.lbs_urls.size() > 6 ||
        settings.default_links.size() > 5) {
      throw std::invalid_argument("no data_path, or too many URLs or default links");
    }
    for (size_t i = 0; i < settings.lbs_urls.size(); ++i) {
      Fill(i == 0 ? lbs.lbs_url : lbs.lbs_backup_urls[i - 1], settings.lbs_urls[i]);
    }
    for (size_t i = 0; i < settings.default_links.size(); ++i) {
      Fill(lbs.default_link_list[i], settings.default_links[i]);
    }
    Fill(lbs.default_link_v4, settings.default_link_v4);
    Fill(lbs.default_link_v6, settings.default_link_v6);
    // Start. A failure ends the scope.
    object_ = zo_sturdy::GetSturdyObject(zo_sturdy::StartSturdyEnvironment(environment));
    service_ = object_->GetLBSService();
    service_->SetUpdateCallback(on_update_ ? &OnUpdate : nullptr);
    service_->Start(lbs);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Call it before each attempt to connect. backoff.h has the pauses between them.
  Link NextLink() {
    char host[zo_sturdy::kLinkHostBufferSize] = {};
    Link link;
    link.family = family_;
    service_->GetLinkAddress(host, &link.port, &link.family);
    link.host = host;
    if (link.host.size() > 2 && link.host.front() == '[' && link.host.back() == ']') {
      link.host = link.host.substr(1, link.host.size() - 2);
    }
    return link;
  }
  // Call it if the link worked: NextLink returns it again. A port above 32767 can't be held.
  void Hold(const Link& link) {
    const std::string text = link.HostPort();
    if (link.port <= INT16_MAX) {
      service_->HoldLinkAddress(text.substr(0, text.rfind(':')).c_str(), int16_t(link.port));
    }
  }
  std::string Document(bool no_wait = true) {
    std::string out(zo_sturdy::kLBSResponseBufferSize, '\0');
    service_->GetLBSResponse(no_wait, &out[0]);
    return out.c_str();
  }
  // For all other calls. Don't release the service, and don't set another callback.
  zo_sturdy::IZOSturdyObject& object() { return *object_; }
  zo_sturdy::IZOSturdyLBSService& service() { return *service_; }

 private:
  template <size_t kSize>
  static void Fill(char (&field)[kSize], const std::string& text) {
    if (text.size() >= kSize) {
      throw std::invalid_argument("a text is longer than " + std::to_string(kSize - 1) + " bytes");
    }
    text.copy(field, kSize);
  }
  static void OnUpdate(int code, const char* document) {
    Client& client = *Running().load();
    client.on_update_(client, code == 200, document);
  }
  // For the callback, which has no user value. Hidden, so that a plugin with it can be unloaded.
  STURDY_HIDDEN static std::atomic<Client*>& Running() {
    static std::atomic<Client*> running(nullptr);
    return running;
  }
  struct Scope {  // of the one environment
    explicit Scope(Client* client) {
      Client* none = nullptr;
      if (zo_sturdy::GetSturdyObject(1) || !Running().compare_exchange_strong(none, client)) {
        throw std::logic_error("an environment is started already");
      }
    }
    ~Scope() {
      zo_sturdy::ExitSturdyEnvironment(1);
      Running() = nullptr;
    }
  };
  const net::AddressFamily family_;
  const std::function<void(Client&, bool, const std::string&)> on_update_;
  zo_sturdy::IZOSturdyObject* object_ = nullptr;
  zo_sturdy::IZOSturdyLBSService* service_ = nullptr;
  const Scope scope_;  // ends first
};
}  // namespace sturdy
