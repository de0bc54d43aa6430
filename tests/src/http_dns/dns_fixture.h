#pragma once

#include <stdexcept>

#include "base/platform/file.h"
#include "base/thread/post_task.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "tests/support/configured_test.h"

namespace zo_sturdy {

// Before and after a body in the log.
inline const std::string kLine = "\r\n-----------------------";

inline std::vector<std::string> UrlsOf(const MultipleURLHttpRequest& request) {
  std::vector<std::string> urls;
  for (const URLItem& item : request.urls) {
    urls.push_back(item.url);
  }
  return urls;
}

// Owns a manager, whose requests wait until the test answers them.
class DnsTest : public ConfiguredTest {
 protected:
  DnsTest() { NewManager(); }
  ~DnsTest() override { manager_->Stop(); }

  void NewManager() {
    manager_ = std::make_shared<HttpDNSManager>();
    manager_->SetEnvironmentConfig(config);
  }
  SentRequest Next() try { return ConfiguredTest::Next(); } catch (const std::runtime_error&) {
    manager_->EndQueries();  // so that the query that waits for an answer doesn't hold the test
    throw;
  }
  void Settle(int64_t advance_ms = 0) { ConfiguredTest::Settle(*manager_, advance_ms); }
  std::string File(const std::string& name) const { return folder.File("http_dns/" + name); }
  void WriteCache(const std::string& name, const std::string& text) const {
    zo_base::CreateFolders(folder.File("http_dns"));
    zo_base::WriteWholeFile(File(name), text);
  }
  std::string ReadCache(const std::string& name) const {
    return zo_base::ReadFilePrefix(File(name), size_t{1} << 24);
  }
  // Lists "host:port", or "!host:port" for http.
  std::vector<std::string> Table(int family = net::kIPFamilyAny) {
    std::vector<std::string> texts;
    for (const auto& [https, port, host] :
         manager_->TableForTest().GetServiceAddresses(static_cast<net::AddressFamily>(family))) {
      texts.push_back((https != 0 ? "" : "!") + host + ":" + std::to_string(port));
    }
    return texts;
  }

  std::shared_ptr<HttpDNSManager> manager_;
};

}  // namespace zo_sturdy
