#include "restore/replacement.h"

#include "platform/platform.h"
#include "platform/tree.h"

using store::Status;

namespace {

constexpr int kMostTries = 4;

// Fails unless the place is free, or has a file or link that may be replaced. A link is not followed.
Status CheckTarget(const std::string& target, bool replace, const std::string& option) {
  std::string why;
  platform::Entry entry;
  if (!platform::ReadEntry(target, entry, why)) {
    return {};
  }
  switch (entry.kind) {
    case platform::EntryKind::kFile:
    case platform::EntryKind::kLink:
      return replace ? Status() : Status::Failed(WhyExists(option));
    case platform::EntryKind::kDirectory:
      return Status::Failed("a directory stands in its place");
    case platform::EntryKind::kOther:
      break;
  }
  return Status::Failed("something that is no regular file stands in its place");
}

}  // namespace

std::string NewNameIn(const std::string& directory) {
  return directory + "/.korvo-" + platform::RandomName() + ".tmp";
}

std::string WhyExists(const std::string& option) { return "it exists, and " + option + " is not given"; }

Replacement::~Replacement() {
  file_.reset();
  if (!path_.empty()) {
    platform::RemoveFile(path_);
  }
}

Status Replacement::Aim() {
  std::string why;
  std::string target;
  if (links_ == Links::kReplace) {
    return {};
  }
  if (!platform::FollowLinks(target_, target, why)) {
    return Status::Failed(why);
  }
  if (target != target_ &&
      !platform::MakeDirectories(platform::DirectoryOf(target), platform::DirectoryAccess::kUsual, why)) {
    return Status::Failed("the directory that the link in its place leads to cannot be made: " + why);
  }
  target_ = target;
  return {};
}

Status Replacement::Create(bool replace, const std::string& option) {
  std::string why;
  if (Status checked = CheckTarget(target_, replace, option); !checked) {
    return checked;
  }
  option_ = replace ? "" : option;
  for (int tries = 1; file_ == nullptr; ++tries) {
    path_ = NewNameIn(platform::DirectoryOf(target_));
    file_ = platform::DataFile::CreateNew(path_, why);
    if (file_ == nullptr && (tries == kMostTries || !platform::Exists(path_))) {
      path_.clear();
      return store::OfSystem(why).Within("no file can be made in its directory");
    }
  }
  return {};
}

Status Replacement::CreateInPlace() {
  std::string why;
  file_ = platform::DataFile::OpenEmptied(target_, why);
  return file_ != nullptr ? Status() : Status::Failed("the file in its place cannot be written over: " + why);
}

void Replacement::EmptyAgain() {
  std::string why;
  if (file_ == nullptr) {
    file_ = platform::DataFile::OpenEmptied(target_, why);
  }
  if (file_ == nullptr || !file_->SetSize(0)) {
    platform::RemoveFile(target_);
  }
}

Status Replacement::Finish() {
  const bool synchronised = file_->Sync();
  return synchronised ? Close() : Status::Failed(file_->Why());
}

Status Replacement::Close() {
  const bool closed = file_->Close();
  Status status = closed ? Status() : Status::Failed(file_->Why());
  file_.reset();
  return status;
}

Status Replacement::TakePlace() {
  std::string why;
  const bool taken = path_.empty() || (option_.empty() ? platform::ReplaceFile(path_, target_, why)
                                                       : platform::MoveToNewName(path_, target_, why));
  if (!taken) {
    std::string none;
    platform::Entry entry;
    const bool exists = !option_.empty() && platform::ReadEntry(target_, entry, none);
    return Status::Failed(exists ? WhyExists(option_) : why);
  }
  path_.clear();
  return {};
}
