// The files of the repository itself. No backup contains them, neither by their own names nor through links.
#pragma once

#include <string>
#include <vector>

#include "platform/tree.h"

class OwnFiles {
 public:
  // `paths` are full paths of files, and of directories with everything in them. A path that does not exist
  // is ignored.
  explicit OwnFiles(const std::vector<std::string>& paths);

  // Whether this is one of the paths, by whatever name.
  [[nodiscard]] bool Contains(const platform::FileId& id) const;
  // Whether the path leads, through all links, to one of them or into one of the directories. `kind` gets
  // what it leads to; kOther if nothing is there. Not for several threads at once.
  [[nodiscard]] bool ContainsPath(const std::string& path, platform::EntryKind& kind);

 private:
  [[nodiscard]] bool ContainsDirectory(const std::string& path) const;

  std::vector<platform::FileId> ids_;
  // The answer for the last directory, because items are listed directory by directory.
  std::string lastDirectory_;
  bool lastAnswer_ = false;
};
