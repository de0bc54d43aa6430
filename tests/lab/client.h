#pragma once

#include <curl/curl.h>

#include <string>

// Clients that see what a server really does: libcurl for whole fetches, a raw socket for bytes.

struct Fetched {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::string body;
  double seconds = 0;
  bool handshake_done = false;
};

struct FetchOptions {
  long limit_ms = 10000;
  long most_redirects = 0;  // 0: redirects aren't followed
  size_t most_bytes = size_t{4} << 20;
  std::string trusted_pem = {};  // not empty: the certificate is checked against it
};

Fetched Fetch(const std::string& url, const FetchOptions& options = {});

// A TCP connection to a loopback port. All calls end at a limit of some seconds.
class RawClient {
 public:
  explicit RawClient(int port);
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  void Send(const std::string& bytes);
  // Reads until `end` is the end of what has come. Otherwise tells how the connection ended by a
  // last "<closed>", "<reset>" or "<limit>".
  std::string ReadTo(const std::string& end);
  std::string ReadAll() { return ReadTo("<never>"); }

 private:
  int fd_;
};
