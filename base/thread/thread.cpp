#include "base/thread/thread.h"

namespace zo_base {

size_t IThread::SIG_ThreadBegin() {
  return SignalBody("zo_base::IThread::SIG_ThreadBegin");
}

size_t IThread::SIG_ThreadEnd() {
  return SignalBody("zo_base::IThread::SIG_ThreadEnd");
}

size_t IThread::SIG_InternalBegin() {
  return SignalBody("zo_base::IThread::SIG_InternalBegin");
}

size_t IThread::SIG_InternalEnd() {
  return SignalBody("zo_base::IThread::SIG_InternalEnd");
}

}  // namespace zo_base
