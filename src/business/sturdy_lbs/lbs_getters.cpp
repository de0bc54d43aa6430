// The plain reads of the active data.
#include <chrono>
#include <cstring>
#include <thread>

#include "base/log/log.h"
#include "base/platform/thread.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

namespace zo_sturdy {

namespace {

constexpr std::chrono::milliseconds kPollInterval{10};

}  // namespace

void ZOSturdyLBSServiceImpl::GetLBSResponse(bool no_wait, char* out) {
  if (out == nullptr) {
    return;
  }
  // A thread of the library's own would wait for work that it does itself.
  if (!no_wait && !zo_base::IsLibraryThread()) {
    while (updatting_lbs_) {
      std::this_thread::sleep_for(kPollInterval);
    }
  }
  CopyValue(lbs_key::kResponse, out, kLBSResponseBufferSize);
}

void ZOSturdyLBSServiceImpl::GetVltDL(char* out) {
  CopyValue(lbs_key::kVltDL, out, kVltDLBufferSize);
}

void ZOSturdyLBSServiceImpl::GetVltDLList(char* out) {
  CopyValue(lbs_key::kVltDLList, out, kVltDLListBufferSize);
}

void ZOSturdyLBSServiceImpl::GetVltList(char* out) {
  CopyValue(lbs_key::kVltList, out, kVltListBufferSize);
}

void ZOSturdyLBSServiceImpl::GetName(char* out) {
  CopyValue(lbs_key::kName, out, kNameBufferSize);
}

void ZOSturdyLBSServiceImpl::GetDesc(char* out) {
  CopyValue(lbs_key::kDesc, out, kDescBufferSize);
}

void ZOSturdyLBSServiceImpl::CopyValue(const char* key, char* out, size_t buffer_size) {
  if (out == nullptr || !serving_) {
    return;
  }
  const std::string value = response_.Get(key);
  if (value.size() >= buffer_size) {
    ZO_LOG(LV_APP) << "[lbs] Value too long for the client :" << key << " size :" << value.size();
    return;
  }
  value.copy(out, value.size());
}

void ZOSturdyLBSServiceImpl::GetMsgStatInfo(char* out) {
  if (out == nullptr || !serving_) {
    return;
  }
  const _ZOSturdyMsgStatInfo record = MsgStatInfoRecord(*msg_stat_info_.Get());
  std::memcpy(out, &record, sizeof(record));
}

}  // namespace zo_sturdy
