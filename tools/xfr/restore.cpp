#include "xfr/restore.h"

#include <map>
#include <memory>
#include <optional>

#include "backint/backint_util/path.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"
#include "store/saveset_reader.h"
#include "xfr/plan.h"

using store::Status;

namespace {

// Where the item goes: into the destination under its last component, or to its own place.
std::string PlaceOf(const std::string& item, const std::string& destination) {
  if (destination.empty()) {
    return item;
  }
  std::string place = platform::ToSystemForm(item);
  std::string directory = destination;
  if (platform::LastSeparator(place) != std::string::npos) {
    ReallocateItem(place, directory);
    return place;
  }
  return WithSeparator(directory, platform::SeparatorOf(directory)) + place;
}

// The items that would overwrite another one of the request: several with the same last component, bound for
// one directory. The first listed has the place, whether or not the saveset holds it.
std::vector<std::string> TakeOutRivals(std::vector<std::string>& items, const std::string& destination) {
  std::vector<std::string> kept;
  std::vector<std::string> rivals;
  std::map<std::string, std::string> holders;
  for (const std::string& item : items) {
    const std::string place = platform::FoldName(store::ListedName(PlaceOf(item, destination)));
    const std::string name = platform::FoldName(item);
    const auto holder = holders.emplace(place, name).first;
    (destination.empty() || holder->second == name ? kept : rivals).push_back(item);
  }
  items = kept;
  return rivals;
}

// The new file beside the one it is to replace, gone again unless it took that one's place.
class Replacement {
 public:
  explicit Replacement(std::string target) : target_(std::move(target)) {}
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (file_ != nullptr) {
      file_.reset();
      platform::RemoveFile(path_);
    }
  }

  Status Create() {
    static int number = 0;
    std::string why;
    const std::string directory = platform::DirectoryOf(target_);
    if (!platform::MakeDirectories(directory, platform::DirectoryAccess::kUsual, why)) {
      return Status::Failed("its directory cannot be made: " + why);
    }
    path_ = directory + "/.korvo-" + std::to_string(platform::ProcessId()) + "-" + std::to_string(++number) +
            ".tmp";
    file_ = platform::DataFile::CreateNew(path_, why);
    return file_ != nullptr ? Status() : Status::Failed("no file can be made in its directory: " + why);
  }

  [[nodiscard]] platform::DataFile& File() { return *file_; }

  Status TakePlace(const platform::FileFacts& facts) {
    std::string why;
    if (!file_->SetFacts(facts) || !file_->Sync() || !file_->Close()) {
      return Status::Failed(file_->Why());
    }
    if (!platform::ReplaceFile(path_, target_, why)) {
      return Status::Failed(why);
    }
    file_.reset();
    return platform::SyncDirectory(platform::DirectoryOf(target_), why) ? Status() : Status::Failed(why);
  }

 private:
  std::string target_;
  std::string path_;
  std::unique_ptr<platform::DataFile> file_;
};

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

Status RestoreOne(const store::Item& item, const Request& request, store::SavesetReader& reader) {
  std::string target;
  std::string why;
  if (!platform::FollowLinks(PlaceOf(item.name, request.destination), target, why)) {
    return Status::Failed(why);
  }
  if (Status checked = CheckTarget(target, request.replace); !checked) {
    return checked;
  }
  Replacement replacement(target);
  if (Status made = replacement.Create(); !made) {
    return made;
  }
  if (Status copied = reader.Copy(item, replacement.File()); !copied) {
    return copied;
  }
  return replacement.TakePlace(item.facts);
}

// False if the item could not be brought back; an item that the saveset does not hold is passed over.
bool FindAndRestore(const std::string& name, const std::vector<std::string>& spellings,
                    const Request& request, store::SavesetReader& reader) {
  std::optional<store::Item> item;
  Status status = reader.Find(name, item);
  if (status && !item) {
    return true;
  }
  const std::string reported = PlaceOf(name, request.destination);
  if (status && !CanBeReported(reported)) {
    status = Status::Failed("its name holds a line break or a text that this program reports with");
  }
  if (status) {
    status = RestoreOne(*item, request, reader);
  }
  if (!status) {
    ReportTrouble("cannot restore " + reported + ": " + status.Message());
    return false;
  }
  for (const std::string& spelling : spellings) {
    ReportItem(PlaceOf(spelling, request.destination));
  }
  return true;
}

}  // namespace

End Restore(const Request& request, store::Repository& repository) {
  store::SavesetReader reader(repository);
  if (Status begun = reader.Begin(request.saveset); !begun) {
    ReportTrouble(begun.Message());
    return End::kFailed;
  }
  if (request.items.empty()) {
    return End::kEmpty;
  }
  std::vector<std::string> items = request.items;
  bool failed = false;
  for (const std::string& rival : TakeOutRivals(items, request.destination)) {
    ReportTrouble("cannot restore " + rival +
                  ": an item listed before it has the same name in the destination");
    failed = true;
  }
  const Plan plan = MakePlan(items);
  for (const std::string& item : plan.items) {
    if (!FindAndRestore(item, plan.spellings.at(item), request, reader)) {
      failed = true;
    }
  }
  return failed ? End::kFailed : End::kGood;
}
