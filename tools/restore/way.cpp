#include "restore/way.h"

#include <algorithm>
#include <functional>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "platform/tree.h"

using store::Status;

namespace {

std::uint64_t HashOf(std::string_view place) { return std::hash<std::string>()(platform::FoldName(place)); }

}  // namespace

Status Way::CheckOne(const std::string& directory, Links links, bool& missing) const {
  std::string why;
  platform::Entry entry;
  if (!platform::ReadEntry(directory, entry, why)) {
    missing = !platform::Exists(directory);
    return missing ? Status() : Status::Failed("its directory " + directory + " cannot be looked up: " + why);
  }
  if (entry.kind == platform::EntryKind::kDirectory) {
    return {};
  }
  if (platform::LookUp(directory).kind != platform::PathKind::kDirectory) {
    return Status::Failed("something that is no directory stands in its way: " + directory);
  }
  return links == Links::kFollow && !IsOwnLink(directory)
             ? Status()
             : Status::Failed("a link stands in its way, which is not followed: " + directory);
}

// A link that came with this restore must not be on the way to `root` either, although `root` was asked for.
bool Way::LeadsOverOwnLink(std::string_view root) const {
  for (std::size_t end = 0; end < root.size() && !ownLinks_.empty();) {
    end = std::min(root.find_first_of("/\\", end + 1), root.size());
    if (IsOwnLink(root.substr(0, end))) {
      return true;
    }
  }
  return false;
}

Status Way::Check(std::string_view root, const std::string& directory, Links links) {
  if (LeadsOverOwnLink(root)) {
    return Status::Failed("a link that was restored just now stands in its way");
  }
  bool missing = false;
  for (std::size_t end = root.size(); end < directory.size() && !missing;) {
    end = directory.find_first_of("/\\", end + 1);
    if (Status checked = CheckOne(directory.substr(0, end), links, missing); !checked) {
      return checked;
    }
  }
  return {};
}

void Way::NoteLink(std::string_view place) { ownLinks_.insert(HashOf(place)); }

bool Way::IsOwnLink(std::string_view place) const { return ownLinks_.count(HashOf(place)) != 0; }
