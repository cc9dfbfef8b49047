#include "store/place/run_locks.h"

#include <algorithm>
#include <vector>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/base/read_file.h"

namespace store {
namespace {

// Far behind the text of the file. So the text can be read even where a lock keeps others from reading.
constexpr std::uint32_t kLockedByte = 1 << 30;

bool ReadSmallFile(const std::string& path, std::string& text) {
  std::string why;
  return ReadFileUpTo(path, 1024, text, why);
}

// Looks at the directory anew: a file that another host has just made might not be found by its name yet.
Status ListNames(const std::string& directory, std::vector<std::string>& names) {
  return directory.empty() || platform::ListDirectory(directory, names) || !platform::Exists(directory)
             ? Status()
             : Status::Failed("the directory " + directory + " cannot be read");
}

class HeldRun : public RunHold {
 public:
  HeldRun(std::string path, std::unique_ptr<platform::FileClaim> claim)
      : path_(std::move(path)), claim_(std::move(claim)) {}
  ~HeldRun() override {
    claim_.reset();
    platform::RemoveFile(path_);
  }

 private:
  std::string path_;
  std::unique_ptr<platform::FileClaim> claim_;
};

// Another program that asks whether the run is gone holds the lock for a moment.
std::unique_ptr<platform::FileClaim> Claim(const std::string& path) {
  constexpr int kMostTries = 20;
  constexpr std::uint32_t kPause = 10;
  std::unique_ptr<platform::FileClaim> claim = platform::FileClaim::TryClaim(path, kLockedByte);
  for (int tries = 1; claim == nullptr && tries < kMostTries; ++tries) {
    platform::SleepMilliseconds(kPause);
    claim = platform::FileClaim::TryClaim(path, kLockedByte);
  }
  return claim;
}

}  // namespace

Status RunLocks::Hold(const Uid& run, std::unique_ptr<RunHold>& hold) {
  if (directory_.empty()) {
    return Status::Failed("this user has no directory for the locks of its backups: the environment needs " +
                          platform::UserStateVariables());
  }
  std::string why;
  if (!platform::MakeDirectories(directory_, platform::DirectoryAccess::kPrivate, why)) {
    return OfSystem(why).Within("the directory " + directory_ + " cannot be made");
  }
  const std::string path = PathOf(run);
  const std::unique_ptr<platform::DataFile> file = platform::DataFile::CreateNew(path, why);
  if (file == nullptr) {
    return OfSystem(why).Within("the file " + path + " cannot be created");
  }
  // On the disk before the run is in the catalog: a run whose file says nothing could not be told from a live
  // one.
  if (!file->WriteAt(0, space_.data(), space_.size()) || !file->Sync() || !file->Close()) {
    platform::RemoveFile(path);
    return OfSystem(file->Why()).Within("the file " + path + " cannot be written");
  }
  std::unique_ptr<platform::FileClaim> claim = Claim(path);
  if (claim == nullptr) {
    platform::RemoveFile(path);
    return Status::Failed("the file " + path +
                          " cannot be locked: the repository needs a file system with locks");
  }
  hold = std::make_unique<HeldRun>(path, std::move(claim));
  return {};
}

// The file of a program that was killed here, or only begins, is empty: its run is not in the catalog yet.
bool RunLocks::SeesLock(const std::string& space) const {
  return space.empty() || space == space_ || platform::SeesLocksOf(space);
}

Status RunLocks::IsGone(const Uid& run, bool& gone) {
  gone = false;
  std::vector<std::string> names;
  if (Status listed = ListNames(directory_, names); !listed) {
    return listed;
  }
  if (std::find(names.begin(), names.end(), run.Hex()) == names.end()) {
    gone = whose_ == Whose::kEverybodys;
    return {};
  }
  std::string space;
  if (ReadSmallFile(PathOf(run), space) && SeesLock(space)) {
    gone = platform::FileClaim::TryClaim(PathOf(run), kLockedByte) != nullptr;
  }
  return {};
}

Status RunLocks::Remove(const Uid& run) {
  const std::string path = PathOf(run);
  return platform::RemoveFile(path) || !platform::Exists(path)
             ? Status()
             : Status::Failed("the file " + path + " cannot be deleted");
}

Status RunLocks::FindAlive(Alive& alive) {
  alive = {};
  std::vector<std::string> names;
  Status asked = ListNames(directory_, names);
  for (auto name = names.begin(); asked && alive.path.empty() && name != names.end(); ++name) {
    Uid run;
    bool gone = true;
    asked = Uid::FromHex(*name, run) ? IsGone(run, gone) : Status();
    std::string space;
    if (asked && !gone) {
      alive.path = PathOf(run);
      alive.host =
          ReadSmallFile(alive.path, space) && !SeesLock(space) ? space.substr(0, space.find('/')) : "";
    }
  }
  return asked;
}

}  // namespace store
