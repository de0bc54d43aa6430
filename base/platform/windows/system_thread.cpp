#include "base/platform/system_thread.h"

#include <windows.h>

#include <string>
#include <utility>

#include "base/platform/thread.h"

namespace zo_base {
namespace {

constexpr DWORD kNameException = 0x406D1388;

// What a debugger reads from the exception.
struct NameRecord {
  DWORD type = 0x1000;
  LPCSTR name = nullptr;
  DWORD thread_id = 0;
  DWORD flags = 0;
};

// Goes on after the exception. Comes before the handlers of the host, whose crash
// reporter would take it for a crash.
LONG CALLBACK SwallowNameException(EXCEPTION_POINTERS* pointers) {
  return pointers->ExceptionRecord->ExceptionCode == kNameException ? EXCEPTION_CONTINUE_EXECUTION
                                                                    : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

// The system has no signals to block.
std::thread StartSystemThread(std::function<void()> body) {
  return std::thread(std::move(body));
}

void SetCurrentThreadName(const std::string& name) {
  constexpr ULONG kFirst = 1;
  void* const handler = AddVectoredExceptionHandler(kFirst, &SwallowNameException);
  if (handler == nullptr) {
    return;
  }
  const NameRecord record{.name = name.c_str(), .thread_id = GetCurrentThreadId()};
  RaiseException(kNameException, 0, sizeof(record) / sizeof(ULONG_PTR),
                 reinterpret_cast<const ULONG_PTR*>(&record));
  RemoveVectoredExceptionHandler(handler);
}

uint32_t CurrentThreadId() {
  return GetCurrentThreadId();
}

uint32_t CurrentProcessId() {
  return GetCurrentProcessId();
}

}  // namespace zo_base
