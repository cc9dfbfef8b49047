// Terminals without a screen came with this release.
#define _WIN32_WINNT 0x0A00
#define NTDDI_VERSION 0x0A000006
#include "support/run_program.h"

#include <windows.h>

#include <cstdlib>
#include <ctime>
#include <future>
#include <optional>
#include <regex>
#include <stdexcept>
#include <thread>

#include "platform/data_file.h"

namespace support {
namespace {

// Quotes one argument so that the C runtime of the child takes it for one.
std::string Quoted(const std::string& argument) {
  static const std::regex beforeQuote("(\\\\*)\"");
  static const std::regex atEnd("(\\\\+)$");
  const std::string inner = std::regex_replace(argument, beforeQuote, "$1$1\\\"");
  return '"' + std::regex_replace(inner, atEnd, "$1$1") + '"';
}

HANDLE OutputFile(const std::string& path) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                     &inheritable, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void Feed(HANDLE pipe, const std::string& text, std::future<void> end) {
  DWORD written = 0;
  WriteFile(pipe, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  if (text.empty()) {
    end.wait();
  }
  CloseHandle(pipe);
}

std::string EnvironmentBlock(std::map<std::string, std::string> environment) {
  if (std::string root; platform::EnvironmentVariable("SystemRoot", root)) {
    environment.emplace("SystemRoot", root);
  }
  std::string block;
  for (const auto& [name, value] : environment) {
    block += name + "=" + value + '\0';
  }
  return block + '\0';
}

// A terminal without a screen, for one program to be started.
class Terminal {
 public:
  explicit Terminal(STARTUPINFOEXA& startup) {
    HANDLE keys = nullptr;
    HANDLE screen = nullptr;
    CreatePipe(&keys, &keyboard_, nullptr, 0);
    CreatePipe(&screenEnd_, &screen, nullptr, 0);
    CreatePseudoConsole({80, 25}, keys, screen, 0, &console_);
    CloseHandle(keys);
    CloseHandle(screen);
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    attributes_.resize(size);
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes_.data());
    InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size);
    UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE, console_,
                              sizeof(console_), nullptr, nullptr);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() {
    CloseHandle(screenEnd_);
    ClosePseudoConsole(console_);
    CloseHandle(keyboard_);
  }

 private:
  HANDLE keyboard_ = nullptr;
  HANDLE screenEnd_ = nullptr;
  HPCON console_ = nullptr;
  std::vector<unsigned char> attributes_;
};

BOOL WINAPI SurviveCtrlC(DWORD event) { return event == CTRL_C_EVENT ? TRUE : FALSE; }

}  // namespace

// Only who shares a program's terminal can press its keys.
bool Interrupt(int process) {
  FreeConsole();
  if (AttachConsole(static_cast<DWORD>(process)) == 0) {
    return false;
  }
  SetConsoleCtrlHandler(SurviveCtrlC, TRUE);
  const bool pressed = GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != 0;
  Sleep(500);  // the handlers run in threads of their own
  FreeConsole();
  SetConsoleCtrlHandler(SurviveCtrlC, FALSE);
  return pressed;
}

void UseZone(const std::string& zone) {
  _putenv(("TZ=" + zone).c_str());
  _tzset();
}

ProgramRun RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment,
                      const std::string& workingDirectory, const std::string& standardInput,
                      const std::function<void(int)>& meanwhile) {
  const TemporaryDirectory outputs;
  const std::string out = outputs.File("out");
  const std::string err = outputs.File("err");
  std::string commandLine = Quoted(path);
  for (const std::string& argument : arguments) {
    commandLine += " " + Quoted(argument);
  }
  HANDLE inputEnd = nullptr;
  HANDLE feedingEnd = nullptr;
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  if (CreatePipe(&inputEnd, &feedingEnd, &inheritable, 0) == 0) {
    throw std::runtime_error("no pipe");
  }
  SetHandleInformation(feedingEnd, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOEXA extended = {};
  STARTUPINFOA& startup = extended.StartupInfo;
  startup.cb = sizeof(extended);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = inputEnd;
  startup.hStdOutput = OutputFile(out);
  startup.hStdError = OutputFile(err);
  std::optional<Terminal> terminal;
  if (meanwhile) {
    terminal.emplace(extended);
  }
  PROCESS_INFORMATION process = {};
  std::string block = EnvironmentBlock(environment);
  const BOOL started =
      CreateProcessA(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT,
                     block.data(), workingDirectory.c_str(), &startup, &process);
  const DWORD failure = started != 0 ? ERROR_SUCCESS : GetLastError();
  CloseHandle(inputEnd);
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
  std::promise<void> inputEnds;
  std::thread feeder(Feed, feedingEnd, std::cref(standardInput), inputEnds.get_future());
  if (started != 0 && meanwhile) {
    meanwhile(static_cast<int>(process.dwProcessId));
  }
  inputEnds.set_value();
  ProgramRun run;
  if (started != 0) {
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(process.hProcess, &status);
    run.exitStatus = static_cast<int>(status);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
  }
  feeder.join();
  run.out = ReadWholeFile(out);
  run.err = started != 0 ? ReadWholeFile(err) : "cannot be started: error " + std::to_string(failure);
  return run;
}

}  // namespace support
