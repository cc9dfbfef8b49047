#include "korvo/whole_file.h"

#include "platform/data_file.h"
#include "platform/platform.h"

namespace korvo {
namespace {

bool Write(const std::string& path, std::string_view text, std::string& why) {
  const auto file = platform::DataFile::CreateNew(path, why);
  if (file == nullptr) {
    return false;
  }
  const bool written = file->WriteAt(0, text.data(), text.size()) && file->LetOthersRead() && file->Close();
  why = file->Why();
  return written;
}

}  // namespace

store::Status WriteWholeFile(const std::string& path, std::string_view text) {
  std::string why;
  std::string target;
  if (!platform::FollowLinks(path, target, why)) {
    return store::Status::Failed(path + " cannot be written: " + why);
  }
  if (const platform::PathKind kind = platform::LookUp(target).kind;
      kind != platform::PathKind::kFile && kind != platform::PathKind::kMissing) {
    return store::Status::Failed(path + " cannot be written: it is a directory or a device, not a file");
  }
  const std::string beside = target + "." + platform::RandomName() + ".part";
  if (Write(beside, text, why) && platform::ReplaceFile(beside, target, why)) {
    return {};
  }
  platform::RemoveFile(beside);
  return store::Status::Failed(path + " cannot be written: " + why);
}

}  // namespace korvo
