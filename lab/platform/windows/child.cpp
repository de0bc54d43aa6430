#include "lab/child.h"
#include "lab/utf8_path.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <array>
#include <filesystem>

namespace lab {
namespace {

// Both ends of a pipe. The child inherits one of them.
struct Pipe {
  HANDLE read = INVALID_HANDLE_VALUE;
  HANDLE write = INVALID_HANDLE_VALUE;
};

bool MakePipe(Pipe& pipe, HANDLE Pipe::*of_child) {
  return CreatePipe(&pipe.read, &pipe.write, nullptr, 0) != 0 &&
         SetHandleInformation(pipe.*of_child, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0;
}

// Appends an argument as the C runtime of the child takes it apart: backslashes count only before a
// quote.
void AppendArgument(std::string& line, const std::string& argument) {
  line += line.empty() ? "\"" : " \"";
  size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') {
      line.append(backslashes + 1, '\\');
    }
    backslashes = c == '\\' ? backslashes + 1 : 0;
    line += c;
  }
  line.append(backslashes, '\\');
  line += '"';
}

std::wstring CommandLine(const std::vector<std::string>& command) {
  std::string line;
  for (const std::string& argument : command) {
    AppendArgument(line, argument);
  }
  return Utf8Path(line).wstring();
}

// What a process inherits: these handles and no other.
class InheritList {
 public:
  explicit InheritList(const std::array<HANDLE, 2>& handles) : handles_(handles) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    bytes_.resize(size);
    InitializeProcThreadAttributeList(get(), 1, 0, &size);
    UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                              sizeof(handles_), nullptr, nullptr);
  }
  ~InheritList() { DeleteProcThreadAttributeList(get()); }
  InheritList(const InheritList&) = delete;
  InheritList& operator=(const InheritList&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST get() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes_.data());
  }

 private:
  std::array<HANDLE, 2> handles_;
  std::vector<char> bytes_;
};

// Returns the handle of the process, or -1.
std::intptr_t Start(const std::vector<std::string>& command, HANDLE input, HANDLE output) {
  InheritList inherited({input, output});
  STARTUPINFOEXW start{};
  start.StartupInfo.cb = sizeof(start);
  start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  start.StartupInfo.hStdInput = input;
  start.StartupInfo.hStdOutput = output;
  start.StartupInfo.hStdError = output;
  start.lpAttributeList = inherited.get();
  std::wstring line = CommandLine(command);
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT,
                     nullptr, nullptr, &start.StartupInfo, &process) == 0) {
    return -1;
  }
  CloseHandle(process.hThread);
  return reinterpret_cast<std::intptr_t>(process.hProcess);
}

HANDLE AsHandle(std::intptr_t process) {
  return reinterpret_cast<HANDLE>(process);  // NOLINT(performance-no-int-to-ptr): it was one
}

}  // namespace

Child::Child(const std::vector<std::string>& command) {
  Pipe output;
  Pipe input;
  if (!MakePipe(output, &Pipe::write)) {
    return;
  }
  output_ = _fdopen(_open_osfhandle(reinterpret_cast<std::intptr_t>(output.read), _O_BINARY), "rb");
  if (MakePipe(input, &Pipe::read)) {
    input_ = _open_osfhandle(reinterpret_cast<std::intptr_t>(input.write), _O_BINARY);
    process_ = Start(command, input.read, output.write);
    CloseHandle(input.read);
  }
  // Closed here, so that the output ends with the child.
  CloseHandle(output.write);
}

Child::~Child() {
  Kill();
  if (output_ != nullptr) {
    std::fclose(output_);
  }
  if (input_ >= 0) {
    _close(input_);
  }
}

int Child::id() const {
  return process_ == -1 ? -1 : static_cast<int>(GetProcessId(AsHandle(process_)));
}

void Child::Signal() {
  static_cast<void>(!_write(input_, "!", 1));
}

// The exit code of a killed process is Wait's sign of an end from outside.
void Child::Kill() {
  if (process_ != -1) {
    TerminateProcess(AsHandle(process_), static_cast<UINT>(-9));
    Wait();
  }
}

int Child::Wait() {
  DWORD code = 0;
  if (process_ == -1 || WaitForSingleObject(AsHandle(process_), INFINITE) != WAIT_OBJECT_0) {
    return -1;
  }
  GetExitCodeProcess(AsHandle(process_), &code);
  CloseHandle(AsHandle(process_));
  process_ = -1;
  return static_cast<int>(code);
}

}  // namespace lab
