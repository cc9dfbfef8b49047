// The map of a file: which chunks it has, and where each of them is. docs/store.md has the format.
//
// A small file has one leaf. A larger one has a leaf for each `kChunksOfLeaf` chunks, and a tree that lists
// the leaves. So a new map can refer to unchanged leaves of an older one, as it does to unchanged data.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/uid.h"
#include "store/pack/record.h"
#include "store/status.h"

namespace store {

inline constexpr std::uint64_t kChunksOfLeaf = 1024;

struct ChunkPlace {
  Uid id;
  bool zero = false;         // nothing but zeros: stored nowhere
  std::uint32_t pack = 0;    // index into the leaf's packs
  std::uint32_t block = 0;   // of the pack
  std::uint32_t offset = 0;  // in the block, after it was decompressed
};

struct Hole {
  std::uint64_t offset = 0;  // from the beginning of the leaf's part of the file
  std::uint64_t size = 0;
};

struct MapLeaf {
  std::uint32_t chunkSize = 0;
  std::vector<Uid> packs;
  std::vector<ChunkPlace> chunks;
  std::vector<Hole> holes;
};

struct MapTree {
  std::uint32_t chunkSize = 0;
  struct Leaf {
    Uid id;
    MapPlace place;
  };
  std::vector<Leaf> leaves;
};

// Whether the bytes of a map are a leaf or a tree.
enum class MapForm { kLeaf = 1, kTree = 2 };
[[nodiscard]] std::string EncodeLeaf(const MapLeaf& leaf);
[[nodiscard]] std::string EncodeTree(const MapTree& tree);
Status FormOfMap(std::string_view bytes, MapForm& form);
// kDamaged if the bytes are no such thing. Every number is within the bounds that the bytes themselves set.
Status DecodeLeaf(std::string_view bytes, MapLeaf& leaf);
Status DecodeTree(std::string_view bytes, MapTree& tree);

// The chunk size of a new file of this size: 8 KiB to 64 KiB, and up to 1 MiB for files of more than 4 TiB.
[[nodiscard]] std::uint32_t ChunkSizeFor(std::uint64_t fileSize);

}  // namespace store
