#include "xfr/own_files.h"

#include <algorithm>

namespace {

// Of what is there behind all links.
bool ReadId(const std::string& path, platform::FileId& id) {
  std::string target;
  std::string why;
  platform::Entry entry;
  if (!platform::FollowLinks(path, target, why) || !platform::ReadEntry(target, entry, why)) {
    return false;
  }
  id = entry.id;
  return true;
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

bool OwnFiles::ContainsPath(const std::string& path) {
  std::string target;
  std::string why;
  platform::Entry entry;
  if (!platform::FollowLinks(path, target, why) || !platform::ReadEntry(target, entry, why)) {
    return false;
  }
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

// The directory or one above it, as the system goes up: links on the way play no part.
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
