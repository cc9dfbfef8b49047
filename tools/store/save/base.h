// The last good copies of files, to which new copies may refer.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/pack/map.h"
#include "store/pack/pack_reader.h"
#include "store/store.h"

namespace store {

class BaseFinder;

// The map of one copy, read leaf by leaf.
class Base {
 public:
  [[nodiscard]] const Item& Copy() const { return item_; }
  [[nodiscard]] std::uint32_t ChunkSize() const { return tree_.chunkSize; }
  [[nodiscard]] std::size_t LeafCount() const { return tree_.leaves.size(); }
  // Where a leaf is. If the map is only one leaf, that is the map's own place.
  [[nodiscard]] const MapTree::Leaf& LeafPlace(std::size_t number) const { return tree_.leaves[number]; }
  // Null if the copy has no such leaf, or it cannot be read. Valid until the next call.
  [[nodiscard]] const MapLeaf* Leaf(std::size_t number);

 private:
  friend class BaseFinder;
  Base(BaseFinder& finder, Item item) : finder_(finder), item_(std::move(item)) {}
  bool ReadMap();

  BaseFinder& finder_;
  Item item_;
  MapTree tree_;
  MapLeaf leaf_;
  std::size_t inLeaf_ = SIZE_MAX;  // the number of the leaf in `leaf_`
};

class BaseFinder {
 public:
  // `oldest`: copies with data that was written before this are not referred to (seconds since 1970).
  BaseFinder(Store& store, Saveset saveset, std::int64_t oldest);

  // Looks up many files at once that are asked for next; this costs little more than one. A failure here
  // comes again when the file is asked for.
  void LookAhead(const std::vector<std::string>& names);
  // `base` is null unless there is a copy that may be referred to, whose packs are there, and whose chunk
  // size suits a file of this size. A failure is the catalog's.
  Status Find(const std::string& name, std::uint64_t size, std::unique_ptr<Base>& base);
  // Copies that need these packs are not found any more.
  void Forget(const std::vector<Uid>& packs);

 private:
  friend class Base;
  struct ReadBlock {
    Uid pack;
    std::uint64_t number = 0;
    std::string bytes;
  };

  Status FindCopy(const std::string& name, std::optional<Item>& copy);
  Status ArePacksThere(const std::vector<Uid>& packs, bool& there);
  Status LookAt(const Uid& pack, bool& there);
  // Reads the bytes of a map; damage is noted in the catalog. Valid until the next call.
  bool ReadMap(const MapPlace& place, const Uid& id, std::string_view& bytes);
  bool Block(const Uid& pack, std::uint64_t number, const std::string*& bytes);
  std::shared_ptr<const PackReader> Reader(const Uid& pack);
  void NoteDamage(const Uid& pack, const Status& status);

  Store& store_;
  Saveset saveset_;
  std::int64_t oldest_;
  Catalog::Copies ahead_;
  // Packs that were looked at in this run, with their sizes; 0 if they cannot be used.
  std::unordered_map<Uid, std::uint64_t, UidHash> looked_;
  std::deque<std::pair<Uid, std::shared_ptr<const PackReader>>> readers_;
  std::deque<ReadBlock> blocks_;
};

}  // namespace store
