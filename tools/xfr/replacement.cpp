#include "xfr/replacement.h"

#include "platform/platform.h"

using store::Status;

namespace {

Status CheckTarget(const std::string& target, bool replace) {
  switch (platform::LookUp(target).kind) {
    case platform::PathKind::kMissing:
      return {};
    case platform::PathKind::kFile:
      return replace ? Status() : Status::Failed("it exists, and option -o over is not given");
    case platform::PathKind::kDirectory:
      return Status::Failed("a directory stands in its place");
    case platform::PathKind::kOther:
      break;
  }
  return Status::Failed("something that is no regular file stands in its place");
}

}  // namespace

Replacement::~Replacement() {
  file_.reset();
  if (!path_.empty()) {
    platform::RemoveFile(path_);
  }
}

Status Replacement::Create(bool replace) {
  static int number = 0;
  std::string why;
  std::string target;
  if (!platform::FollowLinks(target_, target, why)) {
    return Status::Failed(why);
  }
  target_ = target;
  if (Status checked = CheckTarget(target_, replace); !checked) {
    return checked;
  }
  if (!platform::MakeDirectories(Directory(), platform::DirectoryAccess::kUsual, why)) {
    return Status::Failed("its directory cannot be made: " + why);
  }
  const std::string path = Directory() + "/.korvo-" + std::to_string(platform::ProcessId()) + "-" +
                           std::to_string(++number) + ".tmp";
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
  file_->BeginSync();
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
