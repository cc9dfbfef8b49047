#include "store/save/pack_filler.h"

#include <algorithm>
#include <unordered_set>

#include "store/base/bytes.h"

namespace store {
namespace {

// For maps and records: whoever needs one of them reads its whole block.
constexpr std::size_t kUsualBlock = 1024 * 1024;
// A pack ends with so many of these, even if it has little data.
constexpr std::size_t kMostMapBytes = 4 * 1024 * 1024;
constexpr std::size_t kMostRecordBytes = 4 * 1024 * 1024;
constexpr std::size_t kMostItems = 4000;
// What a record takes besides name and packs.
constexpr std::size_t kRecordSize = 128;
// A smaller block is not worth the way to another thread.
constexpr std::size_t kSmallBlock = 32 * 1024;

// Marks a block's number that is counted from the pack's first block of maps.
constexpr std::uint64_t kCountedFromFirstMap = std::uint64_t{1} << 63;

std::size_t MostUnderWay(const Workers& workers) { return 2 * workers.Count() + 2; }

}  // namespace

// A block on its way into the pack, or the end of the pack.
class PackFiller::Sealing : public Work {
 public:
  std::shared_ptr<Filling> pack;
  bool endsPack = false;
  BlockName name;
  std::string plain;
  std::string stored;
  BlockEntry entry;
  Status status;

  [[nodiscard]] std::string_view Bytes() const { return stored.empty() ? plain : stored; }

 protected:
  void Do(Sealer& sealer) override {
    const PackCiphers& ciphers = pack->writer->Ciphers();
    const auto& cipher = name.kind == BlockKind::kData ? ciphers.data : ciphers.meta;
    status = sealer.Seal(name, cipher.get(), plain, entry, stored);
  }
};

PackFiller::PackFiller(Store& store, const Uid& saveset, Workers& workers, Committer& committer)
    : store_(store),
      saveset_(saveset),
      workers_(workers),
      committer_(committer),
      bestSize_(store.Objects().BestObjectSize()) {
  completed_.reserve(kMostItems);
}

PackFiller::~PackFiller() {
  for (const auto& sealing : underWay_) {
    workers_.WaitFor(*sealing);
  }
}

// ---- What comes in ---------------------------------------------------------------------------------------

Status PackFiller::BeginPack() {
  if (pack_ != nullptr) {
    return {};
  }
  Uid id;
  if (Status announced = committer_.NextPack(id); !announced) {
    return announced;
  }
  auto pack = std::make_shared<Filling>();
  if (Status created =
          PackWriter::Create(store_.Objects(), store_.Secrets(), store_.Id(), saveset_, id, pack->writer);
      !created) {
    return created;
  }
  pack_ = std::move(pack);
  return {};
}

Status PackFiller::AddChunk(std::string_view bytes, ChunkSpot& spot) {
  if (block_.size() + bytes.size() > kBlockSize) {
    if (Status ended = EndBlock(); !ended) {
      return ended;
    }
  }
  if (Status begun = BeginPack(); !begun) {
    return begun;
  }
  spot = {pack_->writer->Id(), pack_->nextBlock, static_cast<std::uint32_t>(block_.size())};
  block_ += bytes;
  return {};
}

Status PackFiller::AddBlock(std::string& bytes, ChunkSpot& spot) {
  if (Status begun = BeginPack(); !begun) {
    return begun;
  }
  spot = {pack_->writer->Id(), pack_->nextBlock, 0};
  const std::size_t size = bytes.size();
  Status started = StartBlock(BlockKind::kData, bytes);
  bytes.resize(size);
  return started;
}

Status PackFiller::AddMap(std::string_view bytes, MapPlace& place) {
  if (bytes.size() > kLargestBlock) {
    return Status::Failed("a file is too large for a repository");
  }
  if (Status begun = BeginPack(); !begun) {
    return begun;
  }
  if (maps_.empty() || maps_.back().size() + bytes.size() > kUsualBlock) {
    maps_.emplace_back();
  }
  place = {pack_->writer->Id(), (maps_.size() - 1) | kCountedFromFirstMap, maps_.back().size(), bytes.size()};
  maps_.back() += bytes;
  mapBytes_ += bytes.size();
  return {};
}

void PackFiller::Complete(Item item, MapTree tree) {
  recordBytes_ += kRecordSize + item.name.size() + item.packs.size() * Uid::kSize;
  completed_.push_back({std::move(item), std::move(tree)});
}

bool PackFiller::IsFull() const {
  return (pack_ != nullptr && pack_->writer->Size() >= bestSize_) || mapBytes_ >= kMostMapBytes ||
         recordBytes_ >= kMostRecordBytes || completed_.size() >= kMostItems;
}

std::vector<Uid> PackFiller::NeededPacks() const {
  std::unordered_set<Uid, UidHash> needed;
  for (const Completed& completed : completed_) {
    needed.insert(completed.item.packs.begin(), completed.item.packs.end());
  }
  return {needed.begin(), needed.end()};
}

// ---- The end of a pack -----------------------------------------------------------------------------------

Status PackFiller::EndPack() {
  if (pack_ == nullptr && completed_.empty()) {
    return {};
  }
  Status status = BeginPack();
  status = status ? EndBlock() : status;
  status = status ? EndMaps() : status;
  status = status ? EndRecords() : status;
  if (!status) {
    return status;
  }
  auto end = FreeSealing();
  end->pack = std::move(pack_);
  end->endsPack = true;
  if (!inFile_) {
    firstMap_.clear();
  }
  ++endsUnderWay_;
  return Put(std::move(end));
}

Status PackFiller::EndBlock() {
  if (block_.empty()) {
    return {};
  }
  Status started = StartBlock(BlockKind::kData, block_);
  block_.clear();
  return started;
}

// All data of the pack has come: from here on the numbers of its blocks of maps are known.
Status PackFiller::EndMaps() {
  firstMap_[pack_->writer->Id()] = pack_->nextBlock;
  for (Completed& completed : completed_) {
    if (Status resolved = ResolveMap(completed); !resolved) {
      return resolved;
    }
  }
  for (std::string& block : maps_) {
    if (Status started = StartBlock(BlockKind::kMaps, block); !started) {
      return started;
    }
  }
  maps_.clear();
  mapBytes_ = 0;
  return {};
}

void PackFiller::Resolve(MapPlace& place) const {
  if ((place.block & kCountedFromFirstMap) != 0) {
    place.block = (place.block & ~kCountedFromFirstMap) + firstMap_.at(place.pack);
  }
}

Status PackFiller::ResolveMap(Completed& completed) {
  Item& item = completed.item;
  if (!completed.tree.leaves.empty()) {
    for (MapTree::Leaf& leaf : completed.tree.leaves) {
      Resolve(leaf.place);
    }
    const std::string tree = EncodeTree(completed.tree);
    item.content = store_.Secrets().IdOf(tree);
    if (Status added = AddMap(tree, item.map); !added) {
      return added;
    }
  }
  Resolve(item.map);
  return {};
}

Status PackFiller::EndRecords() {
  std::unordered_set<Uid, UidHash> refersTo;
  const Uid& own = pack_->writer->Id();
  std::string block;
  block.reserve(std::min(recordBytes_, kUsualBlock));
  pack_->items.reserve(completed_.size());
  for (Completed& completed : completed_) {
    Item& item = completed.item;
    // The pack with its record is needed, too: a rebuild finds the item there.
    if (std::find(item.packs.begin(), item.packs.end(), own) == item.packs.end()) {
      item.packs.push_back(own);
    }
    refersTo.insert(item.packs.begin(), item.packs.end());
    const std::string record = Encoder().Text(EncodeRecord(item, store_.Id(), saveset_)).Take();
    if (!block.empty() && block.size() + record.size() > kUsualBlock) {
      if (Status started = StartBlock(BlockKind::kRecords, block); !started) {
        return started;
      }
      block.clear();
    }
    if (record.size() > kLargestBlock) {
      return Status::Failed("a file needs too many packs: " + item.name);
    }
    block += record;
    pack_->items.push_back(std::move(item));
  }
  refersTo.erase(own);
  pack_->refersTo.assign(refersTo.begin(), refersTo.end());
  std::sort(pack_->refersTo.begin(), pack_->refersTo.end());
  completed_.clear();
  recordBytes_ = 0;
  return block.empty() ? Status() : StartBlock(BlockKind::kRecords, block);
}

void PackFiller::DropItemsOf(std::uint64_t directory) {
  std::erase_if(completed_,
                [directory](const Completed& completed) { return completed.item.directory == directory; });
}

Status PackFiller::DropPack() {
  for (const auto& sealing : underWay_) {
    workers_.WaitFor(*sealing);
  }
  std::erase_if(underWay_, [this](const auto& sealing) { return sealing->pack == pack_; });
  block_.clear();
  maps_.clear();
  mapBytes_ = 0;
  recordBytes_ = 0;
  if (pack_ == nullptr) {
    return {};
  }
  const Uid id = pack_->writer->Id();
  pack_.reset();
  return committer_.Delete({id});
}

// ---- Blocks under way ------------------------------------------------------------------------------------

std::unique_ptr<PackFiller::Sealing> PackFiller::FreeSealing() {
  if (free_.empty()) {
    return std::make_unique<Sealing>();
  }
  auto sealing = std::move(free_.back());
  free_.pop_back();
  return sealing;
}

// Takes the bytes, and leaves others without a meaning.
Status PackFiller::StartBlock(BlockKind kind, std::string& bytes) {
  auto sealing = FreeSealing();
  sealing->pack = pack_;
  sealing->endsPack = false;
  sealing->name = {store_.Id(), pack_->writer->Id(), pack_->nextBlock++, kind};
  sealing->plain.swap(bytes);
  if (sealing->plain.size() < kSmallBlock) {
    workers_.DoHere(*sealing);
  } else {
    workers_.Start(*sealing, Workers::Urgency::kUsual);
  }
  return Put(std::move(sealing));
}

Status PackFiller::Put(std::unique_ptr<Sealing> sealing) {
  underWay_.push_back(std::move(sealing));
  return underWay_.size() > MostUnderWay(workers_) ? WriteOldest() : Status();
}

Status PackFiller::WriteOldest() {
  auto sealing = std::move(underWay_.front());
  underWay_.pop_front();
  workers_.WaitFor(*sealing);
  const auto pack = std::move(sealing->pack);
  const bool endsPack = sealing->endsPack;
  Status written = sealing->status;
  if (!endsPack && written) {
    written = pack->writer->Append(sealing->entry, sealing->Bytes());
    if (pack->writer->Size() > bestSize_ / 2) {
      committer_.PreparePack();
    }
  }
  free_.push_back(std::move(sealing));
  if (!endsPack || !written) {
    return written;
  }
  --endsUnderWay_;
  if (Status ended =
          pack->writer->End(static_cast<std::uint32_t>(pack->items.size()), std::move(pack->refersTo));
      !ended) {
    return ended;
  }
  return committer_.Add({std::move(pack->writer), std::move(pack->items)});
}

Status PackFiller::HandOver() {
  while (endsUnderWay_ > 0 && workers_.IsDone(*underWay_.front())) {
    if (Status written = WriteOldest(); !written) {
      return written;
    }
  }
  return {};
}

Status PackFiller::Drain() {
  while (!underWay_.empty()) {
    if (Status written = WriteOldest(); !written) {
      return written;
    }
  }
  return {};
}

}  // namespace store
