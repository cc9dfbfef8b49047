// Directories, which are completed by their own record, and the end of the run.
#include "store/catalog_home.h"
#include "store/dead_runs.h"
#include "store/names.h"
#include "store/save/saveset_writer_inside.h"
#include "store/saveset_objects.h"

namespace store {

// ---- Directories -----------------------------------------------------------------------------------------

Status SavesetWriter::Inside::BeginDirectory(const std::string& name, const platform::FileFacts& facts) {
  if (Status settled = Settle(); !settled) {
    return settled;
  }
  inDirectory_ = NewItem(name, ItemKind::kDirectory, facts);
  directoryFailed_ = false;
  return {};
}

Status SavesetWriter::Inside::SaveInside(const std::string& name, platform::DataFile& source, Saved& saved) {
  if (Status settled = Settle(); !settled) {
    return settled;
  }
  if (Status done = Keep(SaveFile(NewItem(name, ItemKind::kFile, {}), source, true, saved)); !done) {
    return done;
  }
  inDirectory_->entries += saved.trouble.empty() ? 1 : 0;
  return {};
}

Status SavesetWriter::Inside::AddInside(const std::string& name, ItemKind kind,
                                        const platform::FileFacts& facts, const std::string& link) {
  if (IsOver()) {
    return failure_;
  }
  Item item = NewItem(name, kind, facts);
  item.link = link;
  ++inDirectory_->entries;
  Complete(std::move(item), {}, false);
  return Keep(Pace());
}

Status SavesetWriter::Inside::EndDirectory(bool whole) {
  if (IsOver()) {
    return failure_;
  }
  if (!inDirectory_) {
    return {};
  }
  // The directory's own record is the last: nothing of it may fail after that.
  if (whole && !referring_.empty()) {
    if (Status finished = Keep(Finish()); !finished) {
      return finished;
    }
  }
  if (!whole || directoryFailed_) {
    return Keep(DropDirectory());
  }
  Item directory = std::move(*inDirectory_);
  inDirectory_.reset();
  Complete(std::move(directory), {}, true);
  return Keep(Pace());
}

Status SavesetWriter::Inside::DropDirectory() {
  const std::uint64_t number = inDirectory_->number;
  inDirectory_.reset();
  std::erase_if(referring_, [number](const auto& file) { return file.second.directory == number; });
  filler_->DropItemsOf(number);
  if (!filler_->HasItems()) {
    waitsSince_.reset();
    if (Status dropped = filler_->DropPack(); !dropped) {
      return dropped;
    }
  }
  Status done = filler_->Drain();
  done = done ? committer_->DropWaiting(filler_->NeededPacks()) : done;
  done = done ? committer_->Wait() : done;
  if (!done) {
    return done;
  }
  Deliver();
  std::erase_if(toSaveAgain_, [number](const Item& item) { return item.directory == number; });
  std::vector<Uid> packs;
  if (Status dropped = store_.Rows().DropDirectory(saveset_.id, number, packs); !dropped) {
    return dropped;
  }
  return packs.empty() ? Status() : committer_->Delete(std::move(packs));
}

// ---- Waiting, and the end --------------------------------------------------------------------------------

Status SavesetWriter::Inside::Settle() {
  if (IsOver()) {
    return failure_;
  }
  Deliver();
  if (Status saved = Keep(SaveAgain()); !saved) {
    return saved;
  }
  return HasWaited() ? Keep(EndGroup()) : Status();
}

void SavesetWriter::Inside::NoteParent(const Item& item) {
  std::string_view parent = ParentOf(item.name);
  if (item.marker) {
    parent = ParentOf(parent);
  }
  if (!anyItem_) {
    parent_ = parent;
  }
  scattered_ = scattered_ || parent.empty() || ItemKey(parent) != ItemKey(parent_);
}

// Adds the last item of a run that went well, and finishes.
Status SavesetWriter::Inside::FinishWithFirstLevel() {
  do {
    if (toSaveAgain_.empty() && !againFailed_) {
      Complete(NewItem(parent_, ItemKind::kFirstLevel, {}), {}, false);
      firstLevelAdded_ = true;
    }
    if (Status finished = Finish(); !finished) {
      return finished;
    }
  } while (!firstLevelAdded_ && !againFailed_);
  return {};
}

Status SavesetWriter::Inside::End(bool good, bool firstLevel, const std::string& why) {
  if (!begun_) {
    return {};
  }
  begun_ = false;
  // A directory that was not ended is given up, also after an interrupt.
  if (inDirectory_ && failure_) {
    failure_ = DropDirectory();
  }
  if (failure_) {
    const bool isLevel = good && firstLevel && anyItem_ && !scattered_;
    failure_ = isLevel ? FinishWithFirstLevel() : Finish();
  }
  if (failure_) {
    failure_ = committer_->DropWaiting({});
  }
  if (failure_) {
    failure_ = committer_->Wait();
  }
  return failure_ ? EndRun(store_.Rows(), good && !againFailed_, why) : EndFailedRun();
}

Status SavesetWriter::Inside::EndRun(Catalog& rows, bool clean, const std::string& why) {
  const ObjectShelf shelf{store_.Objects(), store_.Secrets(), store_.Id()};
  lease_.reset();
  // A rebuild may have moved the catalog elsewhere meanwhile. Then the new one does not know this run.
  Status noted = clean ? CheckCatalogIsMeant(store_.Config(), store_.Objects()) : Status();
  if (clean && noted) {
    noted = NoteEnd(rows, shelf, saveset_.uid, Mover::kEndedClean);
  }
  const bool good = clean && noted;
  const Status ended = good ? rows.EndRun(run_, Mover::kEndedClean, "")
                            : rows.EndRun(run_, Mover::kEndedFailed, noted ? why : noted.Message());
  // Takes back a good end that was not committed. A run that could not be ended gets no note: a commit of
  // which nobody knows may add items. Without it a rebuild is only more careful.
  if (good != static_cast<bool>(ended)) {
    Ignore(NoteEnd(rows, shelf, saveset_.uid, Mover::kEndedFailed));
  }
  return noted ? ended : noted;
}

// Removes what the run announced and the catalog does not know as committed, as far as the failure lets it;
// whoever opens the repository next does the rest. This needs a new connection, since a failed one is not
// trusted. Objects go last, when no commit whose end nobody knows can name them any more.
Status SavesetWriter::Inside::EndFailedRun() {
  if (committer_ != nullptr) {
    Deliver();
  }
  files_.reset();
  filler_.reset();
  const std::vector<Uid> packs = committer_ != nullptr ? committer_->End() : std::vector<Uid>();
  committer_.reset();
  std::unique_ptr<Catalog> rows;
  // Another program may have ended the run and deleted its packs before the last of them was put.
  if (store_.Connect(rows) && EndRun(*rows, false, failure_.Message()) && rows->NameStrays(packs)) {
    Ignore(rows->ForgetDeletedPacks(
        packs, [this](const Uid& pack) { return store_.Objects().Delete(PackObject(pack)); }));
  }
  return failure_;
}

}  // namespace store
