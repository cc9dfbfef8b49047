#include "store/load/saveset_reader.h"

#include <algorithm>
#include <mutex>
#include <set>

#include "store/load/file_copy.h"

namespace store {
namespace {

constexpr std::size_t kOpenPacks = 256;
// Room for the current block of each of some twenty generations of a file, and for blocks of maps.
constexpr std::size_t kKeptBytes = 16 * kBlockSize;

}  // namespace

class SavesetReader::Inside {
 public:
  explicit Inside(Store& opened)
      : store(opened),
        packs_([this](const Uid& id, PackCache::Pack& pack) { return OpenPack(id, pack); }, kOpenPacks),
        blocks_([this](const BlockKey& key, std::string& bytes) { return LoadBlock(key, bytes); },
                kKeptBytes),
        workers_(WorkQueue::UsualCount()) {}

  Status Copy(const Item& item, platform::DataFile* target) {
    FileCopy copy(Tools(), item, target);
    return TakeIn(copy, copy.Run(), item);
  }

  Status Stream(const Item& item, const FileCopy::Take& take) {
    FileCopy copy(Tools(), item, nullptr);
    return TakeIn(copy, copy.Stream(take), item);
  }

  // A look at the map is worth while only for a sparse file.
  Status RoomOf(const Item& item, std::uint64_t& bytes) {
    bytes = item.facts.size;
    if (!item.facts.sparse) {
      return {};
    }
    FileCopy copy(Tools(), item, nullptr);
    return TakeIn(copy, copy.Measure(bytes), item);
  }

  Status WithOlderCopy(const Item& item, const Status& failure) {
    if (!IsDamage(failure)) {
      return failure;
    }
    std::set<Uid> bad;
    {
      const std::lock_guard lock(mutex_);
      bad = bad_;
      bad.insert(marked_.begin(), marked_.end());
    }
    std::string older;
    // If this query fails there is no advice; the failure stays what it is.
    Ignore(store.Rows().FindOlderCopies(saveset, item.name, [&](const std::string& name, const Item& copy) {
      const bool good = std::none_of(copy.packs.begin(), copy.packs.end(),
                                     [&bad](const Uid& pack) { return bad.count(pack) != 0; });
      older = good ? name : "";
      return good;
    }));
    return older.empty() ? failure
                         : Status::Damaged(failure.Message() + "; saveset " + older +
                                           " has an older copy: korvo restore " + store.Config().section +
                                           " " + older + " \"" + item.name + "\" --to DIR");
  }

  // A courtesy: nothing depends on it, and a repository that can only be read works as well.
  void MarkDamagedPacks() {
    const std::lock_guard lock(mutex_);
    for (const Uid& pack : bad_) {
      if (store.Rows().CanWrite() && marked_.insert(pack).second) {
        Ignore(store.Rows().MarkPackDamaged(pack));
      }
    }
    bad_.clear();
  }

  Store& store;
  Saveset saveset;
  Catalog::Items ahead;  // looked up, but not asked for yet

 private:
  LoadTools Tools() { return {store.Secrets(), packs_, blocks_, workers_, store.Work()}; }

  Status TakeIn(const FileCopy& copy, const Status& status, const Item& item) {
    if (!copy.BadPack().IsNull()) {
      const std::lock_guard lock(mutex_);
      bad_.insert(copy.BadPack());
    }
    return IsDamage(status) ? status.Within("item " + item.name + " of saveset " + saveset.name) : status;
  }

  Status OpenPack(const Uid& id, PackCache::Pack& pack) {
    return PackReader::Open(store.Objects(), store.Secrets(), store.Id(), id, pack);
  }

  Status LoadBlock(const BlockKey& key, std::string& bytes) {
    PackCache::Pack pack;
    if (Status got = packs_.Get(key.pack, pack); !got) {
      return got;
    }
    return pack->ReadBlock(key.number, bytes);
  }

  PackCache packs_;
  BlockCache blocks_;
  std::mutex mutex_;
  std::set<Uid> bad_;  // not yet marked in the catalog
  std::set<Uid> marked_;
  WorkQueue workers_;  // the last: it ends before everything that it uses
};

SavesetReader::SavesetReader(Store& store) : inside_(std::make_unique<Inside>(store)) {}

SavesetReader::~SavesetReader() { MarkDamagedPacks(); }

Status SavesetReader::Begin(const std::string& name) {
  if (Status keys = inside_->store.Secrets().CanRead(); !keys) {
    return keys;
  }
  return inside_->store.FindOpenSaveset(name, Mode::kRestore, inside_->saveset);
}

Status SavesetReader::BeginWithoutJob(const std::string& name) {
  std::optional<Saveset> found;
  if (Status looked = inside_->store.Rows().FindSaveset(name, found); !looked) {
    return looked;
  }
  if (!found) {
    return Status::Missing("there is no saveset " + name);
  }
  inside_->saveset = std::move(*found);
  return {};
}

const Saveset& SavesetReader::Source() const { return inside_->saveset; }

void SavesetReader::LookAhead(const std::vector<std::string>& names) {
  Catalog::Items& ahead = inside_->ahead;
  ahead.clear();
  if (names.size() > 1 && !inside_->store.Rows().FindItems(inside_->saveset, names, ahead)) {
    ahead.clear();  // what failed fails again when the name is asked for
  }
}

Status SavesetReader::Find(const std::string& asked, std::optional<Item>& item) {
  if (auto known = inside_->ahead.extract(asked)) {
    item = std::move(known.mapped());
    return {};
  }
  return inside_->store.Rows().FindItem(inside_->saveset, asked, item);
}

Status SavesetReader::CountEntries(std::uint64_t directory, std::uint64_t& entries) {
  return inside_->store.Rows().CountEntriesOf(inside_->saveset, directory, entries);
}

Status SavesetReader::FindIn(const std::string& asked, std::string& directory,
                             const Catalog::EachItem& each) {
  return inside_->store.Rows().FindItemsIn(inside_->saveset, asked, directory, each);
}

Status SavesetReader::Copy(const Item& item, platform::DataFile& target) {
  return inside_->Copy(item, &target);
}

Status SavesetReader::Rehearse(const Item& item) { return inside_->Copy(item, nullptr); }

Status SavesetReader::Stream(const Item& item, const std::function<Status(std::string_view)>& take) {
  return inside_->Stream(item, take);
}

Status SavesetReader::RoomOf(const Item& item, std::uint64_t& bytes) { return inside_->RoomOf(item, bytes); }

Status SavesetReader::WithOlderCopy(const Item& item, const Status& failure) {
  return inside_->WithOlderCopy(item, failure);
}

void SavesetReader::MarkDamagedPacks() { inside_->MarkDamagedPacks(); }

}  // namespace store
