#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "platform/internal.h"
#include "platform/posix/interrupts.h"

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

// To be asked before opening, because opening alone makes some devices move.
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

// A named pipe can be opened only when somebody reads it. This waits for a reader until an interrupt leaves
// no more time. If there is no memory for the stream of a new file, the file is deleted again.
std::FILE* OpenForWriting(const std::string& path, int flags, const char* mode) {
  constexpr std::uint32_t kPollMilliseconds = 20;
  const auto tryOnce = [&] {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | flags,
                kAsTheUserLikes);
  };
  struct stat status = {};
  const bool isNew = (flags & O_APPEND) == 0 && lstat(path.c_str(), &status) != 0;
  int descriptor = tryOnce();
  while (descriptor < 0 && errno == ENXIO && MillisecondsLeft(kNoTool) != 0 &&
         stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) {
    SleepMilliseconds(kPollMilliseconds);
    descriptor = tryOnce();
  }
  if (descriptor >= 0) {
    (void)fcntl(descriptor, F_SETFL, flags & O_APPEND);
  }
  std::FILE* stream = StreamOf(descriptor, mode);
  if (stream == nullptr && descriptor >= 0 && isNew) {
    unlink(path.c_str());
  }
  return stream;
}

}  // namespace

std::FILE* OpenStream(const std::string& path, TextFile::Mode mode) {
  switch (mode) {
    case TextFile::Mode::kRead:
      return OpenForReading(path);
    case TextFile::Mode::kAppend:
      return OpenForWriting(path, O_APPEND, "a");
    case TextFile::Mode::kCreateNew:
      return OpenForWriting(path, O_EXCL, "w");
    case TextFile::Mode::kCreate:
      break;
  }
  return OpenForWriting(path, O_TRUNC, "w");
}

bool WriteStream(std::FILE* stream, std::string_view text) {
  if (IsRegularFile(stream)) {
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
  }
  // A pipe that can be written at all has room for so much: the write itself never waits.
  constexpr std::size_t kPiece = PIPE_BUF;
  if (std::fflush(stream) != 0) {
    return false;
  }
  while (!text.empty()) {
    if (!WaitUntilWritable(fileno(stream))) {
      return false;
    }
    const ssize_t written = write(fileno(stream), text.data(), std::min(text.size(), kPiece));
    if (written < 0 && errno != EINTR) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
  return true;
}

std::FILE* OpenTemporaryStream(const std::string& directory, std::string& path) {
  std::string name = SystemPath(directory) + "/backint_XXXXXX";
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  std::FILE* stream = StreamOf(descriptor, "w");
  if (stream != nullptr) {
    path = std::move(name);
  } else if (descriptor >= 0) {
    unlink(name.c_str());
  }
  return stream;
}

bool IsRegularFile(std::FILE* stream) {
  struct stat status = {};
  return fstat(fileno(stream), &status) == 0 && S_ISREG(status.st_mode);
}

bool SystemEndsLinesInCarriageReturn() { return false; }

}  // namespace platform::internal
