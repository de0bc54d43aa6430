#include "src/sturdy/config/environment_config.h"

#include <algorithm>
#include <utility>

#include "base/md5.h"
#include "src/sturdy/config/record_fields.h"

namespace zo_sturdy {

_EnvironmentConfig::_EnvironmentConfig() : statistic_settings(StatisticSettings()) {}

_EnvironmentConfig::~_EnvironmentConfig() = default;

void _EnvironmentConfig::ApplySettings(const _ZOSturdyEnvironmentSettings& settings) {
  if (const std::string name = FieldText(settings.business); !name.empty()) {
    business = name;
  }
  {
    zo_base::RecursiveMutexLock lock(mutex);
    business_token = FieldText(settings.business_token);
  }
  sdk_version_text = FieldText(settings.sdk_version_text);
  sv = settings.sv;
  pv = settings.pv;
  tp = settings.tp;

  data_path = FieldText(settings.data_path);
  std::replace(data_path.begin(), data_path.end(), '\\', '/');
  if (data_path.empty() || data_path.back() != '/') {
    data_path += '/';
  }
  // The digest separates the files of two businesses and is a valid file name for any bytes.
  data_path += "sturdy_comp/" + zo_base::Md5Hex(business) + "/";
}

std::string _EnvironmentConfig::GetBusinessToken() {
  zo_base::RecursiveMutexLock lock(mutex);
  return business_token;
}

void _EnvironmentConfig::SetHttpRequestInvoker(HttpRequestInvoker invoker) {
  http_request_invoker.Set(std::move(invoker));
}

HttpRequestInvoker _EnvironmentConfig::GetHttpRequestInvoker() const {
  const auto invoker = http_request_invoker.Get();
  return invoker ? *invoker : HttpRequestInvoker();
}

}  // namespace zo_sturdy
