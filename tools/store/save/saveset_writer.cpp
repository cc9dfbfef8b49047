#include "store/save/saveset_writer.h"

#include <algorithm>
#include <chrono>

#include "platform/platform.h"
#include "store/names.h"
#include "store/save/saveset_writer_inside.h"

namespace store {

// ---- The beginning ---------------------------------------------------------------------------------------

Status SavesetWriter::Inside::Begin(const std::string& name) {
  if (Status found = store_.FindOpenSaveset(name, Mode::kBackup, saveset_); !found) {
    return found;
  }
  if (Status keys = store_.Secrets().CanSave(); !keys) {
    return keys;
  }
  run_ = Uid::Random();
  if (Status held = store_.Objects().HoldRun(run_, hold_); !held) {
    return held;
  }
  bool claimed = false;
  const platform::ProcessIdentity process = platform::ThisProcess();
  if (Status taken = store_.Rows().BeginRun(
          {run_, saveset_.id, {process.space, process.number, process.start}}, claimed);
      !taken) {
    return taken;
  }
  if (!claimed) {
    return Status::Failed("saveset " + name + " was given to another mover before: open a new job");
  }
  Status begun = BeginSaving();
  if (!begun) {
    failure_ = begun;
    Ignore(End(false, false, ""));
  }
  return begun;
}

Status SavesetWriter::Inside::BeginSaving() {
  begun_ = true;
  if (store_.Rows().IsShared()) {
    std::unique_ptr<Catalog> ofLease;
    if (Status connected = store_.Connect(ofLease); !connected) {
      return Keep(connected);
    }
    lease_ = std::make_unique<RunLease>(store_, run_, std::move(ofLease));
  }
  std::unique_ptr<Catalog> rows;
  if (Status now = store_.Rows().Now(started_); !now) {
    return Keep(now);
  }
  if (Status connected = store_.Connect(rows); !connected) {
    return Keep(connected);
  }
  rows->TellOf(run_, started_, store_.Work());
  workers_ = std::make_unique<Workers>(store_.Config().compression);
  committer_ = std::make_unique<Committer>(store_.Objects(), std::move(rows), run_, saveset_.id);
  filler_ = std::make_unique<PackFiller>(store_, saveset_.uid, *workers_, *committer_);
  files_ = std::make_unique<FileSaver>(store_.Secrets(), *workers_, *filler_, store_.Work());
  if (store_.Config().freshAfter > 0) {
    bases_ = std::make_unique<BaseFinder>(store_, saveset_, started_ - store_.Config().freshAfter);
  }
  return {};
}

// An interrupt ends the saving, but what is complete may still be committed.
Status SavesetWriter::Inside::Keep(Status status) {
  if (!status && status.What() != Status::Kind::kInterrupted && failure_) {
    failure_ = status;
  }
  return status;
}

// ---- Items -----------------------------------------------------------------------------------------------

Item SavesetWriter::Inside::NewItem(const std::string& name, ItemKind kind,
                                    const platform::FileFacts& facts) {
  Item item;
  item.number = ++numbers_;
  item.name = name;
  item.kind = kind;
  item.facts = facts;
  item.stored = started_;
  if (inDirectory_) {
    item.directory = inDirectory_->number;
  }
  return item;
}

void SavesetWriter::Inside::LookAhead(const std::vector<std::string>& names) {
  if (bases_ != nullptr && !IsOver()) {
    bases_->LookAhead(names);
  }
}

Status SavesetWriter::Inside::Save(const std::string& name, platform::DataFile& source, Saved& saved) {
  if (Status settled = Settle(); !settled) {
    return settled;
  }
  return Keep(SaveFile(NewItem(name, ItemKind::kFile, {}), source, true, saved));
}

Status SavesetWriter::Inside::SaveFile(Item item, platform::DataFile& source, bool mayRefer, Saved& saved) {
  std::unique_ptr<Base> base;
  if (!store_.Rows().CanHold(item.name)) {
    saved.trouble = "its name is too long for the database that has the catalog";
    return {};
  }
  item.facts = source.FactsAtOpening();
  if (item.facts.size > kLargestFile) {
    saved.trouble = "it is larger than 512 TiB: more than a repository takes";
    return {};
  }
  // Nobody has to wait for a large file, or to fail with it: the group ends before.
  if (waitsSince_ && item.facts.size >= store_.Objects().BestObjectSize()) {
    committer_->PreparePack();
    if (Status ended = EndGroup(); !ended) {
      return ended;
    }
  }
  if (mayRefer && bases_ != nullptr && item.facts.size > 0) {
    if (Status found = bases_->Find(item.name, item.facts.size, base); !found) {
      return found;
    }
  }
  if (base != nullptr) {
    Reopen& how = referring_[item.number];
    how.directory = item.directory;
    if (how.directory != 0 && !source.Id(how.id)) {
      saved.trouble = source.Why();
      return {};
    }
  }
  filler_->BeginFile();
  MapTree tree;
  Status done = files_->Save(
      source, std::move(base), [this] { return Pace(); }, item, tree, saved);
  if (done && saved.trouble.empty()) {
    const bool waits = item.directory == 0;
    Complete(std::move(item), std::move(tree), waits);
  } else {
    referring_.erase(item.number);
    done = done ? GiveUpFile() : done;
  }
  filler_->EndFile();
  store_.Work().AddItems(1);
  return done ? Pace() : done;
}

// What was stored of the file is of no use, and is dropped.
Status SavesetWriter::Inside::GiveUpFile() {
  Status drained = filler_->Drain();
  return drained ? committer_->DropWaiting(filler_->NeededPacks()) : drained;
}

// `waits`: somebody waits for the line of the item.
void SavesetWriter::Inside::Complete(Item item, MapTree tree, bool waits) {
  if (waits) {
    NoteParent(item);
    anyItem_ = true;
  }
  if (waits && !waitsSince_) {
    waitsSince_ = std::chrono::steady_clock::now();
  }
  filler_->Complete(std::move(item), std::move(tree));
}

// ---- Groups ----------------------------------------------------------------------------------------------

// Called between pieces and files: ends a pack that is full, and a group that has waited too long.
Status SavesetWriter::Inside::Pace() {
  if (HasWaited()) {
    committer_->PreparePack();
    return EndGroup();
  }
  Deliver();
  if (filler_->IsFull()) {
    waitsSince_.reset();
    if (Status ended = filler_->EndPack(); !ended) {
      return ended;
    }
  }
  return filler_->HandOver();
}

Status SavesetWriter::Inside::EndGroup() {
  waitsSince_.reset();
  Status ended = filler_->EndPack();
  ended = ended ? filler_->Drain() : ended;
  Deliver();
  return ended;
}

// Tells of what was committed, and keeps what could not be, to save it again.
void SavesetWriter::Inside::Deliver() {
  std::vector<Item> committed;
  std::vector<Committer::Conflict> conflicts;
  committer_->Take(committed, conflicts);
  for (const Item& item : committed) {
    referring_.erase(item.number);
  }
  std::erase_if(committed,
                [](const Item& item) { return item.directory != 0 || item.kind == ItemKind::kFirstLevel; });
  if (!committed.empty()) {
    confirm_(committed);
  }
  for (Committer::Conflict& conflict : conflicts) {
    if (bases_ != nullptr) {
      bases_->Forget(conflict.gone);
    }
    std::move(conflict.items.begin(), conflict.items.end(), std::back_inserter(toSaveAgain_));
  }
}

// ---- Files whose packs had gone --------------------------------------------------------------------------

Status SavesetWriter::Inside::SaveAgain() {
  while (!toSaveAgain_.empty()) {
    const Item old = std::move(toSaveAgain_.front());
    toSaveAgain_.pop_front();
    const auto how = referring_.extract(old.number);
    if (old.kind == ItemKind::kFirstLevel) {
      firstLevelAdded_ = false;
    } else if (how.empty()) {
      return Status::Failed("what " + old.name + " needs has gone, although it refers to nothing");
    } else if (Status saved = SaveAgain(old, how.mapped()); !saved) {
      return saved;
    }
  }
  return {};
}

Status SavesetWriter::Inside::SaveAgain(const Item& old, const Reopen& how) {
  Saved saved;
  const auto source = how.directory != 0 ? platform::DataFile::OpenEntry(old.name, how.id, saved.trouble)
                                         : platform::DataFile::OpenForReading(old.name, saved.trouble);
  Item item = NewItem(old.name, ItemKind::kFile, {});
  item.directory = old.directory;
  if (source != nullptr) {
    if (Status done = SaveFile(std::move(item), *source, false, saved); !done) {
      return done;
    }
  }
  const bool failed = !saved.trouble.empty();
  directoryFailed_ = directoryFailed_ || (old.directory != 0 && failed);
  againFailed_ = againFailed_ || failed;
  again_(old, saved);
  return {};
}

// Commits everything that is complete, at the second attempt if need be.
Status SavesetWriter::Inside::Finish() {
  do {
    Status done = SaveAgain();
    if (done && !filler_->HasItems()) {
      done = filler_->DropPack();
    }
    done = done ? EndGroup() : done;
    done = done ? committer_->Wait() : done;
    Deliver();
    if (!done) {
      return done;
    }
  } while (!toSaveAgain_.empty());
  return {};
}

// ---- The class -------------------------------------------------------------------------------------------

SavesetWriter::SavesetWriter(Store& store, Confirm confirm, Again again)
    : inside_(std::make_unique<Inside>(store, std::move(confirm), std::move(again))) {}
SavesetWriter::~SavesetWriter() = default;

Status SavesetWriter::Begin(const std::string& name) { return inside_->Begin(name); }
void SavesetWriter::LookAhead(const std::vector<std::string>& names) { inside_->LookAhead(names); }
Status SavesetWriter::Save(const std::string& name, platform::DataFile& source, Saved& saved) {
  return inside_->Save(name, source, saved);
}
Status SavesetWriter::BeginDirectory(const std::string& name, const platform::FileFacts& facts) {
  return inside_->BeginDirectory(name, facts);
}
Status SavesetWriter::SaveInside(const std::string& name, platform::DataFile& source, Saved& saved) {
  return inside_->SaveInside(name, source, saved);
}
Status SavesetWriter::AddInside(const std::string& name, ItemKind kind, const platform::FileFacts& facts,
                                const std::string& link) {
  return inside_->AddInside(name, kind, facts, link);
}
Status SavesetWriter::EndDirectory(bool whole) { return inside_->EndDirectory(whole); }
Status SavesetWriter::Settle() { return inside_->Settle(); }
Status SavesetWriter::End(bool good, bool firstLevel, const std::string& why) {
  return inside_->End(good, firstLevel, why);
}

}  // namespace store
