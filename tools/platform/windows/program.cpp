#include "tools/platform/program.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

// Need the types of windows.h.
#include <shellapi.h>
#include <winternl.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

extern "C" NTSTATUS NTAPI RtlGetVersion(OSVERSIONINFOW* version);

namespace platform {

namespace {

UINT console_code_page = 0;  // what the console had before

std::string Utf8(const wchar_t* text) {
  return std::filesystem::path(text).string();  // in UTF-8
}

}  // namespace

// The arguments of main are in the system's code page, which lacks most letters.
std::vector<std::string> StartProgram(int /*argc*/, char** /*argv*/) {
  console_code_page = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
  // The console outlives the program.
  static_cast<void>(std::atexit([] { SetConsoleOutputCP(console_code_page); }));
  for (std::FILE* const stream : {stdout, stderr}) {
    static_cast<void>(_setmode(_fileno(stream), _O_BINARY));
  }
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    arguments.push_back(Utf8(words[i]));
  }
  LocalFree(words);
  return arguments;
}

std::string ThisProgram() {
  std::array<wchar_t, 32768> path{};  // the longest that the system knows
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return Utf8(path.data());
}

// GetVersionEx would name an older Windows to a program without a manifest.
std::string SystemName() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  RtlGetVersion(&version);
  return "Windows " + std::to_string(version.dwMajorVersion) + "." +
         std::to_string(version.dwMinorVersion) + "." + std::to_string(version.dwBuildNumber) +
         " x86_64";
}

}  // namespace platform
