#include "tools/sturdyctl/client_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <regex>

#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

constexpr int kMaxPort = 65535;

template <size_t kSize>
void Fill(char (&field)[kSize], const std::string& text, const std::string& option) {
  if (text.size() >= kSize) {
    throw UsageError(option + " takes at most " + std::to_string(kSize - 1) + " bytes, not " +
                     std::to_string(text.size()) + ".");
  }
  std::memcpy(field, text.data(), text.size());
}

template <size_t kRows, size_t kSize>
void FillRows(char (&rows)[kRows][kSize], const std::vector<std::string>& texts, size_t first,
              const std::string& option) {
  for (size_t i = first; i < texts.size(); ++i) {
    if (i - first >= kRows) {
      throw UsageError(option + " can be given at most " + std::to_string(kRows + first) +
                       " times.");
    }
    Fill(rows[i - first], texts[i], option);
  }
}

// Refuses a text that the library would ask nothing for. It has a scheme, a host and perhaps a
// port.
void CheckUrl(const std::string& text) {
  static const std::regex url(
      R"(https?://([^/?#@\s]*@)?(\[[0-9a-f:.]+\]|[^/?#@:\[\]\s]+)(:0*(\d{1,5}))?([/?#]\S*)?)",
      std::regex::icase);
  std::smatch part;
  if (!std::regex_match(text, part, url) || (part[4].matched && std::stoi(part[4]) > kMaxPort)) {
    throw UsageError("--lbs takes URLs such as http://host/path, and \"" + text + "\" isn't one.");
  }
}

}  // namespace

void ClientOptions::AddTo(CLI::App& command) {
  AddEnvironmentTo(command);
  command
      .add_option("--lbs", lbs_urls,
                  "URLs of load-balancing servers; tried in the given order, at most 6")
      ->type_name("URL");
  command.add_option("--default-v4", default_v4, "host:port of the default IPv4 link server");
  command.add_option("--default-v6", default_v6, "host:port of the default IPv6 link server");
  command.add_option("--default-link", default_links,
                     "host:port of the servers in the list of defaults; at most 5");
}

void ClientOptions::AddEnvironmentTo(CLI::App& command) {
  command.add_option("--token", token,
                     "Key of the application; without it, a start fetches nothing");
  command.add_option("--business", business, "Business name (default: im_g1)");
  command.add_option("--sdk-version", sdk_version,
                     "Version that the client sends (default: sturdyctl)");
  command
      .add_option("--data", data_folder, "Folder for caches and log (default: a new one in /tmp)")
      ->type_name("DIR");
  command.add_option("--family", family, "Address family: any, v4 or v6")
      ->check(CLI::IsMember({"any", "v4", "v6"}));
}

net::AddressFamily ClientOptions::Family() const {
  if (family == "v4") {
    return net::kIPFamilyV4;
  }
  return family == "v6" ? net::kIPFamilyV6 : net::kIPFamilyAny;
}

zo_sturdy::_ZOSturdyEnvironmentSettings ClientOptions::EnvironmentRecord(
    const std::string& data_path) const {
  zo_sturdy::_ZOSturdyEnvironmentSettings record = {};
  Fill(record.business, business, "--business");
  Fill(record.business_token, token, "--token");
  Fill(record.sdk_version_text, sdk_version, "--sdk-version");
  Fill(record.data_path, data_path, "--data");
  return record;
}

zo_sturdy::_ZOSturdyLBSSettings ClientOptions::LbsRecord() const {
  zo_sturdy::_ZOSturdyLBSSettings record = {};
  record.enable =
      !lbs_urls.empty() || !default_v4.empty() || !default_v6.empty() || !default_links.empty();
  if (!lbs_urls.empty()) {
    Fill(record.lbs_url, lbs_urls[0], "--lbs");
    FillRows(record.lbs_backup_urls, lbs_urls, 1, "--lbs");
    std::for_each(lbs_urls.begin(), lbs_urls.end(), CheckUrl);
  }
  Fill(record.default_link_v4, default_v4, "--default-v4");
  Fill(record.default_link_v6, default_v6, "--default-v6");
  FillRows(record.default_link_list, default_links, 0, "--default-link");
  record.address_family = Family();
  return record;
}

}  // namespace sturdyctl
