#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "platform/platform.h"

// The C runtime's start code reads this: no argument is treated as a wildcard. It is in the same file as a
// function that every program calls, so that it is linked into every program.
extern "C" {
extern int _dowildcard;
int _dowildcard = 0;
}

namespace platform {
namespace {

constexpr const char* kProductKey = "SOFTWARE\\Talvani Systeme GmbH\\korvo";
constexpr const char* kDirectoryValue = "KV_BIN_KORVO";
constexpr DWORD kLongestDirectory = 259;

}  // namespace

void PrepareProcess() {
  for (const int standardStream : {0, 1, 2}) {
    _setmode(standardStream, _O_BINARY);
  }
}

void WriteWithoutMemory(std::string_view line) {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD written = 0;
  WriteFile(output, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  WriteFile(output, "\r\n", 2, &written, nullptr);
}

int ProcessId() { return static_cast<int>(GetCurrentProcessId()); }

LocalTime LocalTimeNow() {
  SYSTEMTIME now = {};
  GetLocalTime(&now);
  return {now.wHour, now.wMinute, now.wSecond};
}

InstallDirResult InstallDirectory(std::string& directory) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kProductKey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
    return InstallDirResult::kNoKey;
  }
  char text[kLongestDirectory + 1] = {};
  DWORD size = kLongestDirectory + 1;
  DWORD type = REG_NONE;
  const LSTATUS result =
      RegQueryValueExA(key, kDirectoryValue, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
  RegCloseKey(key);
  const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
  // A value may be stored without a zero at its end. If there is no room for the zero, the value is too long.
  if (result != ERROR_SUCCESS || !isText || text[kLongestDirectory] != '\0') {
    return InstallDirResult::kNoValue;
  }
  directory = text;
  return InstallDirResult::kFound;
}

}  // namespace platform
