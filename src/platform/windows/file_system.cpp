#include "platform/data_file.h"

namespace platform {

// Only an administrator may ask for that here.
std::unique_ptr<FileSystem> FileSystem::Open(const std::string& /*directory*/) { return nullptr; }

FileSystem::~FileSystem() = default;

bool FileSystem::Sync(std::string& why) {
  why = "a whole file system cannot be synchronised on this system";
  return false;
}

}  // namespace platform
