#include "src/business/sturdy_lbs/lbs_request.h"

#include "net/ip_address.h"
#include "net/url.h"

namespace zo_sturdy {

namespace {

// The servers' numbers of the network types.
int NetworkNumber(net::AddressFamily network) {
  switch (network) {
    case net::kIPFamilyAny:
      return 2;
    case net::kIPFamilyV4:
      return 0;
    case net::kIPFamilyV6:
      break;
  }
  return 1;
}

bool IsOfOtherFamily(const std::string& literal, net::AddressFamily family) {
  net::AddressFamily own = net::kIPFamilyAny;
  net::GetIPFamily(literal, own);
  return family != net::kIPFamilyAny && own != net::kIPFamilyAny && own != family;
}

}  // namespace

std::string LBSQueryText(const LBSQuery& query) {
  std::string text;
  if (!query.token.empty()) {
    text = "k=" + query.token + "&";
  }
  text += "sv=" + std::to_string(query.sv);
  text += "&pv=" + std::to_string(query.pv);
  text += "&tp=" + std::to_string(query.tp);
  text += "&networkType=" + std::to_string(NetworkNumber(query.network));
  return text;
}

MultipleURLHttpRequest BuildLBSRequest(const std::vector<std::string>& urls, const LBSQuery& query,
                                       net::AddressFamily family) {
  std::string presented = urls.empty() ? std::string() : url::GetURLHost(urls.front(), false);
  if (net::IsIPLiteral(presented)) {
    presented.clear();
  }
  const std::string query_text = LBSQueryText(query);

  MultipleURLHttpRequest request;
  request.type = 0;
  request.use_http_dns = true;
  request.ip_family = family;
  for (const std::string& base : urls) {
    std::string url = base;
    url += base.find('?') == std::string::npos ? '?' : '&';
    url += query_text;
    const std::string host = url::GetURLHost(url, false);
    const bool is_literal = net::IsIPLiteral(host);
    if (is_literal && IsOfOtherFamily(host, family)) {
      continue;
    }
    request.urls.push_back({url, is_literal ? presented : host});
  }
  return request;
}

}  // namespace zo_sturdy
