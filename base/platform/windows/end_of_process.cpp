#include "base/platform/end_of_process.h"

#include <windows.h>

#include <cstdlib>

namespace zo_base {
namespace {

// Returns whether this code is in the program itself, whose teardown is always the end.
bool IsInProgram() {
  HMODULE ours = nullptr;
  return GetModuleHandleExW(
             GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
             reinterpret_cast<LPCWSTR>(&IsInProgram), &ours) != 0 &&
         ours == GetModuleHandleW(nullptr);
}

}  // namespace

// Each DLL has handlers of its own, which run when it is unloaded.
bool AtEnd(void (*handler)()) {
  return std::atexit(handler) == 0;
}

bool ProcessEnds() {
  if (IsInProgram()) {
    return true;
  }
  // The system has ended all other threads by then, perhaps while they held a lock.
  using ShutdownInProgress = BOOLEAN(NTAPI*)();
  const auto ends = reinterpret_cast<ShutdownInProgress>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
  return ends == nullptr || ends() != 0;
}

}  // namespace zo_base
