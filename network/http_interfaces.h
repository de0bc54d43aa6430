#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "network/http_interface_error.h"

// What a synchronous HTTP wrapper offers, in three steps that share one table of slots.
// Threads: one at a time.
// Owner:   whoever made it; an object on the heap may be ended by FreeInstance.
// Errors:  GetErrorCode tells the last failure.

// Called on the transferring thread for each block of a download, with the bytes so far and in all.
using HttpDownloadCallback = void (*)(void* user_value, int64_t received_bytes,
                                      int64_t total_bytes);

class IHttpBase {
 public:
  virtual void SetDownloadCallback(HttpDownloadCallback callback, void* user_value) = 0;
  // Gets the URL into a new file, which replaces an old one. A file left incomplete is deleted.
  virtual bool DownloadFile(const std::string& url, const std::string& file_path) = 0;
  // Gets the URL into a new buffer; both outputs are written on success only.
  virtual bool DownloadToMemory(const std::string& url, std::unique_ptr<char[]>& buffer,
                                int32_t& size_bytes) = 0;
  // Deletes the object. Requires: it was made by `new`.
  virtual void FreeInstance() = 0;
  virtual KRBASE::network::HttpInterfaceError GetErrorCode() const = 0;

 protected:
  IHttpBase() = default;
  ~IHttpBase() = default;
};

class IWininetHttp : public IHttpBase {
 public:
  // Adds a header if neither is empty; the first value of a name stays.
  virtual void AddHeader(const std::string& name, const std::string& value) = 0;
  // The head of the answer, lines ended by CRLF.
  virtual std::string GetHeaderText() const = 0;
  virtual std::string GetBody() const = 0;
  virtual int32_t GetBodySize() const = 0;
  // 0 if there was no answer.
  virtual int32_t GetStatusCode() const = 0;
  // Carries out one transfer and returns the body. `method` 0 is GET, every other POST. The extra
  // headers are lines ended by CRLF. The post data ends at its first zero byte.
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
