#include "store/repository_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace store {

namespace fs = std::filesystem;

std::vector<fs::path> FilesBelow(const fs::path& directory) {
  std::vector<fs::path> files;
  if (fs::exists(directory)) {
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
      if (entry.is_regular_file()) {
        files.push_back(entry.path());
      }
    }
  }
  std::sort(files.begin(), files.end(),
            [](const fs::path& a, const fs::path& b) { return fs::file_size(a) > fs::file_size(b); });
  return files;
}

void Flip(const fs::path& path, std::uint64_t offset, unsigned bit) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekg(static_cast<std::streamoff>(offset));
  const int byte = file.get();
  file.seekp(static_cast<std::streamoff>(offset));
  file.put(static_cast<char>(static_cast<unsigned>(byte) ^ (1U << bit))).flush();
  EXPECT_TRUE(file) << path;
}

}  // namespace store
