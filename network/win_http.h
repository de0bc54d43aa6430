#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "network/http_header.h"
#include "network/http_interface_error.h"
#include "network/http_interfaces.h"
#include "network/http_method.h"
#include "network/platform/http_handles.h"
#include "network/transfer_failure.h"

// A small synchronous HTTP wrapper over the platform's handles: one blocking transfer at a time.
// Accepts any certificate. A request to a bare address needs that: its URL names an address, the
// certificate a host, and the Host header tells the server which host is meant.
// Threads: one at a time, the worker that carries out the transfer.
// Owner:   the function that transfers. The object owns the handles.
// Errors:  `error` keeps the last one. A failure before the status is read leaves the status 0.
class CWinHttp : public IWinHttp {
 public:
  CWinHttp();
  CWinHttp(const CWinHttp&) = delete;
  CWinHttp& operator=(const CWinHttp&) = delete;

  void SetDownloadCallback(HttpDownloadCallback new_callback, void* new_user_value) override;
  bool DownloadFile(const std::string& url, const std::string& file_path) override;
  bool DownloadToMemory(const std::string& url, std::unique_ptr<char[]>& buffer,
                        int32_t& size_bytes) override;
  void FreeInstance() override;
  KRBASE::network::HttpInterfaceError GetErrorCode() const override;
  void AddHeader(const std::string& name, const std::string& value) override;
  std::string GetHeaderText() const override;
  std::string GetBody() const override;
  int32_t GetBodySize() const override;
  int32_t GetStatusCode() const override;
  std::string Request(const std::string& url, int32_t method, const std::string& extra_headers,
                      const std::string& post_data) override;
  void SetTimeOut(int32_t connect_ms, int32_t send_ms, int32_t receive_ms) override;
  virtual ~CWinHttp();

  // Why the last Request failed; empty if it got the whole answer, whatever its status.
  const std::optional<KRBASE::network::TransferFailure>& GetFailure() const { return failure; }

  // What the look-up of the last URL's host gave, as texts for reports.
  std::list<std::string> GetHostAddresses() const;

 private:
  using Handle = std::unique_ptr<KRBASE::network::platform::HttpRequestHandle>;
  // Takes one block; returns false to end the reading.
  using TakeBlock = std::function<bool(std::string_view block)>;
  enum class ReadResult { kComplete, kQueryFailed, kReadFailed, kRefused };

  bool OpenSession();
  // Opens all handles, sends, and blocks until the head of the answer has been received.
  bool OpenRequest(const std::string& url, KRBASE::network::HttpMethod method,
                   const std::string& extra_headers, std::string_view post_data);
  // Opens a download and returns its length, or sets `error` and returns nothing.
  std::optional<int64_t> OpenDownload(const std::string& url);
  ReadResult ReadBlocks(const TakeBlock& take);
  void CloseHandles();
  bool Fail(KRBASE::network::HttpInterfaceError reason);
  bool FailTransfer(KRBASE::network::HttpInterfaceError reason,
                    KRBASE::network::TransferCause cause, const std::string& refusal = "");

  bool is_https = false;
  std::unique_ptr<KRBASE::network::platform::HttpSession> session;
  std::unique_ptr<KRBASE::network::platform::HttpConnection> connection;
  Handle request;
  int32_t connect_time_out = 4000;  // ms, as are the next two
  int32_t send_time_out = 2000;
  int32_t receive_time_out = 100;
  CHttpHeader header;
  HttpDownloadCallback callback = nullptr;
  void* user_value = nullptr;
  KRBASE::network::HttpInterfaceError error = KRBASE::network::kHttpNoError;
  std::optional<KRBASE::network::TransferFailure> failure;
  std::string header_text;
  std::string body;
  int32_t status = 0;
};
