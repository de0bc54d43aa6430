#pragma once

#include <memory>
#include <string>

#include "network/platform/curl/curl_library.h"
#include "network/platform/transfer_plan.h"

// Turns a plan into libcurl's options.
// Requires: libcurl is loaded.
// Threads:  one at a time, the worker of the transfer.
// Owner:    the CurlTransfer owns the lists and the handle.
namespace KRBASE::network::platform {

struct CurlListDeleter {
  void operator()(curl_slist* list) const { Curl().slist_free_all(list); }
};

// A list that libcurl refers to. It must outlive the transfer.
class CurlList {
 public:
  // Returns false if there is no memory; the list is unchanged then.
  [[nodiscard]] bool Append(const std::string& text);
  [[nodiscard]] curl_slist* get() const { return list_.get(); }

 private:
  std::unique_ptr<curl_slist, CurlListDeleter> list_;
};

// The lists of one transfer.
struct CurlLists {
  CurlList headers;
  CurlList connect_to;
  CurlList resolve;
};

// Returns false if there is no memory.
[[nodiscard]] bool BuildLists(const TransferPlan& plan, CurlLists& lists);

// Sets all options except the callbacks. `plan` and `lists` must outlive the transfer.
// Returns false if libcurl refuses an option that the plan needs.
[[nodiscard]] bool SetTransferOptions(CURL* easy, const TransferPlan& plan, const CurlLists& lists);

}  // namespace KRBASE::network::platform
