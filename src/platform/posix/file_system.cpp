#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/data_file.h"

namespace platform {
namespace {

// File systems whose syncfs writes everything to their own disk and reports errors.
constexpr std::uint32_t kXfs = 0x58465342;
constexpr std::array<std::uint32_t, 5> kTrusted = {EXT4_SUPER_MAGIC, kXfs, BTRFS_SUPER_MAGIC,
                                                   F2FS_SUPER_MAGIC, TMPFS_MAGIC};

// Older systems do not report the errors of the data, and before 5.17 not those of the last step.
bool TellsOfErrors() {
  struct utsname system = {};
  int major = 0;
  int minor = 0;
  return uname(&system) == 0 && std::sscanf(system.release, "%d.%d", &major, &minor) == 2 &&
         (major > 5 || (major == 5 && minor >= 17));
}

}  // namespace

std::unique_ptr<FileSystem> FileSystem::Open(const std::string& directory) {
  const int handle = open(NativePath(directory).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) {
    return nullptr;
  }
  std::unique_ptr<FileSystem> opened(new FileSystem(handle));
  struct stat file = {};
  struct statfs status = {};
  if (fstat(handle, &file) != 0 || fstatfs(handle, &status) != 0) {
    return nullptr;
  }
  opened->volume_ = file.st_dev;
  const bool trusted =
      TellsOfErrors() && std::find(kTrusted.begin(), kTrusted.end(),
                                   static_cast<std::uint32_t>(status.f_type)) != kTrusted.end();
  return trusted ? std::move(opened) : nullptr;
}

FileSystem::~FileSystem() { close(handle_); }

bool FileSystem::Sync(std::string& why) {
  if (syncfs(handle_) == 0) {
    return true;
  }
  why = std::generic_category().message(errno);
  return false;
}

}  // namespace platform
