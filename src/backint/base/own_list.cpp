#include "backint/base/own_list.h"

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
