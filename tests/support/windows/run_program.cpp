#include "support/run_program.h"

#include <windows.h>

#include <stdexcept>
#include <thread>

namespace support {
namespace {

// Quotes one argument so that the C runtime of the child takes it for one.
std::string Quoted(const std::string& argument) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    text.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
    backslashes = 0;
    text += c;
  }
  text.append(2 * backslashes, '\\');
  return text + "\"";
}

HANDLE OutputFile(const std::string& path) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                     &inheritable, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void Feed(HANDLE pipe, const std::string& text) {
  DWORD written = 0;
  WriteFile(pipe, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  CloseHandle(pipe);
}

std::string EnvironmentBlock(std::map<std::string, std::string> environment) {
  const std::map<std::string, std::string> current = CurrentEnvironment();
  for (const char* needed : {"SystemRoot", "SYSTEMROOT"}) {
    if (const auto found = current.find(needed); found != current.end()) {
      environment.insert(*found);
    }
  }
  std::string block;
  for (const auto& [name, value] : environment) {
    block += name + "=" + value + '\0';
  }
  return block + '\0';
}

}  // namespace

ProgramRun RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment,
                      const std::string& workingDirectory, const std::string& standardInput) {
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
  STARTUPINFOA startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = inputEnd;
  startup.hStdOutput = OutputFile(out);
  startup.hStdError = OutputFile(err);
  PROCESS_INFORMATION process = {};
  std::string block = EnvironmentBlock(environment);
  const BOOL started = CreateProcessA(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0,
                                      block.data(), workingDirectory.c_str(), &startup, &process);
  CloseHandle(inputEnd);
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
  std::thread feeder(Feed, feedingEnd, std::cref(standardInput));
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
  run.err = ReadWholeFile(err);
  return run;
}

std::map<std::string, std::string> CurrentEnvironment() {
  std::map<std::string, std::string> variables;
  char* block = GetEnvironmentStringsA();
  for (const char* variable = block; *variable != '\0'; variable += std::string(variable).size() + 1) {
    const std::string text = variable;
    const std::size_t equals = text.find('=', 1);
    if (equals != std::string::npos) {
      variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
  }
  FreeEnvironmentStringsA(block);
  return variables;
}

std::string ProgramDirectory() {
  std::string path(MAX_PATH, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.rfind('\\'));
}

std::string BuiltProgram(const std::string& name) { return ProgramDirectory() + "\\" + name + ".exe"; }

}  // namespace support
