#include "store/check/pack_batch.h"

#include <algorithm>

#include "platform/platform.h"
#include "store/base/bytes.h"
#include "store/base/pool.h"

namespace store {
namespace {

constexpr std::uint64_t kMostChunks = 1'000'000;
constexpr std::uint64_t kSmallestUsualChunk = 8 * 1024;
constexpr std::size_t kOpenPacks = 256;
constexpr std::size_t kKeptBytes = 16 * kBlockSize;
constexpr std::size_t kFewSpots = 4096;
// So many damaged places are told of one pack.
constexpr std::size_t kMostTold = 5;

// Only by mistake can files of different sizes have one map. The key has the size in it, so that each is
// looked at.
Uid MapKey(const Item& item) {
  Uid key = item.content;
  for (std::size_t i = 0; i < sizeof(item.facts.size); ++i) {
    key.bytes[i] ^= static_cast<unsigned char>(item.facts.size >> (8 * i));
  }
  return key;
}

bool HasMap(const Item& item) { return item.kind == ItemKind::kFile && item.facts.size > 0; }

std::string InOneSentence(const std::vector<std::string>& what) {
  std::string text;
  for (std::size_t i = 0; i < std::min(what.size(), kMostTold); ++i) {
    text += (i == 0 ? "" : "; ") + what[i];
  }
  return what.size() <= kMostTold
             ? text
             : text + "; and " + std::to_string(what.size() - kMostTold) + " more such places";
}

}  // namespace

PackBatch::PackBatch(Store& store, const CheckListener& listener, Tell tell)
    : store_(store),
      listener_(listener),
      tell_(std::move(tell)),
      readsData_(store.Secrets().CanRead()),
      opened_(
          [&store](const Uid& id, PackCache::Pack& pack) {
            return PackReader::Open(store.Objects(), store.Secrets(), store.Id(), id, pack);
          },
          kOpenPacks),
      blocks_(
          [this](const BlockKey& key, std::string& bytes) {
            PackCache::Pack pack;
            Status got = opened_.Get(key.pack, pack);
            return got ? pack->ReadBlock(key.number, bytes) : got;
          },
          kKeptBytes),
      workers_(WorkQueue::UsualCount()) {}

bool PackBatch::IsFull() const { return chunks_ >= kMostChunks; }

Status PackBatch::Failure() {
  const std::lock_guard lock(mutex_);
  return failure_;
}

// Keeps one sentence for each block: everything else that is wrong in the block follows from that.
void PackBatch::NoteBad(const Uid& pack, std::uint64_t block, const Status& status) {
  const std::lock_guard lock(mutex_);
  if (!IsDamage(status)) {
    failure_ = failure_ ? status : failure_;
    return;
  }
  Bad& bad = bad_[pack];
  if (bad.whole || !bad.blocks.insert(block).second) {
    return;
  }
  bad.whole = block == kWhole;
  bad.what.push_back(status.Message());
}

Status PackBatch::Add(const PackFacts& pack) {
  auto checking = std::make_unique<Checking>();
  checking->facts = pack;
  Status opened =
      PackReader::Open(store_.Objects(), store_.Secrets(), store_.Id(), pack.uid, checking->reader);
  if (!opened) {
    NoteBad(pack.uid, kWhole, opened);
    return Failure();
  }
  for (const BlockEntry& block : checking->reader->Tables().blocks) {
    chunks_ += block.plain / kSmallestUsualChunk;
  }
  chunks_ += checking->reader->Tables().items;
  byId_.emplace(pack.uid, checking.get());
  packs_.push_back(std::move(checking));
  return {};
}

Status PackBatch::Run() {
  Status done;
  for (auto checking = packs_.begin(); done && checking != packs_.end(); ++checking) {
    done = CheckRecords(**checking);
  }
  if (done) {
    done = ListChunks();
  }
  if (done) {
    done = Failure();
  }
  if (done) {
    CheckBlocks();
    done = platform::Interrupted() ? Status::Interrupted() : Failure();
  }
  if (done) {
    done = TellBad();
  }
  if (done) {
    done = Note();
  }
  packs_.clear();
  byId_.clear();
  maps_.clear();
  bad_.clear();
  differs_.clear();
  chunks_ = 0;
  return done;
}

// ---- Which chunks have to be there -----------------------------------------------------------------------

Status PackBatch::ListChunks() {
  for (const std::unique_ptr<Checking>& checking : packs_) {
    Status listed =
        store_.Rows().ListItemsOfPack(checking->facts.uid, false, [this](const Catalog::PackItem& row) {
          return platform::Interrupted() ? Status::Interrupted() : TakeItem(row.item);
        });
    if (!listed) {
      return listed;
    }
  }
  for (const std::unique_ptr<Checking>& checking : packs_) {
    Tidy(*checking);
  }
  return {};
}

// `Fetch` notes a map that cannot be read; here that only ends the walk.
Status PackBatch::TakeItem(const Item& item) {
  if (!HasMap(item) || !maps_.insert(MapKey(item)).second) {
    return {};
  }
  bool fetched = true;
  MapWalk walk(item, [&](const MapPlace& place, const Uid& id, std::string& bytes) {
    Status got = Fetch(place, id, bytes);
    fetched = static_cast<bool>(got);
    return got;
  });
  const Status walked = walk.Run([this](FilePart& part) {
    for (const FilePart::FromBlock& from : part.blocks) {
      AddSpots(from);
    }
    return Status();
  });
  if (!walked && fetched) {
    NoteBad(item.map.pack, item.map.block,
            walked.Within("pack " + item.map.pack.Hex() + " is damaged: item " + item.name));
  }
  return {};
}

Status PackBatch::Fetch(const MapPlace& place, const Uid& id, std::string& bytes) {
  BlockCache::Block block;
  Status got = blocks_.Get({place.pack, place.block}, true, block);
  if (got && (place.offset > block->size() || place.size > block->size() - place.offset)) {
    got = Status::Damaged("pack " + place.pack.Hex() + " is damaged: block " + std::to_string(place.block) +
                          " ends before the map of an item");
  }
  if (got) {
    bytes.assign(*block, static_cast<std::size_t>(place.offset), static_cast<std::size_t>(place.size));
    if (store_.Secrets().IdOf(bytes) != id) {
      got = Status::Damaged("pack " + place.pack.Hex() + " is damaged: block " + std::to_string(place.block) +
                            " has another map than an item's");
    }
  }
  if (!got) {
    NoteBad(place.pack, place.block, got);
  }
  return got;
}

void PackBatch::AddSpots(const FilePart::FromBlock& from) {
  const auto found = byId_.find(from.pack);
  if (found == byId_.end()) {
    return;
  }
  Checking& checking = *found->second;
  if (from.block >= checking.reader->Tables().blocks.size()) {
    NoteBad(from.pack, from.block, checking.reader->DamagedBlock(from.block, "is not in it"));
    return;
  }
  for (const WantedChunk& chunk : from.chunks) {
    checking.spots.push_back(
        {static_cast<std::uint32_t>(from.block), chunk.blockOffset, chunk.size, chunk.id});
  }
  if (checking.spots.size() > 2 * checking.sorted + kFewSpots) {
    Tidy(checking);
  }
}

void PackBatch::Tidy(Checking& checking) {
  std::sort(checking.spots.begin(), checking.spots.end());
  checking.spots.erase(std::unique(checking.spots.begin(), checking.spots.end()), checking.spots.end());
  checking.sorted = checking.spots.size();
}

// ---- Blocks ----------------------------------------------------------------------------------------------

void PackBatch::CheckBlocks() {
  for (const std::unique_ptr<Checking>& checking : packs_) {
    for (std::uint64_t number = 0; number < checking->reader->Tables().blocks.size(); ++number) {
      pending_.Add();
      workers_.Do([this, &pack = *checking, number] {
        if (!platform::Interrupted()) {
          CheckBlock(pack, number);
        }
        pending_.Done();
      });
    }
  }
  pending_.Wait();
}

void PackBatch::CheckBlock(const Checking& checking, std::uint64_t number) {
  const PackReader& reader = *checking.reader;
  const BlockEntry& entry = reader.Tables().blocks[static_cast<std::size_t>(number)];
  static Pool<std::string> buffers([] { return std::make_unique<std::string>(); });
  const Pool<std::string>::Loan loan(buffers);
  std::string& bytes = *loan.Get();
  const bool opens = readsData_ || entry.kind != BlockKind::kData;
  Status checked = opens ? reader.ReadBlock(number, bytes) : reader.CheckBlock(number);
  const auto begin = std::lower_bound(checking.spots.begin(), checking.spots.end(),
                                      Spot{static_cast<std::uint32_t>(number), 0, 0, {}});
  for (auto spot = begin; opens && checked && spot != checking.spots.end() && spot->block == number; ++spot) {
    if (spot->offset > bytes.size() || spot->size > bytes.size() - spot->offset ||
        store_.Secrets().IdOf(std::string_view(bytes).substr(spot->offset, spot->size)) != spot->id) {
      checked = reader.DamagedBlock(
          number, "has other bytes than those of an item at its byte " + std::to_string(spot->offset));
    }
  }
  if (!checked) {
    NoteBad(checking.facts.uid, number, checked);
  }
  store_.Work().AddBytes(entry.stored);
}

// ---- What is told ----------------------------------------------------------------------------------------

// A pack that was deleted meanwhile is no damage.
Status PackBatch::TellBad() {
  std::set<Uid> done;
  // To find out what a bad pack costs, maps are read: that may find another bad pack.
  while (done.size() < bad_.size()) {
    for (auto entry = bad_.begin(); entry != bad_.end(); ++entry) {
      if (!done.insert(entry->first).second) {
        continue;
      }
      if (Status told = TellBad(entry->first, entry->second); !told) {
        return told;
      }
    }
  }
  return {};
}

Status PackBatch::TellBad(const Uid& uid, const Bad& bad) {
  std::optional<PackFacts> facts;
  if (Status looked = store_.Rows().FindPackFacts(uid, facts); !looked || !facts) {
    return looked;
  }
  tell_({InOneSentence(bad.what) +
             (bad.recordsLost ? "; if the catalog were lost, what was completed with it would be" : ""),
         uid});
  Status told = TellLost(uid, bad);
  return told && store_.Rows().CanWrite() ? store_.Rows().MarkPackDamaged(uid) : told;
}

Status PackBatch::TellLost(const Uid& pack, const Bad& bad) {
  return store_.Rows().ListItemsOfPack(pack, false, [&](const Catalog::PackItem& row) {
    bool lost = false;
    Status looked = IsLost(row.item, pack, bad, lost);
    if (looked && lost) {
      listener_.lost(row.savesetName, row.item.name);
    }
    return looked;
  });
}

Status PackBatch::IsLost(const Item& item, const Uid& pack, const Bad& bad, bool& lost) {
  lost = false;
  if (!HasMap(item)) {
    return {};
  }
  const auto isBad = [&](const Uid& where, std::uint64_t block) {
    return where == pack && (bad.whole || bad.blocks.count(block) != 0);
  };
  MapWalk walk(item, [&](const MapPlace& place, const Uid& id, std::string& bytes) {
    lost = lost || isBad(place.pack, place.block);
    return lost ? Status::Damaged("lost") : Fetch(place, id, bytes);
  });
  const Status walked = walk.Run([&](FilePart& part) {
    lost = lost || std::any_of(part.blocks.begin(), part.blocks.end(),
                               [&](const FilePart::FromBlock& from) { return isBad(from.pack, from.block); });
    return platform::Interrupted() ? Status::Interrupted() : Status();
  });
  return walked.What() == Status::Kind::kInterrupted ? walked : Failure();
}

// A pack that somebody marked as damaged after it was read here stays marked.
Status PackBatch::Note() {
  std::vector<Uid> good;
  std::vector<Uid> mended;
  for (const std::unique_ptr<Checking>& checking : packs_) {
    const Uid& uid = checking->facts.uid;
    if (bad_.count(uid) == 0 && differs_.count(uid) == 0) {
      (checking->facts.damaged && readsData_ ? mended : good).push_back(uid);
    }
  }
  if (!store_.Rows().CanWrite()) {
    return {};
  }
  Status noted = good.empty() ? Status() : store_.Rows().NoteChecked(good, false);
  return noted && !mended.empty() ? store_.Rows().NoteChecked(mended, true) : noted;
}

}  // namespace store
