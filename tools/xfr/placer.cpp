#include "xfr/placer.h"

#include <map>
#include <utility>

#include "platform/platform.h"
#include "platform/tree.h"
#include "xfr/report.h"

using store::Status;

namespace {

// Small files are brought to the disk together, since each wait for it costs about as much as they do.
constexpr std::size_t kMostWaiting = 64;
constexpr std::uint64_t kMostWaitingBytes = 8 * 1024 * 1024;

Status MakeLinkAt(const store::Item& item, const std::string& place, bool replace) {
  std::string why;
  platform::Entry entry;
  const bool taken = platform::ReadEntry(place, entry, why);
  if (taken && entry.kind != platform::EntryKind::kLink && entry.kind != platform::EntryKind::kFile) {
    return Status::Failed("a directory or something that is no regular file stands in its place");
  }
  if (taken && !replace) {
    return Status::Failed("it exists, and option -o over is not given");
  }
  const std::string directory = platform::DirectoryOf(place);
  const std::string beside = NewNameIn(directory);
  if (!platform::MakeDirectories(directory, platform::DirectoryAccess::kUsual, why) ||
      !platform::MakeLink(item.link, beside, why)) {
    return Status::Failed(why);
  }
  platform::SetLinkFacts(beside, item.facts);
  if (!platform::ReplaceFile(beside, place, why)) {
    platform::RemoveFile(beside);
    return Status::Failed(why);
  }
  return platform::SyncDirectory(directory, why) ? Status() : Status::Failed(why);
}

Status MakeDirectoryAt(const std::string& place, Placer::Make make, Placer::Links links) {
  std::string why;
  platform::Entry entry;
  if (platform::ReadEntry(place, entry, why)) {
    if (entry.kind == platform::EntryKind::kLink && links == Placer::Links::kRefuse) {
      return Status::Failed("a symbolic link stands in its place: take it away first");
    }
    return platform::LookUp(place).kind == platform::PathKind::kDirectory
               ? Status()
               : Status::Failed("something that is no directory stands in its place");
  }
  const auto usual = platform::DirectoryAccess::kUsual;
  const bool made = platform::MakeDirectories(platform::DirectoryOf(place), usual, why) &&
                    (make == Placer::Make::kFinished ? platform::MakeDirectories(place, usual, why)
                                                     : platform::MakeUnfinishedDirectory(place, why));
  return made ? Status() : Status::Failed("the directory cannot be made: " + why);
}

}  // namespace

void Placer::Fail(const std::string& place, const Status& status) {
  ReportTrouble("cannot restore " + place + ": " + status.Message());
  ++failures_;
}

bool Placer::PutLink(const store::Item& item, const std::string& place) {
  const Status made = MakeLinkAt(item, place, replace_);
  if (!made) {
    Fail(place, made);
  }
  return static_cast<bool>(made);
}

bool Placer::PutDirectory(const std::string& place, Make make, Links links) {
  const Status made = MakeDirectoryAt(place, make, links);
  if (!made) {
    Fail(place, made);
  }
  return static_cast<bool>(made);
}

Status Placer::Copy(const store::Item& item, Waiting& waiting) {
  waiting.facts = item.facts;
  waiting.file = std::make_unique<Replacement>(
      waiting.place, item.inside ? Replacement::Links::kReplace : Replacement::Links::kFollow);
  if (Status made = waiting.file->Create(replace_); !made) {
    return made;
  }
  return reader_.Copy(item, waiting.file->File());
}

void Placer::PutFile(const store::Item& item, const std::string& place, std::vector<std::string> reports) {
  Waiting waiting;
  waiting.place = place;
  waiting.reports = std::move(reports);
  if (const Status copied = Copy(item, waiting); !copied) {
    Fail(place, copied);
    return;
  }
  waitingBytes_ += item.facts.size;
  waiting_.push_back(std::move(waiting));
  if (waiting_.size() >= kMostWaiting || waitingBytes_ >= kMostWaitingBytes) {
    Settle();
  }
}

void Placer::Settle() {
  for (Waiting& waiting : waiting_) {
    waiting.status = waiting.file->Prepare(waiting.facts);
  }
  for (Waiting& waiting : waiting_) {
    if (waiting.status) {
      waiting.status = waiting.file->Finish();
    }
  }
  for (Waiting& waiting : waiting_) {
    if (waiting.status) {
      waiting.status = waiting.file->TakePlace();
    }
  }
  SyncDirectories();
  for (const Waiting& waiting : waiting_) {
    if (!waiting.status) {
      Fail(waiting.place, waiting.status);
      continue;
    }
    for (const std::string& report : waiting.reports) {
      ReportItem(report);
    }
  }
  waiting_.clear();
  waitingBytes_ = 0;
}

void Placer::SyncDirectories() {
  std::map<std::string, std::string> whyNot;
  for (Waiting& waiting : waiting_) {
    const auto [entry, isNew] = whyNot.emplace(waiting.file->Directory(), "");
    if (isNew) {
      std::string why;
      entry->second = platform::SyncDirectory(entry->first, why) ? "" : why;
    }
    if (waiting.status && !entry->second.empty()) {
      waiting.status = Status::Failed("its directory cannot be synchronised: " + entry->second);
    }
  }
}
