#include <windows.h>

#include <vector>

#include "platform/internal.h"
#include "platform/windows/data_names.h"
#include "platform/windows/owner_alone.h"
#include "platform/windows/wide.h"

namespace platform {
namespace {

using internal::RunnableProgram;
using internal::Tell;

// A handle that closes itself.
class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (IsOpen()) {
      CloseHandle(handle_);
    }
  }
  [[nodiscard]] bool IsOpen() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_;
};

HANDLE OpenInheritable(const std::string& path, DWORD access, DWORD creation) {
  SECURITY_ATTRIBUTES inheritable = internal::OwnerAlone(true);
  return CreateFileW(internal::WidePath(path).c_str(), access,
                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable, creation,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE NullDevice(DWORD access) { return OpenInheritable("NUL", access, OPEN_EXISTING); }

// A copy of one of our own streams that a child can inherit; the null device if the stream is closed.
HANDLE OwnStream(DWORD which) {
  HANDLE copy = nullptr;
  const HANDLE process = GetCurrentProcess();
  if (DuplicateHandle(process, GetStdHandle(which), process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS) == 0) {
    return NullDevice(GENERIC_WRITE);
  }
  return copy;
}

HANDLE OpenErrorFile(const std::string& path) {
  if (path.empty()) {
    return OwnStream(STD_ERROR_HANDLE);
  }
  // With only this access right, every write goes to the end that the file has at that moment.
  const HANDLE file = OpenInheritable(path, FILE_APPEND_DATA | SYNCHRONIZE, OPEN_ALWAYS);
  return file != INVALID_HANDLE_VALUE ? file : NullDevice(GENERIC_WRITE);
}

// Creates a pipe. A child cannot inherit the read end. False if it cannot be created.
bool MakePipe(HANDLE& readEnd, HANDLE& writeEnd) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  if (CreatePipe(&readEnd, &writeEnd, &inheritable, 0) == 0) {
    return false;
  }
  SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
  return true;
}

// The list of handles that a child inherits; it inherits no others.
class InheritedHandles {
 public:
  explicit InheritedHandles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    storage_.resize(size);
    made_ = InitializeProcThreadAttributeList(List(), 1, 0, &size) != 0 &&
            UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                      handles_.size() * sizeof(HANDLE), nullptr, nullptr) != 0;
  }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;
  ~InheritedHandles() { DeleteProcThreadAttributeList(List()); }
  [[nodiscard]] bool Made() const { return made_; }
  [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST List() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
  }

 private:
  std::vector<HANDLE> handles_;
  std::vector<unsigned char> storage_;
  bool made_ = false;
};

// A process that exists but has not begun to run.
struct Started {
  HANDLE process = nullptr;
  HANDLE thread = nullptr;
  DWORD error = 0;
};

// `process` is null if the program cannot be started.
Started StartProcess(const std::string& program, std::string commandLine, HANDLE output, HANDLE error) {
  const Handle input(NullDevice(GENERIC_READ));
  InheritedHandles inherited({input.Get(), output, error});
  if (!input.IsOpen() || !inherited.Made()) {
    return {nullptr, nullptr, GetLastError()};
  }
  STARTUPINFOEXA startup = {};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = input.Get();
  startup.StartupInfo.hStdOutput = output;
  startup.StartupInfo.hStdError = error;
  startup.lpAttributeList = inherited.List();
  PROCESS_INFORMATION process = {};
  if (CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                     CREATE_NEW_PROCESS_GROUP | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT, nullptr,
                     nullptr, &startup.StartupInfo, &process) == 0) {
    return {nullptr, nullptr, GetLastError()};
  }
  return {process.hProcess, process.hThread, 0};
}

void Watch(const Started& started, platform::ToolStream& stream) {
  stream.Watch(reinterpret_cast<std::intptr_t>(started.process));
  ResumeThread(started.thread);
  CloseHandle(started.thread);
}

}  // namespace

std::unique_ptr<ToolStream> StartControlTool(const std::string& commandLine, const std::string& errorFile,
                                             std::string* why) {
  const internal::ProgramToken token = internal::FirstToken(commandLine);
  // With an open quote, the name would be the whole command, with its login.
  const std::string program = token.isOpen ? "" : RunnableProgram(token.name, true);
  HANDLE readEnd = nullptr;
  HANDLE pipeEnd = nullptr;
  if (program.empty()) {
    Tell(why, token.isOpen ? internal::kOpenQuote : internal::WhyNotRunnable(token.name));
    return nullptr;
  }
  if (!MakePipe(readEnd, pipeEnd)) {
    Tell(why, program + ": " + internal::LastErrorText());
    return nullptr;
  }
  auto stream = std::make_unique<ToolStream>(reinterpret_cast<std::intptr_t>(readEnd), false);
  const Handle writeEnd(pipeEnd);
  const Handle error(OpenErrorFile(errorFile));
  // With a blank at the beginning, the program's own name would be an argument.
  const std::size_t start = commandLine.find_first_not_of(" \t");
  const Started started = StartProcess(program, commandLine.substr(start), writeEnd.Get(), error.Get());
  if (started.process == nullptr) {
    Tell(why, program + ": " + internal::ErrorText(started.error));
    return nullptr;
  }
  Watch(started, *stream);
  return stream;
}

std::unique_ptr<ToolStream> StartDataMover(const std::string& program, const std::string& arguments,
                                           std::string* why) {
  const std::string name = internal::WithoutQuotes(program);
  HANDLE readEnd = nullptr;
  HANDLE pipeEnd = nullptr;
  if (!MakePipe(readEnd, pipeEnd)) {
    Tell(why, name + ": " + internal::LastErrorText());
    return nullptr;
  }
  auto stream = std::make_unique<ToolStream>(reinterpret_cast<std::intptr_t>(readEnd), true);
  const Handle writeEnd(pipeEnd);
  const Handle output(OwnStream(STD_OUTPUT_HANDLE));
  // A name that contains "exe" was already found to exist as it is.
  const std::string file = RunnableProgram(name, name.find("exe") == std::string::npos);
  if (file.empty()) {
    Tell(why, internal::WhyNotRunnable(name));
    return stream;
  }
  const Started started = StartProcess(file, arguments, output.Get(), writeEnd.Get());
  if (started.process != nullptr) {
    Watch(started, *stream);
  } else {
    // The write end closes, so the stream ends at once.
    Tell(why, file + ": " + internal::ErrorText(started.error));
  }
  return stream;
}

}  // namespace platform
