#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// One endpoint of the HTTP DNS service, as a server states it.
struct CachedEndpoint {
  std::string host;
  int port = 443;
  bool https = true;
};

// The folder in which an environment of the default business keeps its files, given the client's.
inline std::string FinalDataFolder(const std::string& client_folder) {
  return client_folder + "/sturdy_comp/d6f07bc61ae1384e48a8edaab463328b/";
}

// Writes the table of HTTP DNS endpoints that an earlier run would have left under `data_folder`
// (which ends in a slash), good for another day unless told otherwise.
inline void WriteServerCache(const std::string& data_folder,
                             const std::vector<CachedEndpoint>& ipv4 = {{"127.0.0.1"}},
                             const std::vector<CachedEndpoint>& ipv6 = {},
                             const std::string& domain = "localhost",
                             int64_t expires_in_ms = 86400000) {
  using std::chrono::milliseconds;
  const auto list = [](const std::vector<CachedEndpoint>& endpoints) {
    std::string text;
    for (const CachedEndpoint& one : endpoints) {
      text += text.empty() ? "" : ",";
      text += R"({\"host\":\")" + one.host + R"(\",\"port\":)" + std::to_string(one.port) +
              R"(,\"https\":)" + (one.https ? "true}" : "false}");
    }
    return "[" + text + "]";
  };
  const int64_t expired_ms =
      expires_in_ms +
      std::chrono::duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch())
          .count();
  std::filesystem::create_directories(data_folder + "http_dns");
  std::ofstream(data_folder + "http_dns/http_server_cache.data")
      << R"({"host":")" << domain << R"(","ipv4":")" << list(ipv4) << R"(","ipv6":")" << list(ipv6)
      << R"(","ttl":"86400000","expired_time":")" << expired_ms << R"("})";
}
