#include "xfr/own_files.h"

#include <algorithm>

namespace {

// Reads what is behind all links, and where that is.
bool ReadTarget(const std::string& path, std::string& target, platform::Entry& entry) {
  std::string why;
  target = path;
  if (platform::ReadEntry(path, entry, why) && entry.kind <= platform::EntryKind::kDirectory) {
    return true;
  }
  return platform::FollowLinks(path, target, why) && platform::ReadEntry(target, entry, why);
}

bool ReadId(const std::string& path, platform::FileId& id) {
  std::string target;
  platform::Entry entry;
  const bool read = ReadTarget(path, target, entry);
  id = entry.id;
  return read;
}

}  // namespace

OwnFiles::OwnFiles(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (platform::FileId id; ReadId(path, id)) {
      ids_.push_back(id);
    }
  }
}

bool OwnFiles::Contains(const platform::FileId& id) const {
  return std::find(ids_.begin(), ids_.end(), id) != ids_.end();
}

bool OwnFiles::ContainsPath(const std::string& path, platform::EntryKind& kind) {
  std::string target;
  platform::Entry entry;
  kind = platform::EntryKind::kOther;
  if (!ReadTarget(path, target, entry)) {
    return false;
  }
  kind = entry.kind;
  if (Contains(entry.id)) {
    return true;
  }
  const std::string directory = platform::DirectoryOf(target);
  if (directory != lastDirectory_) {
    lastDirectory_ = directory;
    lastAnswer_ = ContainsDirectory(directory);
  }
  return lastAnswer_;
}

// Whether the directory or one above it is one of the paths. Goes up by `..`, as the system does, so the
// links on the way do not matter.
bool OwnFiles::ContainsDirectory(const std::string& path) const {
  std::string directory = path;
  platform::FileId id;
  while (ReadId(directory, id)) {
    if (Contains(id)) {
      return true;
    }
    directory += "/..";
    if (platform::FileId above; !ReadId(directory, above) || above == id) {
      break;
    }
  }
  return false;
}
