// Makes a file in packs, block by block, by nothing but the format: for tests of what reads it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/pack_image.h"

namespace store {

// How a file's chunks are laid out.
struct Layout {
  std::uint32_t chunkSize = 8192;
  std::uint64_t chunksOfBlock = 16;
  // Into which of the packs a chunk goes.
  std::function<std::size_t(std::uint64_t chunk)> packOf = [](std::uint64_t) { return std::size_t{0}; };
  std::vector<Hole> holes;  // by offset in the file
};

// The item of a file with these bytes. Its chunks go into the packs, its map into the last one; nothing is
// put yet.
Item MakeFile(const Keys& keys, std::string_view bytes, const Layout& layout, std::vector<PackImage>& packs);

}  // namespace store
