// Deleting savesets: the catalog names what is to go, then the objects are deleted, then the catalog forgets
// them. After an interruption, the next deletion goes on where this one ended.
#include <algorithm>

#include "store/saveset_objects.h"
#include "store/store.h"

namespace store {

Status Store::Mark(const std::string& saveset, bool marked) {
  Saveset used;
  if (Status found = FindSaveset(saveset, used); !found) {
    return found;
  }
  return catalog_->MarkSaveset(used.id, marked).Within("saveset " + saveset);
}

Status Store::DeleteMarked(std::int64_t graceSeconds) {
  std::int64_t now = 0;
  if (!mayDelete_) {
    return Explain(mayDelete_);
  }
  if (Status told = catalog_->Now(now); !told) {
    return Explain(told);
  }
  // What is deleted at once was marked at 0, whatever the clock says.
  if (Status named = catalog_->DeleteMarked(std::max<std::int64_t>(now - graceSeconds, 0)); !named) {
    return Explain(named);
  }
  return RemoveDeleted();
}

Status Store::DeleteAtOnce(const std::string& saveset) {
  Saveset used;
  if (Status found = FindSaveset(saveset, used); !found) {
    return found;
  }
  if (Status marked = catalog_->MarkTogether({used.id}, true); !marked) {
    return marked.Within("saveset " + saveset);
  }
  return DeleteMarked(config_.grace);
}

Status Store::MarkTogether(const std::vector<Saveset>& savesets, bool atOnce) {
  std::vector<std::int64_t> ids;
  std::string names;
  for (const Saveset& saveset : savesets) {
    ids.push_back(saveset.id);
    names += (names.empty() ? "" : ", ") + saveset.name;
  }
  return catalog_->MarkTogether(ids, atOnce).Within("saveset " + names);
}

// The object is put before anybody is told that the saveset is protected, and deleted after nobody relies on
// it.
Status Store::Protect(const std::string& saveset, bool isProtected) {
  Saveset used;
  if (Status found = FindSaveset(saveset, used); !found) {
    return found;
  }
  std::int64_t now = 0;
  Status done = catalog_->Now(now);
  if (done && isProtected) {
    done = PutSavesetProtected({*place_, keys_, id_}, used.uid, now);
  }
  if (done) {
    done = catalog_->SetProtected(used.id, isProtected);
  }
  // No object may stay for a saveset that was deleted meanwhile, or that is not protected after all.
  bool deletes = static_cast<bool>(done);
  if (isProtected) {
    std::optional<Saveset> row;
    deletes = !done && catalog_->FindSavesetByUid(used.uid, row) && (!row || !row->isProtected);
  }
  if (deletes) {
    Status gone = DeleteSavesetProtected(*place_, used.uid);
    done = done ? gone : done;
  }
  return Explain(done.Within("saveset " + saveset));
}

// The savesets are listed before the packs: a saveset in the list has its packs named already. The packs are
// deleted first: as long as one of them is there, the objects tell whose it was.
Status Store::RemoveDeleted() {
  Catalog::Deleted deleted;
  if (Status listed = catalog_->ListDeleted(deleted); !listed) {
    return Explain(listed);
  }
  Status gone = catalog_->ForgetDeletedPacks(
      deleted.packs, [this](const Uid& pack) { return place_->Delete(PackObject(pack)); });
  if (gone) {
    gone = catalog_->ForgetDeletedSavesets(
        deleted.savesets, [this](const Uid& saveset) { return DeleteSavesetObjects(*place_, saveset); });
  }
  return Explain(gone);
}

}  // namespace store
