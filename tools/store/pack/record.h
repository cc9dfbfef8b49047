// The record of an item: everything that is known of it besides its data. The same bytes are in the pack with
// which the item was completed, and in the catalog's row. The hash over all of them is checked whenever they
// are read. docs/store.md has the format.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data_file.h"
#include "store/base/uid.h"
#include "store/status.h"

namespace store {

// The numbers are stored in the packs.
enum class ItemKind {
  kFile = 0,
  kDirectory = 1,  // with everything in it; these are items of their own
  kLink = 2,
  kFirstLevel = 3,  // a directory that directly contains every item of the saveset
};

// Where bytes of a map are: in a block of maps, after decompression.
struct MapPlace {
  Uid pack;
  std::uint64_t block = 0;
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

struct Item {
  std::uint64_t number = 0;  // in its saveset, from 1
  std::string name;          // as it was given
  ItemKind kind = ItemKind::kFile;
  platform::FileFacts facts;
  std::string link;             // the text of a link
  std::uint64_t directory = 0;  // number of the directory item that it is part of; 0 if of none
  std::uint64_t entries = 0;    // of a directory: how many items are part of it, without itself
  bool marker = false;          // a file that stands for the directory that it is in (dir_marker.h)
  bool changed = false;         // changed while it was read
  MapPlace map;                 // of a file with bytes
  Uid content;                  // the map's id
  std::int64_t stored = 0;      // seconds since 1970: when the oldest of its data was written
  std::vector<Uid> packs;       // all that a restore of it needs
  std::string unknown;          // fields of a newer release, kept as they came
};

// The record ends with its hash (XXH3), which is also over the ids of repository and saveset.
[[nodiscard]] std::string EncodeRecord(const Item& item, const Uid& repository, const Uid& saveset);
// kDamaged unless it is the record of an item of that saveset, bit by bit as it was written.
Status DecodeRecord(std::string_view bytes, const Uid& repository, const Uid& saveset, Item& item);

}  // namespace store
