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
  const std::string beside = path + "." + platform::RandomName() + ".part";
  if (Write(beside, text, why) && platform::ReplaceFile(beside, path, why)) {
    return {};
  }
  platform::RemoveFile(beside);
  return store::Status::Failed(path + " cannot be written: " + why);
}

}  // namespace korvo
