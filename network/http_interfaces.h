#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "network/http_interface_error.h"

// The interfaces of a synchronous HTTP wrapper, in three steps that share one table of slots. The
// slots and their order are fixed. The library itself calls AddHeader, SetTimeOut, Request,
// GetHeaderText and GetStatusCode.
// Threads: one at a time.
// Owner:   the caller. FreeInstance deletes an object that `new` made.
// Errors:  GetErrorCode returns the last failure.

// Called on the transferring thread for each block of a download.
using HttpDownloadCallback = void (*)(void* user_value, int64_t received_bytes,
                                      int64_t total_bytes);

class IHttpBase {
 public:
  virtual void SetDownloadCallback(HttpDownloadCallback callback, void* user_value) = 0;
  // Gets the URL into a new file, which replaces an old one. Deletes an incomplete file.
  virtual bool DownloadFile(const std::string& url, const std::string& file_path) = 0;
  // Gets the URL into a new buffer. Writes both outputs on success only.
  virtual bool DownloadToMemory(const std::string& url, std::unique_ptr<char[]>& buffer,
                                int32_t& size_bytes) = 0;
  // Deletes the object. Requires: `new` made it.
  virtual void FreeInstance() = 0;
  virtual KRBASE::network::HttpInterfaceError GetErrorCode() const = 0;

 protected:
  IHttpBase() = default;
  ~IHttpBase() = default;
};

class IWininetHttp : public IHttpBase {
 public:
  // Adds a header unless its name or value is empty. Keeps the first value of a name.
  virtual void AddHeader(const std::string& name, const std::string& value) = 0;
  // The head of the answer, lines ended by CRLF.
  virtual std::string GetHeaderText() const = 0;
  virtual std::string GetBody() const = 0;
  virtual int32_t GetBodySize() const = 0;
  // 0 if there was no answer.
  virtual int32_t GetStatusCode() const = 0;
  // Carries out one transfer and returns the body of the answer. `method` 0 is GET, every other
  // number POST. `extra_headers` are lines ended by CRLF. `post_data` ends at its first zero byte.
  virtual std::string Request(const std::string& url, int32_t method,
                              const std::string& extra_headers, const std::string& post_data) = 0;

 protected:
  IWininetHttp() = default;
  ~IWininetHttp() = default;
};

class IWinHttp : public IWininetHttp {
 public:
  // For the next transfer. 0 is no limit.
  virtual void SetTimeOut(int32_t connect_ms, int32_t send_ms, int32_t receive_ms) = 0;

 protected:
  IWinHttp() = default;
  ~IWinHttp() = default;
};
