// What belongs to the repository itself, which no backup contains: neither by its own name nor through a
// link.
#pragma once

#include <string>
#include <vector>

#include "platform/tree.h"

class OwnFiles {
 public:
  // Full paths of files, and of directories with everything in them. What is not there is passed over.
  explicit OwnFiles(const std::vector<std::string>& paths);

  // One of the paths, by whatever name.
  [[nodiscard]] bool Contains(const platform::FileId& id) const;
  // Whether the path leads, through all links, to one of them or into one of the directories. `kind` gets
  // what it leads to; kOther if nothing is there.
  [[nodiscard]] bool ContainsPath(const std::string& path, platform::EntryKind& kind);

 private:
  [[nodiscard]] bool ContainsDirectory(const std::string& path) const;

  std::vector<platform::FileId> ids_;
  // The answer for the last directory: items are listed directory by directory.
  std::string lastDirectory_;
  bool lastAnswer_ = false;
};
