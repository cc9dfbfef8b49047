#include "restore/settler.h"

#include "platform/platform.h"

using store::Status;

namespace {

constexpr std::size_t kMostChained = 1024;
// They wait for the disk most of the time.
constexpr std::size_t kFreers = 4;
constexpr std::size_t kKeptForEach = 8;

// Whether it is synchronised together with everything else on its file system.
bool IsTogether(const std::deque<Waiting>& group, const Waiting& waiting) {
  return waiting.fileSystem != nullptr && group.size() > Settler::kFew;
}

}  // namespace

void EmptyIfInPlace(Waiting& waiting) {
  if (!waiting.status && waiting.inPlace && waiting.file != nullptr) {
    waiting.file->EmptyAgain();
    waiting.status = waiting.status.Within("the file in its place was written over, and is empty now");
    waiting.file.reset();
  }
}

Settler::Settler() : freers_(kFreers, kKeptForEach) {}

void Settler::Settle(std::deque<Waiting>& group) {
  SyncFiles(group);
  TakePlaces(group);
  SyncDirectories(group);
}

void Settler::SyncFiles(std::deque<Waiting>& group) {
  for (Waiting& waiting : group) {
    if (!waiting.status || waiting.file == nullptr) {
      continue;
    }
    if (!IsTogether(group, waiting)) {
      waiting.file->File().StartWriteback(0, 0);
    } else if (waiting.file->IsOpen()) {
      waiting.status = waiting.file->Close();
    }
  }
  SyncTogether(group);
  for (Waiting& waiting : group) {
    if (waiting.status && waiting.file != nullptr && !IsTogether(group, waiting)) {
      waiting.status = waiting.file->Finish();
    }
    EmptyIfInPlace(waiting);
  }
}

// In one thread: only one at a time can change a directory. If there are many, the files that are replaced
// are freed in others.
void Settler::TakePlaces(std::deque<Waiting>& group) {
  store::Pending freeing;
  for (Waiting& waiting : group) {
    if (!waiting.status || waiting.file == nullptr) {
      continue;
    }
    std::shared_ptr<platform::KeptFile> replaced =
        IsTogether(group, waiting) ? platform::KeptFile::Keep(waiting.file->Target()) : nullptr;
    waiting.status = waiting.file->TakePlace();
    if (replaced != nullptr) {
      freeing.Add();
      freers_.Do([kept = std::move(replaced), &freeing]() mutable {
        kept.reset();
        freeing.Done();
      });
    }
  }
  freeing.Wait();
}

void Settler::SyncDirectories(std::deque<Waiting>& group) {
  SyncTogether(group);
  std::map<std::string, std::string> whyNot;
  for (Waiting& waiting : group) {
    if (waiting.status && !IsTogether(group, waiting)) {
      SyncAlone(waiting, whyNot);
    }
  }
}

// Synchronises each file system once, for everything that is good so far.
void Settler::SyncTogether(std::deque<Waiting>& group) {
  std::set<platform::FileSystem*> done;
  for (Waiting& waiting : group) {
    if (!waiting.status || !IsTogether(group, waiting)) {
      continue;
    }
    std::string why;
    if (done.insert(waiting.fileSystem).second && !waiting.fileSystem->Sync(why)) {
      failed_.try_emplace(waiting.fileSystem, why);
    }
    if (const auto failed = failed_.find(waiting.fileSystem); failed != failed_.end()) {
      waiting.status = Status::Failed("its file system cannot be synchronised: " + failed->second);
    }
  }
}

// Synchronises the directory once for everything in it. The first time this includes all directories above
// it: a restore that was killed may have made them.
void Settler::SyncAlone(Waiting& waiting, std::map<std::string, std::string>& whyNot) {
  const std::string& directory = waiting.directory;
  const auto [entry, isNew] = whyNot.try_emplace(directory);
  const bool synchronised =
      !isNew ? entry->second.empty()
             : (chained_.count(directory) != 0 ? platform::SyncDirectory(directory, entry->second)
                                               : platform::SyncDirectoryChain(directory, entry->second));
  if (!synchronised) {
    waiting.status = Status::Failed("its directory cannot be synchronised: " + entry->second);
    return;
  }
  if (chained_.size() >= kMostChained) {
    chained_.clear();
  }
  chained_.insert(directory);
}
