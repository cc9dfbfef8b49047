#include "platform/data_file.h"

namespace platform {

// On Windows only an administrator may synchronise a whole file system.
std::unique_ptr<FileSystem> FileSystem::Open(const std::string& /*directory*/) { return nullptr; }

FileSystem::~FileSystem() = default;

bool FileSystem::Sync(std::string& why) {
  why = "a whole file system cannot be synchronised on this system";
  return false;
}

}  // namespace platform
