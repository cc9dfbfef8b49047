#include "store/base/read_file.h"

#include <algorithm>
#include <memory>

#include "platform/data_file.h"

namespace store {

// Step by step: to allocate memory for the largest file would cost a program more than the rest of its start.
bool ReadFileUpTo(const std::string& path, std::size_t most, std::string& bytes, std::string& why) {
  constexpr std::size_t kStep = 16 * 1024;
  bytes.clear();
  const std::unique_ptr<platform::DataFile> file = platform::DataFile::OpenForReading(path, why);
  if (file == nullptr) {
    return false;
  }
  while (bytes.size() < most) {
    const std::size_t before = bytes.size();
    const std::size_t wanted = std::min(kStep, most - before);
    std::size_t got = 0;
    bytes.resize(before + wanted);
    if (!file->ReadAt(before, bytes.data() + before, wanted, got)) {
      why = file->Why();
      return false;
    }
    bytes.resize(before + got);
    if (got < wanted) {
      break;
    }
  }
  return true;
}

}  // namespace store
