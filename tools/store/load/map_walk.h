// Walks through a file's map: checks its leaves one after the other, and tells what has to be read for them.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "store/base/uid.h"
#include "store/pack/map.h"
#include "store/pack/record.h"
#include "store/status.h"

namespace store {

// A chunk: where it is in its block, and where it belongs in the file.
struct WantedChunk {
  std::uint64_t fileOffset = 0;
  std::uint32_t blockOffset = 0;
  std::uint32_t size = 0;
  Uid id;
};

// A part of a file: what has to be read for it, block by block in the order of the file.
struct FilePart {
  struct FromBlock {
    Uid pack;
    std::uint64_t block = 0;
    bool edge = false;  // the first or last of its pack in this part: a part beside it may need it too
    std::vector<WantedChunk> chunks;
  };
  std::vector<FromBlock> blocks;
  std::vector<Hole> zeros;  // nothing but zeros, by offset in the file
  std::vector<Hole> holes;  // by offset in the file
};

class MapWalk {
 public:
  // Reads bytes of a map, and checks them against this id.
  using Fetch = std::function<Status(const MapPlace& place, const Uid& id, std::string& bytes)>;
  using Each = std::function<Status(FilePart& part)>;

  MapWalk(const Item& item, Fetch fetch) : item_(item), fetch_(std::move(fetch)) {}

  // Calls `each` for each part of the file in turn. A part has many leaves: so if a file's chunks are
  // scattered over many backups, each block is read for many chunks at once. kDamaged if the map does not fit
  // the item. Ends early with a failure that `each` returns.
  Status Run(const Each& each);

 private:
  class PartMaker;
  Status TakeLeaf(std::string_view bytes, std::uint64_t firstChunk, std::uint64_t chunks, PartMaker& maker);
  Status TakeTree(std::string_view bytes, const Each& each);

  const Item& item_;
  Fetch fetch_;
  std::uint32_t chunkSize_ = 0;  // of the tree
};

}  // namespace store
