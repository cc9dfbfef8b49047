#include "store/saveset_writer.h"

#include <algorithm>

#include "platform/platform.h"
#include "store/marker.h"
#include "store/names.h"

namespace store {
namespace {

// Small files share a commit, since each costs several waits for the disk. A file larger than the limit
// lets none wait for it.
constexpr std::size_t kMostPending = 64;
constexpr std::uint64_t kMostPendingBytes = 8 * 1024 * 1024;

constexpr const char* kBecameShorter = "it became shorter while it was read";

// Behind the end of a file that became shorter there is no hole.
bool IsHole(platform::DataFile& file, std::uint64_t begin, std::uint64_t end, std::uint64_t size) {
  platform::FileFacts now;
  return file.NextData(begin, size) >= end && file.Facts(now) && now.size >= end;
}

}  // namespace

Status SavesetWriter::Begin(const std::string& name) {
  if (Status found = repository_.FindOpenSaveset(name, Mode::kBackup, saveset_); !found) {
    return found;
  }
  bool claimed = false;
  if (Status asked = repository_.Items().ClaimSaveset(saveset_.id, claimed); !asked) {
    return asked;
  }
  return claimed ? Status()
                 : Status::Failed("saveset " + name + " was given to another mover before: open a new job");
}

Status SavesetWriter::MakeContainer() {
  if (container_ != nullptr) {
    return {};
  }
  Status made = Container::Create(repository_.ContainerPath(saveset_), saveset_.id, repository_.Compression(),
                                  container_);
  committedEnd_ = made ? container_->End() : 0;
  return made;
}

Status SavesetWriter::Save(const std::string& name, platform::DataFile& source, Saved& saved) {
  platform::FileFacts facts;
  if (!pending_.empty() && source.Facts(facts) && facts.size > kMostPendingBytes) {
    if (Status done = Commit(); !done) {
      return done;
    }
  }
  Item item;
  item.name = name;
  if (Status added = Add(std::move(item), source, saved); !added) {
    return added;
  }
  const bool full = pending_.size() >= kMostPending ||
                    (container_ != nullptr && container_->End() - committedEnd_ >= kMostPendingBytes);
  return full ? Commit() : Status();
}

Status SavesetWriter::SaveInside(const std::string& name, platform::DataFile& source, Saved& saved) {
  Item item;
  item.name = name;
  item.inside = true;
  return Add(std::move(item), source, saved);
}

Status SavesetWriter::Add(Item item, platform::DataFile& source, Saved& saved) {
  if (!source.Facts(item.facts)) {
    saved.trouble = source.Why();
    return {};
  }
  if (Status made = MakeContainer(); !made) {
    return made;
  }
  item.position = container_->End();
  if (Status written = Write(item, source, saved, item.hash); !written) {
    return written;
  }
  if (!saved.trouble.empty()) {
    return container_->CutBack(item.position);
  }
  pending_.push_back(std::move(item));
  return {};
}

Status SavesetWriter::BeginDirectory() { return Commit(); }

Status SavesetWriter::EndDirectory(bool whole) {
  if (whole) {
    return Commit();
  }
  pending_.clear();
  return container_ == nullptr ? Status() : container_->CutBack(committedEnd_);
}

Status SavesetWriter::Write(const Item& item, platform::DataFile& source, Saved& saved, std::string& hash) {
  digest_.Reset();
  block_.resize(kBlockSize);
  for (std::uint64_t offset = 0; offset < item.facts.size;) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(kBlockSize, item.facts.size - offset));
    std::size_t got = wanted;
    if (item.facts.sparse && IsHole(source, offset, offset + wanted, item.facts.size)) {
      block_.assign(kBlockSize, '\0');
    } else if (!source.ReadAt(offset, block_.data(), wanted, got)) {
      saved.trouble = source.Why();
      return {};
    }
    if (got < wanted) {
      saved.trouble = kBecameShorter;
      return {};
    }
    const std::string_view bytes = std::string_view(block_).substr(0, got);
    digest_.Add(bytes);
    if (Status written = container_->WriteBlock(bytes); !written) {
      return written;
    }
    offset += got;
  }
  hash = digest_.Value();
  platform::FileFacts now;
  if (!source.Facts(now)) {
    saved.trouble = source.Why();
  } else if (now.size < item.facts.size) {
    saved.trouble = kBecameShorter;
  }
  saved.grew = now.size > item.facts.size;
  return {};
}

// The only place that confirms: first the data is on the disk, then the catalog, then anyone is told.
Status SavesetWriter::Commit() {
  if (pending_.empty()) {
    return {};
  }
  if (container_ != nullptr) {
    if (Status synced = container_->Sync(); !synced) {
      return synced;
    }
    committedEnd_ = container_->End();
  }
  if (Status added = repository_.Items().AddItems(saveset_.id, pending_); !added) {
    return added;
  }
  anyCommitted_ = true;
  for (const Item& item : pending_) {
    if (!item.inside) {
      NoteDirectory(item);
      confirm_(item);
    }
  }
  pending_.clear();
  return {};
}

void SavesetWriter::NoteDirectory(const Item& item) {
  std::string_view directory = ParentOf(item.name);
  if (IsMarker(item)) {
    directory = ParentOf(directory);
  }
  if (directory_.empty()) {
    directory_ = directory;
  }
  scattered_ = scattered_ || directory.empty() || ItemKey(directory) != ItemKey(directory_);
}

Status SavesetWriter::End(bool good, bool firstLevel) {
  Status committed = Commit();
  if (container_ != nullptr && !anyCommitted_) {
    container_.reset();
    platform::RemoveFile(repository_.ContainerPath(saveset_));
  }
  const bool clean = good && committed;
  if (clean && firstLevel && anyCommitted_ && !scattered_) {
    Item level;
    level.name = directory_;
    level.kind = ItemKind::kFirstLevel;
    committed = repository_.Items().AddItems(saveset_.id, {level});
  }
  Status ended = repository_.Items().EndSaveset(
      saveset_.id, clean && committed ? Mover::kEndedClean : Mover::kEndedFailed);
  return committed ? ended : committed;
}

}  // namespace store
