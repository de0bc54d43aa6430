#pragma once

#include <memory>

#include "base/object/object.h"
#include "base/thread/task_loop.h"
#include "base/thread/thread_info.h"

namespace zo_base {

// Interface of a thread with a task loop.
// Signals: on the thread itself, InternalBegin and ThreadBegin before Start returns, ThreadEnd
//          and InternalEnd after its loop. A service does its start-up work in a slot of its own
//          SIG_ThreadBegin.
class IThread : public virtual ZOObjectIMPL {
 public:
  static inline Signal<> SIG_ThreadBegin;
  static inline Signal<> SIG_ThreadEnd;
  static inline Signal<> SIG_InternalBegin;
  static inline Signal<> SIG_InternalEnd;

  virtual bool IsRunning() = 0;
  virtual void Start() = 0;
  virtual void Stop() = 0;
  virtual void Join() = 0;
  virtual void Run() = 0;
  virtual std::shared_ptr<ITaskLoop> GetTaskLoop() = 0;
  virtual bool IsCurrentThread() = 0;
  virtual void SetThreadInfo(const ThreadInfo& info) = 0;
  virtual void ClearThreadInfo() = 0;
};

}  // namespace zo_base
