#include "src/sturdy/http_agent/http_dns/http_dns_service.h"

#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"

namespace zo_sturdy {

HttpDNSService::~HttpDNSService() {
  HttpDNSService::Stop();
}

void HttpDNSService::Start() {
  std::shared_ptr<HttpDNSManager> made;
  init_once_.Call([&] {
    made = std::make_shared<HttpDNSManager>();
    made->SetEnvironmentConfig(GetEnvironmentConfig());
    const zo_base::MutexLock lock(manager_mutex_);
    http_dns_manager_ = made;
  });
  if (made != nullptr) {
    made->Init();
  }
}

bool HttpDNSService::IsOwnThread() {
  const std::shared_ptr<HttpDNSManager> manager = Manager();
  return manager != nullptr && manager->IsCurrentThread();
}

void HttpDNSService::RequestStop() {
  if (const std::shared_ptr<HttpDNSManager> manager = Manager()) {
    manager->RequestStop();
  }
}

void HttpDNSService::Stop() {
  const std::shared_ptr<HttpDNSManager> manager = Manager();
  if (manager == nullptr) {
    return;
  }
  manager->Stop();
  const zo_base::MutexLock lock(manager_mutex_);
  http_dns_manager_.reset();
}

bool HttpDNSService::Query(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
                           HostIPMap& results) {
  if (const std::shared_ptr<HttpDNSManager> manager = Manager()) {
    return manager->Query(ip_family, hosts, results);
  }
  results.clear();
  return false;
}

std::shared_ptr<HttpDNSManager> HttpDNSService::Manager() {
  const zo_base::MutexLock lock(manager_mutex_);
  return http_dns_manager_;
}

}  // namespace zo_sturdy
