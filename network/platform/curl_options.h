#pragma once

#include <memory>
#include <string>

#include "network/platform/curl_library.h"
#include "network/platform/transfer_plan.h"

// What libcurl is told about a transfer. Requires everywhere: libcurl is loaded.
namespace KRBASE::network::platform {

struct CurlListDeleter {
  void operator()(curl_slist* list) const { Curl().slist_free_all(list); }
};

// A list that libcurl refers to: it must outlive the transfer.
class CurlList {
 public:
  // False for want of memory; the list stays as it was.
  [[nodiscard]] bool Append(const std::string& text);
  [[nodiscard]] curl_slist* get() const { return list_.get(); }

 private:
  std::unique_ptr<curl_slist, CurlListDeleter> list_;
};

struct CurlLists {
  CurlList headers;
  CurlList connect_to;
  CurlList resolve;
};

// False for want of memory.
[[nodiscard]] bool BuildLists(const TransferPlan& plan, CurlLists& lists);

// Everything but the callbacks. `plan` and `lists` must outlive the transfer. False if libcurl
// refuses an option that the plan can't do without.
[[nodiscard]] bool SetTransferOptions(CURL* easy, const TransferPlan& plan, const CurlLists& lists);

}  // namespace KRBASE::network::platform
