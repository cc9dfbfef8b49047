#include "store/copy/repository_copy.h"

#include <algorithm>
#include <map>
#include <memory>

#include "platform/platform.h"
#include "store/load/work_queue.h"
#include "store/pack/pack_reader.h"
#include "store/saveset_objects.h"

namespace store {
namespace {

constexpr std::size_t kItemsOfCommit = 500;

// Whether the copy has all of its items. One that could not be read at an earlier copy may come now.
bool IsWhole(const std::optional<Saveset>& copy, const Saveset& saveset) {
  return copy && copy->items >= saveset.items;
}

// Those of the saveset's packs that these items need.
std::vector<PackFacts> PacksOf(const std::vector<Catalog::ItemRecord>& items,
                               const std::map<Uid, const PackFacts*>& packs) {
  std::set<Uid> needed;
  for (const Catalog::ItemRecord& item : items) {
    needed.insert(item.pack);
    needed.insert(item.item.packs.begin(), item.item.packs.end());
  }
  std::vector<PackFacts> facts;
  for (const Uid& uid : needed) {
    if (const auto pack = packs.find(uid); pack != packs.end()) {
      facts.push_back(*pack->second);
    }
  }
  return facts;
}

std::int64_t TimeOf(const Saveset& saveset) { return saveset.ended.value_or(saveset.created); }

}  // namespace

Status RepositoryCopy::Run(Result& result) {
  result_ = {};
  // Keeps a rebuild away from packs that have been copied and are in no row yet.
  const Uid run = Uid::Random();
  std::unique_ptr<RunHold> hold;
  std::vector<Saveset> savesets;
  Status done = to_.Objects().HoldRun(run, hold);
  if (done) {
    done = ListSavesets(savesets);
  }
  if (done) {
    done = CheckIsAnother(run);
  }
  if (done) {
    done = GiveUpOthers(savesets);
  }
  if (done) {
    done = MendDamaged();
  }
  if (done) {
    done = CountPacks(savesets);
  }
  for (auto saveset = savesets.begin(); done && saveset != savesets.end(); ++saveset) {
    done = platform::Interrupted() ? Status::Interrupted() : CopySaveset(*saveset);
  }
  result = result_;
  return done;
}

// One directory may have several names. The lock that the copy holds is seen under each of them.
Status RepositoryCopy::CheckIsAnother(const Uid& heldByCopy) {
  bool gone = true;
  if (!from_.Config().bucket.name.empty() || !to_.Config().bucket.name.empty()) {
    return {};
  }
  Status asked = from_.Objects().IsRunGone(heldByCopy, gone);
  return asked && !gone ? Status::Failed("both servers have the same repository: --to needs another one")
                        : asked;
}

// Lists the oldest first.
Status RepositoryCopy::ListSavesets(std::vector<Saveset>& savesets) {
  Status listed = from_.Rows().ListAllSavesets([&](const Saveset& saveset) {
    bool open = false;
    Status asked = from_.Rows().HasOpenJob(saveset.id, Mode::kBackup, open);
    if (open || saveset.sessionOpen || saveset.mover == Mover::kRunning) {
      ++result_.open;
    } else if (saveset.items > 0 && !saveset.marked) {
      savesets.push_back(saveset);
    }
    return asked;
  });
  std::reverse(savesets.begin(), savesets.end());
  return listed;
}

// Counts what has to come, for people who watch.
Status RepositoryCopy::CountPacks(const std::vector<Saveset>& savesets) {
  std::set<Uid> packs;
  Status done;
  for (auto saveset = savesets.begin(); done && saveset != savesets.end(); ++saveset) {
    std::optional<Saveset> copy;
    std::vector<Uid> needed;
    done = to_.Rows().FindSavesetByUid(saveset->uid, copy);
    if (done && !IsWhole(copy, *saveset)) {
      done = from_.Rows().ListPacksOf(*saveset, needed);
    }
    packs.insert(needed.begin(), needed.end());
  }
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
  for (auto uid = packs.begin(); done && uid != packs.end(); ++uid) {
    bool known = false;
    std::optional<PackFacts> facts;
    done = to_.Rows().KnowsPack(*uid, known);
    if (done && !known) {
      done = from_.Rows().FindPackFacts(*uid, facts);
    }
    count += facts ? 1U : 0U;
    bytes += facts ? facts->size : 0;
  }
  for (Store* store : {&from_, &to_}) {
    store->Work().Expect(count, bytes);
  }
  return done;
}

void RepositoryCopy::CountWork(std::uint64_t packs, std::uint64_t bytes) {
  for (Store* store : {&from_, &to_}) {
    store->Work().AddItems(packs);
    store->Work().AddBytes(bytes);
  }
}

// Gives up the savesets that an earlier copy began and that are not to be copied any more.
Status RepositoryCopy::GiveUpOthers(const std::vector<Saveset>& savesets) {
  std::vector<Uid> begun;
  bool any = false;
  Status done = to_.Rows().ListAdoptions(begun);
  for (auto uid = begun.begin(); done && uid != begun.end(); ++uid) {
    if (std::none_of(savesets.begin(), savesets.end(),
                     [&uid](const Saveset& saveset) { return saveset.uid == *uid; })) {
      done = to_.Rows().GiveUpAdoption(*uid);
      any = true;
    }
  }
  return done && any ? to_.DeleteMarked(to_.Config().grace) : done;
}

Status RepositoryCopy::CopySaveset(const Saveset& saveset) {
  std::optional<Saveset> copy;
  if (Status found = to_.Rows().FindSavesetByUid(saveset.uid, copy); !found || IsWhole(copy, saveset)) {
    result_.there += found ? 1U : 0U;
    return found;
  }
  std::vector<PackFacts> packs;
  std::uint64_t items = 0;
  brought_.clear();
  Status done = ListPacks(saveset, packs);
  if (done) {
    done = to_.Rows().BeginAdoption(saveset);
  }
  if (done) {
    done = AnnouncePacks(saveset, packs);
  }
  if (done) {
    done = CopyPacks(packs);
  }
  if (done) {
    done = CopyItems(saveset, copy, packs, items);
  }
  if (done && items == 0) {
    result_.there += copy ? 1U : 0U;
    return LeaveAsItIs(saveset, copy.has_value());
  }
  if (done.What() == Status::Kind::kDamaged) {
    ++result_.damages;
    listener_.damaged({"saveset " + saveset.name + " cannot come into the copy: " + done.Message(), {}});
    return LeaveAsItIs(saveset, copy.has_value());
  }
  // The saveset was deleted meanwhile, perhaps when only a part of its items had been listed: do not complete
  // it.
  std::optional<Saveset> still;
  if (done) {
    done = from_.Rows().FindSavesetByUid(saveset.uid, still);
  }
  if (done && (!still || still->marked)) {
    return LeaveAsItIs(saveset, copy.has_value());
  }
  if (done) {
    done = CopyObjects(*still, copy.has_value());
  }
  if (done) {
    done = to_.Rows().EndAdoption(*still);
  }
  // This was in the copy, whose owner may delete the saveset at any time.
  if (done.What() == Status::Kind::kConflict) {
    ++result_.later;
    return DropBrought();
  }
  std::optional<Saveset> now;
  if (done.What() == Status::Kind::kMissing && from_.Rows().FindSavesetByUid(saveset.uid, now) &&
      (!now || now->marked)) {
    return LeaveAsItIs(saveset, copy.has_value());  // deleted meanwhile
  }
  result_.savesets += done ? 1U : 0U;
  return done.Within("saveset " + saveset.name);
}

// No more of the saveset comes. If it is listed already, what came just now is counted in it, and what came
// with a copy that ended before it had counted.
Status RepositoryCopy::LeaveAsItIs(const Saveset& saveset, bool listed) {
  const Status ended = listed ? to_.Rows().EndAdoption(saveset) : Status();
  return ended || ended.What() == Status::Kind::kConflict ? DropBrought() : ended;
}

// ---- Rows ------------------------------------------------------------------------------------------------

bool RepositoryCopy::IsBad(const Catalog::ItemRecord& record) const {
  return bad_.count(record.pack) != 0 ||
         std::any_of(record.item.packs.begin(), record.item.packs.end(),
                     [this](const Uid& pack) { return bad_.count(pack) != 0; });
}

// Finds directories of which something cannot come: then nothing of them comes.
Status RepositoryCopy::FindTorn(const Saveset& saveset, std::set<std::uint64_t>& torn) {
  if (bad_.empty()) {
    return {};
  }
  return from_.Rows().ListRecords(saveset, [&](const Catalog::ItemRecord& record) {
    if (IsBad(record)) {
      const bool isDirectory = record.item.directory == 0 && record.item.kind == ItemKind::kDirectory;
      torn.insert(isDirectory ? record.item.number : record.item.directory);
    }
    return Status();
  });
}

// If the saveset is listed already, without some items, these come all at once: never a part of a directory.
Status RepositoryCopy::CopyItems(const Saveset& saveset, const std::optional<Saveset>& copy,
                                 const std::vector<PackFacts>& packs, std::uint64_t& came) {
  std::map<Uid, const PackFacts*> byId;
  for (const PackFacts& pack : packs) {
    byId.emplace(pack.uid, &pack);
  }
  std::set<std::uint64_t> torn;
  std::set<std::uint64_t> there;
  std::vector<Catalog::ItemRecord> items;
  const auto hasObject = [this](const PackFacts& pack, bool& has) {
    std::optional<std::uint64_t> size;
    Status asked = to_.Objects().Size(PackObject(pack.uid), size);
    has = size == pack.size;
    return asked;
  };
  const auto commit = [&] {
    Status done = to_.Rows().AdoptItems(saveset.uid, PacksOf(items, byId), items, hasObject);
    came += items.size();
    items.clear();
    return done;
  };
  Status done = FindTorn(saveset, torn);
  torn.erase(0);
  if (done && copy) {
    done = to_.Rows().ListRecords(*copy, [&there](const Catalog::ItemRecord& record) {
      there.insert(record.item.number);
      return Status();
    });
  }
  if (done) {
    done = from_.Rows().ListRecords(saveset, [&](const Catalog::ItemRecord& record) {
      if (there.count(record.item.number) != 0) {
        return Status();
      }
      if (IsBad(record) || torn.count(record.item.directory) != 0 ||
          (record.item.directory == 0 && torn.count(record.item.number) != 0)) {
        listener_.lost(saveset.name, record.item.name);
        return Status();
      }
      items.push_back(record);
      return copy || items.size() < kItemsOfCommit ? Status() : commit();
    });
  }
  if (done && !items.empty()) {
    done = commit();
  }
  return done && !bad_.empty() ? DropBrought() : done;
}

// A saveset that is listed already keeps the protection that it has in the copy.
Status RepositoryCopy::CopyObjects(const Saveset& saveset, bool listed) {
  const ObjectShelf shelf{to_.Objects(), to_.Secrets(), to_.Id()};
  SavesetObjects objects;
  Status done = ReadSavesetObjects({from_.Objects(), from_.Secrets(), from_.Id()}, saveset.uid, objects);
  if (IsDamage(done) || (done && !objects.begun)) {
    ++result_.damages;
    const std::string why = done ? "its beginning is missing" : done.Message();
    listener_.damaged({"saveset " + saveset.name + ": " + why + "; the copy has it from the catalog", {}});
    done = WriteObjects(shelf, saveset);
  } else {
    for (const char* which : {"begin", "end", "closed", "failed"}) {
      done = done ? CopyObject(SavesetObject(saveset.uid, which)) : done;
    }
    // The object is missing if the first repository had no room for it.
    if (done && saveset.sessionFailed && !objects.saveset.sessionFailed) {
      done = PutBackupFailed(shelf, saveset.uid, TimeOf(saveset));
    }
  }
  if (!done || listed) {
    return done;
  }
  if (saveset.isProtected) {
    return PutSavesetProtected(shelf, saveset.uid, TimeOf(saveset));
  }
  // Of a copy that ended before it. Who copies may have no right to delete, so only what is there is deleted.
  std::optional<std::uint64_t> size;
  done = to_.Objects().Size(SavesetObject(saveset.uid, "protected"), size);
  return done && size ? DeleteSavesetProtected(to_.Objects(), saveset.uid) : done;
}

Status RepositoryCopy::CopyObject(const std::string& name) {
  std::optional<std::uint64_t> size;
  std::string bytes;
  Status done = from_.Objects().Size(name, size);
  if (done && size) {
    done = from_.Objects().Get(name, 0, static_cast<std::size_t>(*size), bytes);
  }
  return done && size ? to_.Objects().Put(name, bytes) : done;
}

// Writes what the saveset's row tells. Its protection is a matter of its own.
Status RepositoryCopy::WriteObjects(const ObjectShelf& shelf, const Saveset& saveset) {
  const State state = saveset.failed ? State::kFailed : saveset.warnings ? State::kWarnings : State::kGood;
  Saveset row = saveset;
  row.isProtected = false;
  int written = 0;
  return WriteMissingObjects(shelf, row, state, written);
}

}  // namespace store
