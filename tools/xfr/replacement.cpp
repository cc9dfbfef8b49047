#include "xfr/replacement.h"

#include "platform/platform.h"
#include "platform/tree.h"

using store::Status;

namespace {

// What stands there is a file, or a link that is not followed.
Status CheckTarget(const std::string& target, bool replace) {
  std::string why;
  platform::Entry entry;
  if (!platform::ReadEntry(target, entry, why)) {
    return {};
  }
  switch (entry.kind) {
    case platform::EntryKind::kFile:
    case platform::EntryKind::kLink:
      return replace ? Status() : Status::Failed("it exists, and option -o over is not given");
    case platform::EntryKind::kDirectory:
      return Status::Failed("a directory stands in its place");
    case platform::EntryKind::kOther:
      break;
  }
  return Status::Failed("something that is no regular file stands in its place");
}

}  // namespace

std::string NewNameIn(const std::string& directory) {
  static int number = 0;
  return directory + "/.korvo-" + std::to_string(platform::ProcessId()) + "-" + std::to_string(++number) +
         ".tmp";
}

Replacement::~Replacement() {
  file_.reset();
  if (!path_.empty()) {
    platform::RemoveFile(path_);
  }
}

Status Replacement::Create(bool replace) {
  std::string why;
  if (links_ == Links::kFollow) {
    std::string target;
    if (!platform::FollowLinks(target_, target, why)) {
      return Status::Failed(why);
    }
    target_ = target;
  }
  if (Status checked = CheckTarget(target_, replace); !checked) {
    return checked;
  }
  if (!platform::MakeDirectories(Directory(), platform::DirectoryAccess::kUsual, why)) {
    return Status::Failed("its directory cannot be made: " + why);
  }
  const std::string path = NewNameIn(Directory());
  file_ = platform::DataFile::CreateNew(path, why);
  if (file_ == nullptr) {
    return Status::Failed("no file can be made in its directory: " + why);
  }
  path_ = path;
  return {};
}

Status Replacement::Prepare(const platform::FileFacts& facts) {
  if (!file_->SetFacts(facts)) {
    return Status::Failed(file_->Why());
  }
  file_->StartWriteback(0, 0);
  return {};
}

Status Replacement::Finish() {
  return file_->Sync() && file_->Close() ? Status() : Status::Failed(file_->Why());
}

Status Replacement::TakePlace() {
  std::string why;
  if (!platform::ReplaceFile(path_, target_, why)) {
    return Status::Failed(why);
  }
  path_.clear();
  return {};
}
