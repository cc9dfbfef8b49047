#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/internal.h"

namespace platform::internal {
namespace {

int Descriptor(std::intptr_t handle) { return static_cast<int>(handle); }

// The lock belongs to the open file, not to the process: a second opening in the same process is another
// holder.
bool SetLock(int descriptor, short type, std::int64_t position, std::uint64_t length) {
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = position;
  range.l_len = static_cast<off_t>(length);
  int result = 0;
  do {
    result = fcntl(descriptor, F_OFD_SETLK, &range);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace

// Without O_NONBLOCK, opening a FIFO or a device could wait.
LockableFile::LockableFile(const std::string& path)
    : handle_(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600)) {
  struct stat status = {};
  if (!IsOpen() || fstat(Descriptor(handle_), &status) != 0) {
    why_ = LastErrorText();
  } else if (!S_ISREG(status.st_mode)) {
    why_ = "it is no regular file";
  } else {
    endAtOpening_ = status.st_size;
  }
  if (IsOpen() && endAtOpening_ < 0) {
    CloseHandle(Release());
  }
}

LockableFile::LockableFile(std::FILE* stream) : handle_(fileno(stream)), owned_(false) {}

LockableFile::~LockableFile() {
  if (IsOpen() && owned_) {
    CloseHandle(handle_);
  }
}

bool LockableFile::IsOpen() const { return handle_ >= 0; }

std::int64_t LockableFile::End() const { return lseek(Descriptor(handle_), 0, SEEK_END); }

LockableFile::Lock LockableFile::TryLock(std::int64_t position, std::uint64_t length) const {
  if (SetLock(Descriptor(handle_), F_WRLCK, position, length)) {
    return Lock::kGranted;
  }
  return errno == EAGAIN || errno == EACCES ? Lock::kHeldByAnother : Lock::kImpossible;
}

void LockableFile::Unlock(std::int64_t position, std::uint64_t length) const {
  SetLock(Descriptor(handle_), F_UNLCK, position, length);
}

// In append mode the system finds the end by itself. There is more than one call only if the disk is almost
// full.
std::size_t LockableFile::Append(std::int64_t /*position*/, std::string_view text) const {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = write(Descriptor(handle_), text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) {
      break;
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
  }
  return done;
}

void LockableFile::CutTo(std::int64_t size) const {
  if (ftruncate(Descriptor(handle_), size) != 0) {
    return;  // the part that was written stays: nothing more can be done about it
  }
}

std::intptr_t LockableFile::Release() {
  const std::intptr_t handle = handle_;
  handle_ = -1;
  return handle;
}

std::string LastErrorText() { return std::generic_category().message(errno); }

void LockableFile::CloseHandle(std::intptr_t handle) { close(Descriptor(handle)); }

bool LockableFile::LocksLetRead() { return true; }

}  // namespace platform::internal
