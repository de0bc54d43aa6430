#include "network/platform/curl/curl_options.h"

#include <cstdint>

namespace KRBASE::network::platform {

namespace {

// Every host is connected to under this name, and only this name has addresses. So libcurl never
// looks up the host in the URL, which it still uses for the Host header and for TLS.
constexpr const char* kConnectName = "looked-up-before";

// A line in the form that libcurl sends unchanged. It drops a line "Name:" without a value.
std::string RawHeader(const HeaderLines::Line& line) {
  const bool is_blank = line.value.find_first_not_of(" \t") == std::string::npos;
  return is_blank ? line.name + ";" : line.name + ":" + line.value;
}

template <class Value>
bool Set(CURL* easy, CURLoption option, Value value) {
  return Curl().easy_setopt(easy, option, value) == CURLE_OK;
}

bool SetConnection(CURL* easy, const TransferPlan& plan, const CurlLists& lists) {
  bool is_set = Set(easy, CURLOPT_URL, (UrlOrigin(plan.url) + "/").c_str());
  is_set &= Set(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  is_set &= Set(easy, CURLOPT_PROXY, "");
  is_set &= Set(easy, CURLOPT_NOPROXY, "*");
  is_set &= Set(easy, CURLOPT_CONNECT_TO, lists.connect_to.get());
  is_set &= Set(easy, CURLOPT_RESOLVE, lists.resolve.get());
  is_set &= Set(easy, CURLOPT_NOSIGNAL, 1L);
  is_set &= Set(easy, CURLOPT_FRESH_CONNECT, 1L);
  is_set &= Set(easy, CURLOPT_FORBID_REUSE, 1L);
  // The transfer watches this limit itself. libcurl needs it to leave each address a share of the
  // time: without it a dead address would take all. 0 would mean 300 s to libcurl.
  const long connect_ms = plan.time_outs.connect_ms > 0 ? plan.time_outs.connect_ms : INT32_MAX;
  is_set &= Set(easy, CURLOPT_CONNECTTIMEOUT_MS, connect_ms);
  return is_set;
}

bool SetTls(CURL* easy, const TransferPlan& plan) {
  bool is_set = Set(easy, CURLOPT_SSL_ENABLE_ALPN, 0L);
  is_set &= Set(easy, CURLOPT_SSL_SESSIONID_CACHE, 0L);
  if (plan.ignore_certificate_errors) {
    is_set &= Set(easy, CURLOPT_SSL_VERIFYPEER, 0L);
    is_set &= Set(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    // Don't read the system's certificates: nothing is compared with them.
    Set<const char*>(easy, CURLOPT_CAINFO, nullptr);
    Set<const char*>(easy, CURLOPT_CAPATH, nullptr);
  }
  return is_set;
}

bool SetRequest(CURL* easy, const TransferPlan& plan, const CurlLists& lists) {
  bool is_set = Set(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  is_set &= Set(easy, CURLOPT_REQUEST_TARGET, plan.url.target.c_str());
  if (plan.method == kHttpMethodPost || !plan.body.empty()) {
    const auto size_bytes = static_cast<curl_off_t>(plan.body.size());
    is_set &= Set(easy, CURLOPT_POST, 1L);
    is_set &= Set(easy, CURLOPT_POSTFIELDSIZE_LARGE, size_bytes);
    is_set &= Set(easy, CURLOPT_POSTFIELDS, plan.body.data());
    if (plan.method == kHttpMethodGet) {
      is_set &= Set(easy, CURLOPT_CUSTOMREQUEST, "GET");
    }
  }
  is_set &= Set(easy, CURLOPT_HTTPHEADER, lists.headers.get());
  is_set &= Set(easy, CURLOPT_USERAGENT, plan.agent.c_str());
  is_set &= Set(easy, CURLOPT_HTTP_CONTENT_DECODING, 0L);
  return is_set;
}

}  // namespace

bool CurlList::Append(const std::string& text) {
  curl_slist* longer = Curl().slist_append(list_.get(), text.c_str());
  if (longer == nullptr) {
    return false;
  }
  static_cast<void>(list_.release());
  list_.reset(longer);
  return true;
}

bool BuildLists(const TransferPlan& plan, CurlLists& lists) {
  bool is_built = true;
  for (const HeaderLines::Line& line : plan.headers.lines()) {
    is_built = is_built && lists.headers.Append(RawHeader(line));
  }
  // A name without a value suppresses libcurl's own header.
  is_built = is_built && lists.headers.Append("Expect:");
  for (const char* name : {"Accept", "Content-Type"}) {
    if (!plan.headers.Has(name)) {
      is_built = is_built && lists.headers.Append(std::string(name) + ":");
    }
  }
  const std::string connect_to = std::string(kConnectName) + ":" + std::to_string(plan.url.port);
  std::string resolve = connect_to + ":";
  for (const net::IPBytes& address : plan.addresses) {
    resolve.append(UrlHost(address)).push_back(',');
  }
  resolve.pop_back();
  return is_built && lists.connect_to.Append("::" + connect_to) && lists.resolve.Append(resolve);
}

bool SetTransferOptions(CURL* easy, const TransferPlan& plan, const CurlLists& lists) {
  return SetConnection(easy, plan, lists) && SetTls(easy, plan) && SetRequest(easy, plan, lists);
}

}  // namespace KRBASE::network::platform
