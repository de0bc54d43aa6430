#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "net/ip_address.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/environment.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

constexpr int kResolved = 200;

// Refuses a text that isn't a host name: names are sent in a list in a URL, unescaped.
void CheckName(const std::string& name) {
  const bool fits = !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return c > ' ' && c != 0x7f &&
           std::string_view(",/?#&").find(static_cast<char>(c)) == std::string_view::npos;
  });
  if (!fits) {
    throw UsageError("query-host takes host names, and \"" + name + "\" isn't one.");
  }
}

nlohmann::json Query(zo_sturdy::IZOSturdyObject& object, const std::string& name,
                     net::AddressFamily family) {
  std::string out(zo_sturdy::kQueryHostBufferSize, '\0');
  object.QueryHost(name.c_str(), family, out.data());
  const auto answer = nlohmann::json::parse(out.c_str(), nullptr, false);
  if (!answer.is_object()) {
    throw std::runtime_error("the answer for " + name + " isn't a JSON object: " + out.c_str());
  }
  const auto data = answer.value("data", nlohmann::json::object());
  return {{"host", name},
          {"code", answer.value("code", 0)},
          {"ipv4", data.value("ipv4", nlohmann::json::array())},
          {"ipv6", data.value("ipv6", nlohmann::json::array())}};
}

void Print(const nlohmann::json& host) {
  const auto name = host.at("host").get<std::string>();
  std::printf("%-40s", name.c_str());
  for (const char* family : {"ipv4", "ipv6"}) {
    for (const auto& address : host.at(family)) {
      std::printf(" %s", address.get<std::string>().c_str());
    }
  }
  std::puts(host.at("code") == kResolved ? ""
            : net::IsIPLiteral(name)     ? " is an address, so there is nothing to resolve"
                                         : " not resolved");
  std::fflush(stdout);
}

}  // namespace

int RunQueryHost(const ClientOptions& options, const std::vector<std::string>& names, bool json) {
  std::for_each(names.begin(), names.end(), CheckName);
  Environment environment(options);
  auto hosts = nlohmann::json::array();
  for (const std::string& name : names) {
    hosts.push_back(Query(environment.object(), name, options.Family()));
    if (!json) {
      Print(hosts.back());
    }
  }
  const std::string log = environment.log().path();
  if (json) {
    std::cout << JsonText(nlohmann::json{{"hosts", hosts}, {"log", log}}, 2) << std::endl;
  } else {
    PrintLogPath(log);
  }
  return std::all_of(hosts.begin(), hosts.end(),
                     [](const auto& host) { return host.at("code") == kResolved; })
             ? kExitOk
             : kExitFailed;
}

}  // namespace sturdyctl
