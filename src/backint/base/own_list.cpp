#include "backint/base/own_list.h"

#include <new>

#include "backint/base/path.h"
#include "backint/base/print.h"
#include "backint/base/run_records.h"
#include "platform/data_file.h"
#include "platform/platform.h"

namespace {

bool IsThere(const std::string& path) { return platform::LookUp(path).kind == platform::PathKind::kFile; }

}  // namespace

OwnList::OwnList(Name name) {
  const std::string directory = WithSeparator(Params().szSapDataHome) + "saptrace\\";
  const std::string lock = directory + "backint.lock";
  const std::string path = directory + (name == Name::kFileList ? "filelist" : "newinput");
  const std::string ownPath = path + "_" + std::to_string(platform::ProcessId());
  claim_ = platform::FileClaim::TryClaim(lock, static_cast<std::uint32_t>(name));
  // If the lock file cannot be created, the list cannot be created either. Then the messages show the fixed
  // name.
  const bool claimed = claim_ != nullptr || !FileExists(lock);
  path_ = path + ".txt";
  if (claimed && IsThere(path_)) {
    platform::RemoveFile(path_);  // left by a killed run
  }
  if (!claimed || IsThere(path_)) {
    path_ = ownPath + ".txt";
  }
  if (IsThere(path_)) {
    path_ = ownPath + "_" + platform::RandomName() + ".txt";
  }
}

OwnList::~OwnList() {
  try {
    Remove();
  } catch (const std::bad_alloc&) {
    return;  // the file stays
  }
}

bool OwnList::Create() {
  made_ = true;  // if memory runs out in the next line, the file may be there
  file_ = platform::TextFile::Open(path_, platform::TextFile::Mode::kCreate);
  made_ = file_ != nullptr;
  if (!made_) {
    // The trace, which also tells it, is in the same directory.
    TellOnStandardError(
        "ERROR: The list " + path_ +
        " cannot be created: its directory must be there, and this user must have the right to "
        "write into it.");
  }
  return made_;
}

bool OwnList::Put(const std::string& line) { return file_->Write(line + "\n") || Gone(); }

bool OwnList::Close() { return file_ == nullptr || file_->Close() || Gone(); }

bool OwnList::Gone() {
  Remove();
  return false;
}

void OwnList::Remove() {
  file_.reset();
  if (made_) {
    platform::RemoveFile(path_);
    made_ = false;
  }
}
