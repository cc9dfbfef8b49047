#include "store/save/base.h"

#include <algorithm>

namespace store {
namespace {

constexpr std::size_t kMostReaders = 8;
constexpr std::size_t kMostBlocks = 4;
// Copies that were looked up, but not asked for: those of directories, or of files that cannot be opened.
constexpr std::size_t kMostAhead = 2048;
// A copy's chunk size suits a file as long as it is within this factor of what the file's size would give.
constexpr std::uint32_t kChunkSizeRange = 4;

bool Does(std::uint32_t chunkSize, std::uint64_t fileSize) {
  const std::uint32_t wanted = ChunkSizeFor(fileSize);
  return chunkSize <= wanted * kChunkSizeRange && wanted <= chunkSize * kChunkSizeRange;
}

}  // namespace

// ---- One copy --------------------------------------------------------------------------------------------

bool Base::ReadMap() {
  std::string_view bytes;
  MapForm form = MapForm::kLeaf;
  if (!finder_.ReadMap(item_.map, item_.content, bytes) || !FormOfMap(bytes, form)) {
    return false;
  }
  if (form == MapForm::kTree) {
    return static_cast<bool>(DecodeTree(bytes, tree_));
  }
  if (!DecodeLeaf(bytes, leaf_)) {
    return false;
  }
  tree_.chunkSize = leaf_.chunkSize;
  tree_.leaves = {{item_.content, item_.map}};
  inLeaf_ = 0;
  return true;
}

const MapLeaf* Base::Leaf(std::size_t number) {
  if (number == inLeaf_) {
    return &leaf_;
  }
  if (number >= tree_.leaves.size()) {
    return nullptr;
  }
  inLeaf_ = SIZE_MAX;
  std::string_view bytes;
  const MapTree::Leaf& leaf = tree_.leaves[number];
  if (!finder_.ReadMap(leaf.place, leaf.id, bytes) || !DecodeLeaf(bytes, leaf_) ||
      leaf_.chunkSize != tree_.chunkSize) {
    return nullptr;
  }
  inLeaf_ = number;
  return &leaf_;
}

// ---- Finding ---------------------------------------------------------------------------------------------

BaseFinder::BaseFinder(Store& store, Saveset saveset, std::int64_t oldest)
    : store_(store), saveset_(std::move(saveset)), oldest_(oldest) {}

void BaseFinder::LookAhead(const std::vector<std::string>& names) {
  if (ahead_.size() > kMostAhead) {
    ahead_.clear();
  }
  if (names.size() > 1 && !store_.Rows().FindBases(saveset_, names, oldest_, ahead_)) {
    ahead_.clear();
  }
}

Status BaseFinder::FindCopy(const std::string& name, std::optional<Item>& copy) {
  if (auto known = ahead_.extract(name)) {
    copy = std::move(known.mapped());
    return {};
  }
  Uid itsSaveset;
  return store_.Rows().FindBase(saveset_, name, oldest_, copy, itsSaveset);
}

Status BaseFinder::Find(const std::string& name, std::uint64_t size, std::unique_ptr<Base>& base) {
  base = nullptr;
  std::optional<Item> copy;
  if (Status found = FindCopy(name, copy); !found || !copy || copy->map.size == 0) {
    return found;
  }
  bool there = false;
  if (Status looked = ArePacksThere(copy->packs, there); !looked || !there) {
    return looked;
  }
  std::unique_ptr<Base> made(new Base(*this, std::move(*copy)));
  if (made->ReadMap() && Does(made->ChunkSize(), size)) {
    base = std::move(made);
  }
  return {};
}

void BaseFinder::Forget(const std::vector<Uid>& packs) {
  for (const Uid& pack : packs) {
    looked_[pack] = 0;
  }
}

Status BaseFinder::ArePacksThere(const std::vector<Uid>& packs, bool& there) {
  there = true;
  for (const Uid& pack : packs) {
    if (Status looked = LookAt(pack, there); !looked || !there) {
      return looked;
    }
  }
  return {};
}

// Looks only once in a run.
Status BaseFinder::LookAt(const Uid& pack, bool& there) {
  const auto [known, isNew] = looked_.emplace(pack, 0);
  if (isNew) {
    std::optional<Pack> row;
    std::optional<std::uint64_t> size;
    if (Status found = store_.Rows().FindPack(pack, row); !found) {
      return found;
    }
    // A place that does not answer is no reason not to save: the file is stored whole.
    const bool same =
        row && !row->damaged && store_.Objects().Size(PackObject(pack), size) && size == row->size;
    known->second = same ? row->size : 0;
  }
  there = known->second != 0;
  return {};
}

bool BaseFinder::ReadMap(const MapPlace& place, const Uid& id, std::string_view& bytes) {
  const std::string* block = nullptr;
  if (!Block(place.pack, place.block, block)) {
    return false;
  }
  if (place.offset > block->size() || place.size > block->size() - place.offset) {
    NoteDamage(place.pack, Status::Damaged("a map is beyond its block"));
    return false;
  }
  bytes = std::string_view(*block).substr(place.offset, place.size);
  const bool same = store_.Secrets().IdOf(bytes) == id;
  if (!same) {
    NoteDamage(place.pack, Status::Damaged("a map is not the one that was written"));
  }
  return same;
}

bool BaseFinder::Block(const Uid& pack, std::uint64_t number, const std::string*& bytes) {
  const auto known = std::find_if(blocks_.begin(), blocks_.end(), [&](const ReadBlock& block) {
    return block.pack == pack && block.number == number;
  });
  if (known != blocks_.end()) {
    bytes = &known->bytes;
    return true;
  }
  const auto reader = Reader(pack);
  if (reader == nullptr || number >= reader->Tables().blocks.size()) {
    return false;
  }
  if (blocks_.size() == kMostBlocks) {
    blocks_.pop_front();
  }
  blocks_.push_back({pack, number, {}});
  if (Status read = reader->ReadBlock(number, blocks_.back().bytes); !read) {
    NoteDamage(pack, read);
    blocks_.pop_back();
    return false;
  }
  bytes = &blocks_.back().bytes;
  return true;
}

std::shared_ptr<const PackReader> BaseFinder::Reader(const Uid& pack) {
  for (const auto& [id, reader] : readers_) {
    if (id == pack) {
      return reader;
    }
  }
  std::shared_ptr<const PackReader> reader;
  const std::uint64_t size = looked_[pack];
  if (size == 0) {
    return nullptr;
  }
  if (Status opened = PackReader::Open(store_.Objects(), store_.Secrets(), store_.Id(), pack, size, reader);
      !opened) {
    NoteDamage(pack, opened);
    return nullptr;
  }
  if (readers_.size() == kMostReaders) {
    readers_.pop_front();
  }
  readers_.emplace_back(pack, reader);
  return reader;
}

// From here on nothing refers to the pack. To note it in the catalog is a courtesy to others.
void BaseFinder::NoteDamage(const Uid& pack, const Status& status) {
  looked_[pack] = 0;
  if (IsDamage(status)) {
    Ignore(store_.Rows().MarkPackDamaged(pack));
  }
}

}  // namespace store
