// Deleting savesets: the catalog names what goes, then the objects go, then the catalog forgets them.
// Wherever this is interrupted, the next deletion goes on.
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
  if (Status told = catalog_->Now(now); !told) {
    return Explain(told);
  }
  Catalog::Deleted deleted;
  if (Status named = catalog_->DeleteMarked(now - graceSeconds, deleted); !named) {
    return Explain(named);
  }
  return RemoveDeleted();
}

Status Store::DeleteAtOnce(const std::string& saveset) {
  Saveset used;
  if (Status found = FindSaveset(saveset, used); !found) {
    return found;
  }
  if (Status marked = catalog_->MarkSavesetAtOnce(used.id); !marked) {
    return marked.Within("saveset " + saveset);
  }
  return DeleteMarked(config_.grace);
}

// Packs first: as long as one of them is there, the objects tell whose it was.
Status Store::RemoveDeleted() {
  Catalog::Deleted deleted;
  if (Status listed = catalog_->ListDeleted(deleted); !listed) {
    return Explain(listed);
  }
  if (deleted.packs.empty() && deleted.savesets.empty()) {
    return {};
  }
  for (const Uid& pack : deleted.packs) {
    if (Status gone = place_->Delete(PackObject(pack)); !gone) {
      return Explain(gone);
    }
  }
  for (const Uid& saveset : deleted.savesets) {
    if (Status gone = DeleteSavesetObjects(*place_, saveset); !gone) {
      return Explain(gone);
    }
  }
  return Explain(catalog_->ForgetDeleted(deleted));
}

}  // namespace store
