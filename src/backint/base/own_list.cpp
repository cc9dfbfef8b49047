#include "backint/base/own_list.h"

#include <new>

#include "backint/base/path.h"
#include "backint/base/run_records.h"

OwnList::OwnList(Name name) {
  const std::string directory = WithSeparator(Params().szSapDataHome) + "saptrace\\";
  const std::string lock = directory + "backint.lock";
  claim_ = platform::FileClaim::TryClaim(lock, static_cast<std::uint32_t>(name));
  // Where the lock file itself cannot be made, neither can the list, and the messages name it plainly.
  const bool taken = claim_ == nullptr && FileExists(lock);
  path_ = directory + (name == Name::kFileList ? "filelist" : "newinput") +
          (taken ? "_" + std::to_string(platform::ProcessId()) : "") + ".txt";
}

OwnList::~OwnList() {
  try {
    Remove();
  } catch (const std::bad_alloc&) {
    return;  // the file stays
  }
}

bool OwnList::Create() {
  file_ = platform::TextFile::Open(path_, platform::TextFile::Mode::kCreate);
  made_ = file_ != nullptr;
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
