#include "store/check/repository_check.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <unordered_map>

#include "platform/platform.h"
#include "store/check/pack_batch.h"
#include "store/check/saveset_check.h"
#include "store/load/saveset_reader.h"
#include "store/load/work_queue.h"
#include "store/open_store.h"
#include "store/pack/pack_reader.h"

namespace store {
namespace {

// Larger files are read one after the other, each by all threads together.
constexpr std::uint64_t kLarge = 2 * 1024 * 1024;

std::uint64_t SizeOf(const std::vector<PackFacts>& packs) {
  std::uint64_t size = 0;
  for (const PackFacts& pack : packs) {
    size += pack.size;
  }
  return size;
}

}  // namespace

void RepositoryCheck::Tell(const Damage& damage) {
  ++result_.damages;
  listener_.damaged(damage);
}

Status RepositoryCheck::Run(const CheckScope& scope, Result& result) {
  result_ = {};
  std::vector<PackFacts> packs;
  Status done = store_.Secrets().CanSave();
  if (done) {
    done = CheckCatalog();
  }
  if (done && !result_.catalogDamaged) {
    done = CheckRepositoryObject();
    if (done) {
      done = CheckSavesets();
    }
    if (done) {
      done = CheckPlace(packs);
    }
    if (done) {
      done = Choose(scope, packs);
    }
    if (done) {
      done = CheckPacks(packs);
    }
  }
  result = result_;
  return done;
}

// ---- The catalog and the small objects -------------------------------------------------------------------

Status RepositoryCheck::CheckCatalog() {
  Status checked = store_.Rows().CheckWhole([this](const std::string& wrong) {
    result_.catalogDamaged = true;
    Tell({wrong, {}});
  });
  if (checked.What() == Status::Kind::kDamaged) {
    result_.catalogDamaged = true;
    Tell({checked.Message(), {}});
    return {};
  }
  return checked;
}

Status RepositoryCheck::CheckRepositoryObject() {
  std::string kept;
  std::string object;
  Status read = store_.Rows().FindRepositoryObject(kept);
  if (read) {
    read = ReadRepositoryObject(store_.Objects(), object);
  }
  if (read && !kept.empty() && kept != object) {
    Tell({"object \"repository\" is not as it was when the repository was made", {}});
  }
  return read;
}

// Objects that no row names belong to a saveset that is being deleted, or to one that the catalog has lost.
Status RepositoryCheck::CheckSavesets() {
  const ObjectShelf shelf{store_.Objects(), store_.Secrets(), store_.Id()};
  std::set<Uid> known;
  Status checked = store_.Rows().ListAllSavesets([&](const Saveset& saveset) {
    known.insert(saveset.uid);
    ++result_.savesets;
    Status good = CheckSavesetObjects(shelf, store_.Rows(), saveset);
    if (IsDamage(good)) {
      return TellObjects(saveset, good);
    }
    return platform::Interrupted() ? Status::Interrupted() : good;
  });
  std::set<Uid> others;
  if (checked) {
    checked = store_.Objects().List(kSavesetPrefix, [&](const std::string& name, std::uint64_t) {
      Uid uid;
      if (UidOfSaveset(name, uid) && known.count(uid) == 0) {
        others.insert(uid);
      }
      return Status();
    });
  }
  for (auto uid = others.begin(); checked && uid != others.end(); ++uid) {
    bool isKnown = false;
    std::optional<std::uint64_t> size;
    checked = store_.Rows().KnowsSaveset(*uid, isKnown);
    if (checked && !isKnown) {
      checked = store_.Objects().Size(SavesetObject(*uid, "begin"), size);
    }
    if (checked && size) {
      Tell({"saveset " + uid->Hex() + " has objects, and the catalog does not know it: korvo rebuild " +
                store_.Config().section + " takes it in",
            {}});
    }
  }
  return checked;
}

// The catalog is good: it has what the objects must say.
Status RepositoryCheck::TellObjects(const Saveset& saveset, const Status& damage) {
  const ObjectShelf shelf{store_.Objects(), store_.Secrets(), store_.Id()};
  bool mended = false;
  if (store_.Rows().CanWrite()) {
    // Where the place cannot be written, the damage stays, and is told.
    Ignore(MendSavesetObjects(shelf, store_.Rows(), saveset.uid, mended));
  }
  Tell({damage.Message() + (mended ? "; it is written anew from the catalog" : ""), {}});
  return {};
}

// ---- Packs -----------------------------------------------------------------------------------------------

// `packs` gets all packs that the catalog knows, first those that are missing or have another size. The
// catalog knows a pack before it is there, and forgets it after it has gone.
Status RepositoryCheck::CheckPlace(std::vector<PackFacts>& packs) {
  Status listed = store_.Rows().ListPacks(packs);
  result_.packs = packs.size();
  result_.bytes = SizeOf(packs);
  std::unordered_map<Uid, std::uint64_t, UidHash> there;
  if (listed) {
    listed = store_.Objects().List(kPackPrefix, [&there](const std::string& name, std::uint64_t size) {
      Uid uid;
      if (UidOfPack(name, uid)) {
        there.emplace(uid, size);
      }
      return Status();
    });
  }
  const auto isWrong = [&there](const PackFacts& pack) {
    const auto found = there.find(pack.uid);
    return pack.damaged || found == there.end() || found->second != pack.size;
  };
  const auto right = std::stable_partition(packs.begin(), packs.end(), isWrong);
  for (auto pack = packs.begin(); pack != right; ++pack) {
    pack->checked.reset();  // so that no scope leaves it out
  }
  for (const PackFacts& pack : packs) {
    there.erase(pack.uid);
  }
  for (auto other = there.begin(); listed && other != there.end(); ++other) {
    bool known = false;
    std::optional<std::uint64_t> size;
    listed = store_.Rows().KnowsPack(other->first, known);
    if (listed && !known) {
      listed = store_.Objects().Size(PackObject(other->first), size);
    }
    if (listed && size) {
      listed = TellUnknown(other->first);
    }
  }
  return listed;
}

// A rebuild takes in no pack that cannot be read.
Status RepositoryCheck::TellUnknown(const Uid& pack) {
  std::shared_ptr<const PackReader> reader;
  Status opened = PackReader::Open(store_.Objects(), store_.Secrets(), store_.Id(), pack, reader);
  if (!opened && !IsDamage(opened)) {
    return opened;
  }
  Tell({"pack " + pack.Hex() + " is there, and the catalog does not know it: " +
            (opened ? "korvo rebuild " + store_.Config().section +
                          " takes it in, or deletes it if nothing needs it"
                    : "it is damaged; bring it from a copy of the repository, or delete its file"),
        pack});
  return {};
}

Status RepositoryCheck::Choose(const CheckScope& scope, std::vector<PackFacts>& packs) {
  std::set<Uid> needed;
  for (const Saveset& saveset : scope.savesets) {
    std::vector<Uid> uids;
    if (Status listed = store_.Rows().ListPacksOf(saveset, uids); !listed) {
      return listed;
    }
    needed.insert(uids.begin(), uids.end());
  }
  std::erase_if(packs, [&](const PackFacts& pack) {
    return (!scope.savesets.empty() && needed.count(pack.uid) == 0) ||
           (scope.uncheckedSince && pack.checked && *pack.checked >= *scope.uncheckedSince);
  });
  const double most = static_cast<double>(SizeOf(packs)) * scope.percent / 100;
  double size = 0;
  const auto behind = std::find_if(packs.begin(), packs.end(), [&](const PackFacts& pack) {
    const bool enough = size >= most;
    size += static_cast<double>(pack.size);
    return enough;
  });
  packs.erase(behind, packs.end());
  return {};
}

Status RepositoryCheck::CheckPacks(const std::vector<PackFacts>& packs) {
  store_.Work().Expect(packs.size(), SizeOf(packs));
  PackBatch batch(store_, listener_, [this](const Damage& damage) { Tell(damage); });
  for (std::size_t i = 0; i < packs.size(); ++i) {
    if (platform::Interrupted()) {
      return Status::Interrupted();
    }
    if (Status added = batch.Add(packs[i]); !added) {
      return added;
    }
    if (batch.IsFull() || i + 1 == packs.size()) {
      if (Status checked = batch.Run(); !checked) {
        return checked;
      }
    }
    ++result_.readPacks;
    result_.readBytes += packs[i].size;
    store_.Work().AddItems(1);
  }
  return {};
}

// ---- As a restore ----------------------------------------------------------------------------------------

Status RepositoryCheck::Restore(const std::vector<Saveset>& savesets, Result& result) {
  result_ = {};
  Status done = store_.Secrets().CanRead();
  std::vector<Saveset> all = savesets;
  if (done && all.empty()) {
    done = store_.Rows().ListAllSavesets([&all](const Saveset& saveset) {
      all.push_back(saveset);
      return Status();
    });
  }
  for (auto saveset = all.begin(); done && saveset != all.end(); ++saveset) {
    done = RestoreSaveset(*saveset);
    ++result_.savesets;
  }
  result = result_;
  return done;
}

Status RepositoryCheck::RestoreSaveset(const Saveset& saveset) {
  SavesetReader reader(store_);
  if (Status begun = reader.BeginWithoutJob(saveset.name); !begun) {
    return begun.What() == Status::Kind::kMissing ? Status() : begun;
  }
  std::mutex mutex;
  Status failure;
  std::vector<std::pair<std::string, std::string>> damages;  // each with the item that it costs
  Pending pending;
  WorkQueue workers(WorkQueue::UsualCount());
  const auto rehearse = [&](const Item& item) {
    const Status done = reader.Rehearse(item);
    const std::lock_guard lock(mutex);
    if (IsDamage(done)) {
      damages.emplace_back(done.Message(), item.name);
    } else if (!done && failure) {
      failure = done;
    }
    result_.readPacks += done ? 1U : 0U;
    result_.readBytes += done ? item.facts.size : 0;
  };
  const Status listed = store_.Rows().ListItems(saveset, [&](const Item& item) {
    if (item.kind != ItemKind::kFile) {
      return Status();
    }
    if (item.facts.size > kLarge) {
      rehearse(item);
    } else {
      pending.Add();
      workers.Do([&, item] {
        rehearse(item);
        pending.Done();
      });
    }
    const std::lock_guard lock(mutex);
    return platform::Interrupted() ? Status::Interrupted() : failure;
  });
  pending.Wait();
  // If the saveset was deleted meanwhile, what it lacks is no damage.
  std::optional<Saveset> now;
  Status looked = store_.Rows().FindSavesetByUid(saveset.uid, now);
  for (const auto& [what, item] : damages) {
    if (now) {
      Tell({what, {}});
      listener_.lost(saveset.name, item);
    }
  }
  if (!looked || !now) {
    return looked;
  }
  return listed ? failure : listed;
}

}  // namespace store
