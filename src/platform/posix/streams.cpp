#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/internal.h"

namespace platform::internal {
namespace {

constexpr mode_t kAsTheUserLikes = 0666;

std::FILE* StreamOf(int descriptor, const char* mode) {
  if (descriptor < 0) {
    return nullptr;
  }
  std::FILE* stream = fdopen(descriptor, mode);
  if (stream == nullptr) {
    close(descriptor);
  }
  return stream;
}

// Asked before opening: opening some devices moves them.
bool CanBeRead(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 &&
         (S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode));
}

std::FILE* OpenForReading(const std::string& path) {
  if (!CanBeRead(path)) {
    return nullptr;
  }
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  struct stat status = {};
  if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
      isatty(descriptor) == 0) {
    close(descriptor);
    return nullptr;
  }
  return StreamOf(descriptor, "r");
}

}  // namespace

std::FILE* OpenStream(const std::string& path, TextFile::Mode mode) {
  switch (mode) {
    case TextFile::Mode::kRead:
      return OpenForReading(path);
    case TextFile::Mode::kAppend:
      return StreamOf(
          open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, kAsTheUserLikes), "a");
    case TextFile::Mode::kCreate:
      break;
  }
  return StreamOf(open(path.c_str(), O_WRONLY | O_TRUNC | O_CREAT | O_CLOEXEC | O_NOCTTY, kAsTheUserLikes),
                  "w");
}

std::FILE* OpenTemporaryStream(const std::string& directory, std::string& path) {
  std::string name = SystemPath(directory) + "/backint_XXXXXX";
  std::FILE* stream = StreamOf(mkostemp(name.data(), O_CLOEXEC), "w");
  if (stream != nullptr) {
    path = name;
  }
  return stream;
}

bool IsRegularFile(std::FILE* stream) {
  struct stat status = {};
  return fstat(fileno(stream), &status) == 0 && S_ISREG(status.st_mode);
}

long long SizeOf(std::FILE* stream) {
  struct stat status = {};
  return fstat(fileno(stream), &status) == 0 ? status.st_size : -1;
}

void CutTo(std::FILE* stream, long long size) {
  if (ftruncate(fileno(stream), size) != 0) {
    return;  // nothing more can be done about it
  }
}

bool SystemEndsLinesInCarriageReturn() { return false; }

}  // namespace platform::internal
