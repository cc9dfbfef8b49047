// Packs and saveset objects, made or taken apart, changed in any field, and put together with hashes and
// ciphers that fit: what somebody could write who knows the format and has the keys.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/keys/keys.h"
#include "store/pack/format.h"
#include "store/pack/map.h"
#include "store/pack/record.h"
#include "store/place/place.h"

namespace store {

// A number in the bytes of an object that is replaced once everything else is made.
struct Patch {
  enum class Part { kHeader, kTables, kTrailer } part = Part::kHeader;
  std::size_t offset = 0;
  std::size_t width = 0;
  std::uint64_t value = 0;
};

struct PackImage {
  struct Block {
    BlockKind kind = BlockKind::kData;
    std::string plain;
    Codec codec = Codec::kZstd;
  };
  Uid id = Uid::Random();
  PackTables tables;  // its blocks are made anew from those below
  std::vector<Block> blocks;
  std::vector<Item> items;  // of its records, which are in one block behind the others
  std::vector<Patch> patches;

  static Status Read(Place& place, const Keys& keys, const Uid& repository, const Uid& id, PackImage& pack);
  // The number of the new block.
  std::uint64_t Add(BlockKind kind, std::string plain, Codec codec = Codec::kZstd);
  [[nodiscard]] std::string Encode(const Keys& keys, const Uid& repository) const;
  // Replaces the map of one of its items, which has only data of this pack.
  void SetMap(const Keys& keys, Item& item, const std::string& map);
  [[nodiscard]] std::string MapOf(const Item& item) const;
};

// A small object with the patches to its header, and a content that is what `change` makes of it.
struct ObjectImage {
  ObjectHeader header;
  std::vector<std::pair<std::uint64_t, std::string>> fields;
  std::vector<Patch> patches;

  static Status Read(std::string_view bytes, const Keys& keys, const ObjectHeader& expected,
                     ObjectImage& image);
  [[nodiscard]] std::string Encode(const Keys& keys) const;
};

}  // namespace store
