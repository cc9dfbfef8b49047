#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "platform/internal.h"
#include "platform/windows/interrupts.h"
#include "platform/windows/owner_alone.h"

namespace platform::internal {
namespace {

constexpr int kAttempts = 1000;

HANDLE HandleOf(std::FILE* stream) { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))); }

}  // namespace

// Binary throughout: line ends are our own work, and a Ctrl-Z is a character like any other.
std::FILE* OpenStream(const std::string& path, TextFile::Mode mode) {
  switch (mode) {
    case TextFile::Mode::kRead:
      return std::fopen(path.c_str(), "rbN");
    case TextFile::Mode::kAppend:
      return std::fopen(path.c_str(), "abN");
    case TextFile::Mode::kCreateNew:
      return std::fopen(path.c_str(), "wxbN");
    case TextFile::Mode::kCreate:
      break;
  }
  return std::fopen(path.c_str(), "wbN");
}

std::FILE* OpenTemporaryStream(const std::string& directory, std::string& path) {
  const std::string beginning =
      SystemPath(directory) + "\\backint_" + std::to_string(GetCurrentProcessId()) + "_";
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::string name = beginning + std::to_string(GetTickCount() + static_cast<DWORD>(attempt));
    SECURITY_ATTRIBUTES ownerAlone = OwnerAlone(false);
    const HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &ownerAlone, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      path = name;
      return _fdopen(_open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_BINARY), "wb");
    }
    if (GetLastError() != ERROR_FILE_EXISTS) {
      break;
    }
  }
  return nullptr;
}

bool WriteStream(std::FILE* stream, std::string_view text) {
  if (IsRegularFile(stream)) {
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
  }
  const PipeWait wait(kNoTool);
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
  if (written) {
    NoteProgress();
  }
  return written;
}

bool IsRegularFile(std::FILE* stream) { return GetFileType(HandleOf(stream)) == FILE_TYPE_DISK; }

long long SizeOf(std::FILE* stream) { return _filelengthi64(_fileno(stream)); }

void CutTo(std::FILE* stream, long long size) {
  LARGE_INTEGER position = {};
  position.QuadPart = size;
  if (SetFilePointerEx(HandleOf(stream), position, nullptr, FILE_BEGIN) != 0) {
    SetEndOfFile(HandleOf(stream));
  }
}

bool SystemEndsLinesInCarriageReturn() { return true; }

}  // namespace platform::internal
