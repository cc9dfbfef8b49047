// A landscape whose database hands over directories.
#pragma once

#include <map>
#include <string>

#include "server/landscape.h"

class DirectoryLandscape : public Landscape {
 protected:
  // What stands below a directory, by names with forward slashes, and the directory itself under the empty
  // one.
  using Tree = std::map<std::string, std::string>;
  // `bare`: directories without their times and modes.
  [[nodiscard]] static Tree Look(const std::string& directory, bool bare = false);

  // From here on the mover walks directories; before, they go to it by their first level.
  void LetTheMoverWalk() const;
  // A directory with files and directories, some of them empty, of various times.
  [[nodiscard]] std::string MakeTree(const std::string& name) const;

  // Restores the directory by this id (or #NULL) into its place, which is there, gone or half there, and into
  // another directory, and expects it as it was, with one line each time.
  void ExpectBack(const std::string& id, const std::string& directory, const Tree& saved,
                  bool bare = false) const;
  void ExpectRestored(const std::string& line, const std::string& result) const;
};
