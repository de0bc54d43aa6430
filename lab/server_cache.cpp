#include "lab/server_cache.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "lab/json.h"
#include "lab/utf8_path.h"

namespace lab {
namespace {

std::string List(const std::vector<DnsEndpoint>& endpoints) {
  Json list = Json::array();
  for (const DnsEndpoint& one : endpoints) {
    list.push_back({{"host", one.host}, {"port", one.port}, {"https", one.https}});
  }
  return list.dump();
}

}  // namespace

void WriteServerCache(const std::string& data_folder, const ServerCache& cache) {
  const auto expires = std::chrono::duration_cast<std::chrono::milliseconds>(
      (std::chrono::system_clock::now() + cache.expires_in).time_since_epoch());
  const Json json = {{"host", cache.domain},
                     {"ipv4", List(cache.ipv4)},
                     {"ipv6", List(cache.ipv6)},
                     {"ttl", std::to_string(cache.expires_in.count())},
                     {"expired_time", std::to_string(expires.count())}};
  const auto folder = Utf8Path(data_folder) / "http_dns";
  std::filesystem::create_directories(folder);
  std::ofstream file(folder / "http_server_cache.data", std::ios::binary);
  if (!(file << json.dump() << std::flush)) {
    throw std::runtime_error("the server cache can't be written in " + folder.string());
  }
}

}  // namespace lab
