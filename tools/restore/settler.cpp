#include "restore/settler.h"

#include <map>

#include "platform/platform.h"

using store::Status;

namespace {

constexpr std::size_t kMostChained = 1024;

// Whether it is synchronised with everything else of its file system.
bool IsTogether(const std::deque<Waiting>& group, const Waiting& waiting) {
  return waiting.fileSystem != nullptr && group.size() > Settler::kFew;
}

}  // namespace

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
  }
}

// By one thread: a directory is changed by one at a time.
void Settler::TakePlaces(std::deque<Waiting>& group) {
  for (Waiting& waiting : group) {
    if (waiting.status && waiting.file != nullptr) {
      waiting.status = waiting.file->TakePlace();
    }
  }
}

void Settler::SyncDirectories(std::deque<Waiting>& group) {
  SyncTogether(group);
  std::set<std::string> done;
  for (Waiting& waiting : group) {
    if (waiting.status && !IsTogether(group, waiting)) {
      SyncAlone(waiting, done);
    }
  }
}

// Each file system once, for all that is good until now.
void Settler::SyncTogether(std::deque<Waiting>& group) {
  std::map<platform::FileSystem*, std::string> whyNot;
  for (Waiting& waiting : group) {
    if (!waiting.status || !IsTogether(group, waiting)) {
      continue;
    }
    const auto [entry, isNew] = whyNot.try_emplace(waiting.fileSystem);
    std::string why;
    if (isNew && !waiting.fileSystem->Sync(why)) {
      entry->second = why;
    }
    if (!entry->second.empty()) {
      waiting.status = Status::Failed("its file system cannot be synchronised: " + entry->second);
    }
  }
}

// With all directories above at first: one that was killed may have made them.
void Settler::SyncAlone(Waiting& waiting, std::set<std::string>& done) {
  const std::string& directory = waiting.directory;
  if (done.count(directory) != 0) {
    return;
  }
  std::string why;
  const bool synchronised = chained_.count(directory) != 0 ? platform::SyncDirectory(directory, why)
                                                           : platform::SyncDirectoryChain(directory, why);
  if (!synchronised) {
    waiting.status = Status::Failed("its directory cannot be synchronised: " + why);
    return;
  }
  done.insert(directory);
  if (chained_.size() >= kMostChained) {
    chained_.clear();
  }
  chained_.insert(directory);
}
