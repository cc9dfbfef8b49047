// The files of a repository that is a directory, for tests that damage them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace store {

// All files below a directory, the largest first; none if there is no such directory.
std::vector<std::filesystem::path> FilesBelow(const std::filesystem::path& directory);

// Flips one bit of this byte.
void Flip(const std::filesystem::path& path, std::uint64_t offset, unsigned bit = 2);

}  // namespace store
