#include "tests/support/process_state.h"

#include <windows.h>

// Needs the types of windows.h.
#include <tlhelp32.h>

#include <clocale>
#include <cstdint>
#include <filesystem>

std::string HostState() {
  return std::string(std::setlocale(LC_ALL, nullptr)) + " " +
         std::filesystem::current_path().string();
}

int64_t CountThreads() {
  int64_t count = 0;
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 thread{};
  thread.dwSize = sizeof(thread);
  for (BOOL more = Thread32First(all, &thread); more != 0; more = Thread32Next(all, &thread)) {
    count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
  }
  CloseHandle(all);
  return count;
}

// Tries each number that a handle can have: under Wine GetProcessHandleCount gives 0.
int64_t CountHandles() {
  constexpr uintptr_t kStep = 4;
  constexpr uintptr_t kTriedHandles = 2048;
  int64_t count = 0;
  for (uintptr_t number = kStep; number <= kStep * kTriedHandles; number += kStep) {
    DWORD flags = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number
    count += GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags) != 0 ? 1 : 0;
  }
  return count;
}

int64_t CountHeapBytes() {
  int64_t bytes = 0;
  const HANDLE heap = GetProcessHeap();
  HeapLock(heap);
  for (PROCESS_HEAP_ENTRY entry{}; HeapWalk(heap, &entry) != 0;) {
    bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
  }
  HeapUnlock(heap);
  return bytes;
}
