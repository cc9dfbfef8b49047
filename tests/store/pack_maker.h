// Makes packs and files in them block by block, by nothing but the format: for tests of what reads them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/keys/keys.h"
#include "store/pack/format.h"
#include "store/pack/map.h"
#include "store/pack/record.h"
#include "store/place/place.h"

namespace store {

class PackMaker {
 public:
  PackMaker(const Keys& keys, const Uid& repository);

  // Its number.
  std::uint32_t AddBlock(BlockKind kind, std::string_view plain, Codec codec);
  void Put(Place& place);

  [[nodiscard]] const Uid& Id() const { return id_; }
  // Where in the object the blocks begin, each, and where they end.
  [[nodiscard]] const std::vector<std::uint64_t>& Offsets() const { return offsets_; }

 private:
  Uid repository_;
  Uid id_ = Uid::Random();
  PackCiphers ciphers_;
  std::string header_;
  std::string blocks_;
  PackTables tables_;
  std::vector<std::uint64_t> offsets_;
};

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
Item MakeFile(const Keys& keys, std::string_view bytes, const Layout& layout, std::vector<PackMaker>& packs);

}  // namespace store
