#include "restore/placer.h"

#include <algorithm>
#include <utility>

#include "platform/platform.h"
#include "platform/tree.h"
#include "restore/room.h"
#include "store/names.h"

using store::Status;

namespace {

// Larger files are copied by all threads together, one file after the other.
constexpr std::uint64_t kLarge = 2 * 1024 * 1024;
// How many small files may wait for each thread.
constexpr std::size_t kSmallForEach = 64;
// How much is settled together: each wait for the disk costs more than many small files do.
constexpr std::size_t kMostWaiting = 2048;
constexpr std::uint64_t kMostWaitingBytes = 64 * 1024 * 1024;
// The same if each file has to be synchronised by itself: the files stay open until then.
constexpr std::size_t kMostOpen = 64;

std::uint64_t SizeOfFileAt(const std::string& place) {
  std::string why;
  platform::Entry entry;
  return platform::ReadEntry(place, entry, why) && entry.kind == platform::EntryKind::kFile &&
                 !entry.facts.sparse
             ? entry.facts.size
             : 0;
}

}  // namespace

Placer::Placer(store::SavesetReader& reader, Rules rules, RestoreTeller& teller)
    : reader_(reader),
      rules_(std::move(rules)),
      teller_(teller),
      workers_(store::WorkQueue::UsualCount(), kSmallForEach),
      beside_(1) {}

Placer::~Placer() {
  copying_.Wait();
  isSettling_.Wait();
}

void Placer::Fail(const std::string& place, const Status& status) {
  teller_.Failed(place, status);
  ++failures_;
}

platform::FileFacts Placer::FactsAt(const store::Item& item, const std::string& place) {
  constexpr std::uint32_t kOwnFile = 0600;
  constexpr std::uint32_t kOwnDirectory = 0700;
  platform::FileFacts facts = item.facts;
  const bool toWindows = store::IsWindowsPath(place);
  if (store::IsWindowsPath(item.name) != toWindows) {
    facts.owner = UINT32_MAX;
    facts.group = UINT32_MAX;
    facts.mode = toWindows ? 0 : item.kind == store::ItemKind::kDirectory ? kOwnDirectory : kOwnFile;
  }
  return facts;
}

// ---- The way to a place -----------------------------------------------------------------------------------

Status Placer::Enter(const Target& target, const std::string& directory) {
  if (parent_.path == directory && parent_.root == target.root && parent_.links == target.links) {
    return {};
  }
  parent_ = {};
  if (Status checked = way_.Check(target.root, directory, target.links); !checked) {
    return checked;
  }
  std::string why;
  if (!platform::MakeDirectories(directory, platform::DirectoryAccess::kUsual, why,
                                 platform::DirectorySync::kLater)) {
    return Status::Failed("its directory cannot be made: " + why);
  }
  parent_ = {directory, target.root, target.links, FileSystemOf(directory)};
  return {};
}

platform::FileSystem* Placer::FileSystemOf(const std::string& directory) {
  std::unique_ptr<platform::FileSystem> opened = platform::FileSystem::Open(directory);
  if (opened == nullptr) {
    return nullptr;
  }
  // The object that was opened first knows of all failures since then.
  return fileSystems_.try_emplace(opened->Volume(), std::move(opened)).first->second.get();
}

// ---- Files ------------------------------------------------------------------------------------------------

void Placer::PutFile(const store::Item& item, const Target& target, std::vector<std::string> reports) {
  Waiting waiting;
  waiting.place = target.place;
  waiting.reports = std::move(reports);
  waiting.item = item;
  waiting.item.facts = FactsAt(item, target.place);
  if (const Status prepared = Prepare(target, waiting); !prepared) {
    copying_.Wait();
    Fail(target.place, reader_.WithOlderCopy(item, prepared));
    return;
  }
  // The files before it are settled first, so that they do not wait for a large file.
  if (item.facts.size >= kMostWaitingBytes || waiting.inPlace) {
    Settle();
  }
  waiting.closeNow = waiting.fileSystem != nullptr && waiting_.size() >= Settler::kFew;
  waitingBytes_ += item.facts.size;
  waiting_.push_back(std::move(waiting));
  Waiting& queued = waiting_.back();
  if (item.facts.size > kLarge || queued.inPlace) {
    Copy(queued);
  } else {
    copying_.Add();
    workers_.Do([this, &queued] {
      Copy(queued);
      copying_.Done();
    });
  }
  SettleIfFull();
}

// Makes the directory and follows the links before anything else is put anywhere. So nothing that this
// restore makes can lead the file elsewhere.
Status Placer::Prepare(const Target& target, Waiting& waiting) {
  const std::string directory = platform::DirectoryOf(target.place);
  if (Status entered = Enter(target, directory); !entered) {
    return entered;
  }
  const bool keepsLink = waiting.item.directory == 0 && !way_.IsOwnLink(target.place);
  waiting.file = std::make_unique<Replacement>(
      target.place, keepsLink ? Replacement::Links::kFollow : Replacement::Links::kReplace);
  if (Status aimed = waiting.file->Aim(); !aimed) {
    return aimed;
  }
  waiting.directory = platform::DirectoryOf(waiting.file->Target());
  waiting.fileSystem = waiting.directory == directory ? parent_.fileSystem : FileSystemOf(waiting.directory);
  return CheckRoomFor(waiting);
}

// Whether there is room for all small files that may be on their way to the directory. The system is asked
// once for many files.
bool Placer::HasPlentyOfRoom(const std::string& directory) {
  std::uint64_t missing = 0;
  if (roomy_ != directory) {
    roomy_ = CheckRoom(directory, 3 * kMostWaitingBytes, missing) ? directory : "";
  }
  return !roomy_.empty();
}

Status Placer::CheckRoomFor(Waiting& waiting) {
  std::uint64_t bytes = 0;
  std::uint64_t missing = 0;
  if (waiting.item.facts.size <= kLarge && HasPlentyOfRoom(waiting.directory)) {
    return {};
  }
  if (Status measured = reader_.RoomOf(waiting.item, bytes); !measured) {
    return measured;
  }
  if (CheckRoom(waiting.directory, bytes + waitingBytes_, missing)) {
    return {};
  }
  // Settles the files before it: the files that they replace give back their room.
  Settle();
  Status room = CheckRoom(waiting.directory, bytes, missing);
  if (room || !rules_.replace || missing > SizeOfFileAt(waiting.file->Target())) {
    return room;
  }
  if (rules_.inPlace) {
    teller_.Note(waiting.place + " is written over in its place, since there is no room for two");
    waiting.inPlace = true;
    return {};
  }
  return Status::NoRoom(
      room.Message() +
      "; with in_place=yes in the server's section it is written over the file in its place");
}

// Runs in any thread, so it touches nothing but this file.
void Placer::Copy(Waiting& waiting) {
  if (!waiting.inPlace) {
    waiting.status = waiting.file->Create(rules_.replace, rules_.option);
  } else if (platform::Interrupted()) {
    waiting.status = Status::Interrupted();  // before the file in the place is emptied
  } else {
    waiting.status = waiting.file->CreateInPlace();
  }
  if (waiting.status) {
    waiting.status = Fill(waiting);
    EmptyIfInPlace(waiting);
  }
  if (!waiting.status) {
    waiting.again = !waiting.inPlace && waiting.status.What() == Status::Kind::kNoRoom;
    waiting.file = waiting.again
                       ? std::make_unique<Replacement>(waiting.file->Target(), Replacement::Links::kReplace)
                       : nullptr;
  }
}

Status Placer::Fill(Waiting& waiting) {
  platform::DataFile& file = waiting.file->File();
  if (Status copied = reader_.Copy(waiting.item, file); !copied) {
    return copied;
  }
  if (!file.SetFacts(waiting.item.facts)) {
    return Status::Failed("its times and mode cannot be set: " + file.Why());
  }
  return waiting.closeNow ? waiting.file->Close() : Status();
}

// ---- Links and directories --------------------------------------------------------------------------------

bool Placer::PutLink(const store::Item& item, const Target& target) {
  Waiting waiting;
  waiting.place = target.place;
  waiting.directory = platform::DirectoryOf(target.place);
  Status made = Enter(target, waiting.directory);
  if (made) {
    waiting.fileSystem = parent_.fileSystem;
    made = MakeLinkAt(item, target.place);
  }
  if (!made) {
    Fail(target.place, made);
    return false;
  }
  Add(std::move(waiting));
  return true;
}

Status Placer::MakeLinkAt(const store::Item& item, const std::string& place) {
  std::string why;
  platform::Entry entry;
  const bool taken = platform::ReadEntry(place, entry, why);
  if (taken && entry.kind != platform::EntryKind::kLink && entry.kind != platform::EntryKind::kFile) {
    return Status::Failed("a directory or something that is no regular file stands in its place");
  }
  if (taken && !rules_.replace) {
    return Status::Failed(WhyExists(rules_.option));
  }
  const std::string beside = NewNameIn(platform::DirectoryOf(place));
  if (!platform::MakeLink(item.link, beside, why)) {
    return Status::Failed(why);
  }
  platform::SetLinkFacts(beside, FactsAt(item, place));
  // A way that was checked before may lead elsewhere from now on.
  way_.NoteLink(place);
  parent_ = {};
  if (!(rules_.replace ? platform::ReplaceFile(beside, place, why)
                       : platform::MoveToNewName(beside, place, why))) {
    platform::RemoveFile(beside);
    std::string none;
    const bool exists = !rules_.replace && platform::ReadEntry(place, entry, none);
    return Status::Failed(exists ? WhyExists(rules_.option) : why);
  }
  return {};
}

bool Placer::PutDirectory(const Target& target, Make make, std::vector<std::string> reports) {
  if (const Status made = MakeDirectoryAt(target, make); !made) {
    Fail(target.place, made);
    return false;
  }
  if (make == Make::kFinished) {
    Waiting waiting;
    waiting.place = target.place;
    waiting.directory = target.place;
    waiting.reports = std::move(reports);
    waiting.fileSystem = FileSystemOf(target.place);
    Add(std::move(waiting));
  }
  return true;
}

Status Placer::MakeDirectoryAt(const Target& target, Make make) {
  const std::string& place = target.place;
  // The root itself may be reached by any link that was there before: it is what was asked for.
  if (Status checked = way_.Check(target.root, place, target.links); !checked) {
    return checked;
  }
  std::string why;
  platform::Entry entry;
  if (platform::ReadEntry(place, entry, why)) {
    return platform::LookUp(place).kind == platform::PathKind::kDirectory
               ? Status()
               : Status::Failed("something that is no directory stands in its place");
  }
  const auto later = platform::DirectorySync::kLater;
  const auto usual = platform::DirectoryAccess::kUsual;
  const bool made = platform::MakeDirectories(platform::DirectoryOf(place), usual, why, later) &&
                    (make == Make::kFinished ? platform::MakeDirectories(place, usual, why, later)
                                             : platform::MakeUnfinishedDirectory(place, why));
  return made ? Status() : Status::Failed("the directory cannot be made: " + why);
}

void Placer::SetFacts(const store::Item& directory, const Target& target) {
  std::string why;
  if (const Status checked = way_.Check(target.root, target.place, target.links); !checked) {
    Fail(target.place, checked);
    return;
  }
  // A directory that cannot be opened afterwards is synchronised now, while it is open, and after what is in
  // it.
  const platform::FileFacts facts = FactsAt(directory, target.place);
  const bool closed = platform::KeepsOwnerOut(facts);
  if (closed) {
    Settle();
  }
  const auto sync = closed ? platform::DirectorySync::kNow : platform::DirectorySync::kLater;
  if (!platform::SetDirectoryFacts(target.place, facts, why, sync)) {
    Fail(target.place, Status::Failed("its times and mode cannot be set: " + why));
    return;
  }
  Waiting waiting;
  waiting.place = target.place;
  waiting.directory = closed ? platform::DirectoryOf(target.place) : target.place;
  waiting.fileSystem = FileSystemOf(waiting.directory);
  Add(std::move(waiting));
}

// ---- To the disk ------------------------------------------------------------------------------------------

void Placer::Add(Waiting waiting) {
  waiting_.push_back(std::move(waiting));
  SettleIfFull();
}

void Placer::SettleIfFull() {
  const std::size_t most = waiting_.back().fileSystem != nullptr ? kMostWaiting : kMostOpen;
  if (!again_.empty()) {
    Settle();
  } else if (waiting_.size() >= most || waitingBytes_ >= kMostWaitingBytes) {
    SettleBeside();
  } else if (!settling_.empty() && isSettling_.IsDone()) {
    Report();
  }
}

// Settles in another thread, while the next files are copied.
void Placer::SettleBeside() {
  TakeNext();
  isSettling_.Add();
  beside_.Do([this] {
    settler_.Settle(settling_);
    isSettling_.Done();
  });
}

void Placer::Settle() {
  TakeNext();
  settler_.Settle(settling_);
  Report();
  TryAgain();
}

// Now that the others are in their places, the files that they replaced have given back what a quota allows,
// and their inodes. The system tells nobody in advance how many there are.
void Placer::TryAgain() {
  std::deque<Waiting> again;
  again.swap(again_);
  for (Waiting& waiting : again) {
    waiting.closeNow = false;
    Copy(waiting);
    waiting.again = false;
    settling_.push_back(std::move(waiting));
    settler_.Settle(settling_);
    Report();
  }
}

// Reports what was settled before, then takes what waits.
void Placer::TakeNext() {
  copying_.Wait();
  Report();
  settling_.swap(waiting_);
  waitingBytes_ = 0;
  roomy_.clear();
}

void Placer::Report() {
  isSettling_.Wait();
  std::vector<std::string> reports;
  for (Waiting& waiting : settling_) {
    if (waiting.again) {
      again_.push_back(std::move(waiting));
      continue;
    }
    if (!waiting.status) {
      copying_.Wait();
      Fail(waiting.place, reader_.WithOlderCopy(waiting.item, waiting.status));
      continue;
    }
    teller_.Placed(waiting.item);
    std::move(waiting.reports.begin(), waiting.reports.end(), std::back_inserter(reports));
  }
  teller_.Done(reports);
  settling_.clear();
}
