#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "platform/data_file.h"
#include "platform/internal.h"
#include "platform/windows/console.h"
#include "platform/windows/interrupts.h"
#include "platform/windows/owner_alone.h"
#include "platform/windows/wide.h"

namespace platform::internal {
namespace {

HANDLE HandleOf(std::FILE* stream) { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))); }

// Creates a new file. The C library does not have a mode for that on every system.
std::FILE* CreateStream(const std::string& path, DWORD sharing, SECURITY_ATTRIBUTES* rights) {
  const HANDLE file = CreateFileW(WidePath(path).c_str(), GENERIC_WRITE, sharing, rights, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    errno = error == ERROR_FILE_EXISTS ? EEXIST : error == ERROR_ACCESS_DENIED ? EACCES : ENOENT;
    return nullptr;
  }
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_BINARY);
  std::FILE* stream = descriptor < 0 ? nullptr : _fdopen(descriptor, "wb");
  if (stream != nullptr) {
    return stream;
  }
  if (descriptor < 0) {
    CloseHandle(file);
  } else {
    _close(descriptor);
  }
  DeleteFileW(WidePath(path).c_str());
  return nullptr;
}

}  // namespace

// Always in binary mode: line ends are our own work, and Ctrl-Z is a character like any other.
std::FILE* OpenStream(const std::string& path, TextFile::Mode mode) {
  switch (mode) {
    case TextFile::Mode::kRead:
      return _wfopen(WidePath(path).c_str(), L"rbN");
    case TextFile::Mode::kAppend:
      return _wfopen(WidePath(path).c_str(), L"abN");
    case TextFile::Mode::kCreateNew:
      return CreateStream(path, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr);
    case TextFile::Mode::kCreate:
      break;
  }
  return _wfopen(WidePath(path).c_str(), L"wbN");
}

std::FILE* OpenTemporaryStream(const std::string& directory, std::string& path) {
  std::string name = SystemPath(directory) + "\\backint_" + RandomName();
  SECURITY_ATTRIBUTES ownerAlone = OwnerAlone(false);
  std::FILE* stream = CreateStream(name, FILE_SHARE_READ, &ownerAlone);
  if (stream != nullptr) {
    path = std::move(name);
  }
  return stream;
}

bool WriteStream(std::FILE* stream, std::string_view text) {
  if (IsRegularFile(stream)) {
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
  }
  const PipeWait wait(kNoTool);
  const bool written =
      IsConsole(HandleOf(stream))
          ? WriteToConsole(HandleOf(stream), text)
          : std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
  if (written) {
    NoteProgress();
  }
  return written;
}

bool IsRegularFile(std::FILE* stream) { return GetFileType(HandleOf(stream)) == FILE_TYPE_DISK; }

bool SystemEndsLinesInCarriageReturn() { return true; }

}  // namespace platform::internal
