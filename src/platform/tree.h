// What stands in a directory tree, link by link, and its making: for the backup server's mover, which saves
// directories whole. Paths take both separators, as in platform.h; what fails says why, in the system's
// words.
#pragma once

#include <string>

#include "platform/data_file.h"

namespace platform {

enum class EntryKind { kFile, kDirectory, kLink, kOther };

struct Entry {
  EntryKind kind = EntryKind::kOther;
  FileFacts facts;
  FileId id;
  std::string link;  // where a symbolic link leads, as it is written there
};

// What bears this very name: a symbolic link is not followed. On Windows links are of the kind kOther.
[[nodiscard]] bool ReadEntry(const std::string& path, Entry& entry, std::string& why);

// Makes a symbolic link with this text. Nothing may bear the name.
[[nodiscard]] bool MakeLink(const std::string& text, const std::string& path, std::string& why);
// Its time, and its owner where this process may set it. What the system does not allow for links is left.
void SetLinkFacts(const std::string& path, const FileFacts& facts);

// Makes a directory that gets its facts when everything is in it. Where they decide who may look into it, its
// owner alone can until then.
[[nodiscard]] bool MakeUnfinishedDirectory(const std::string& path, std::string& why,
                                           DirectorySync sync = DirectorySync::kNow);
// Whether a directory with this mode keeps its owner from something that is done in it.
[[nodiscard]] bool KeepsOwnerOut(const FileFacts& facts);
// Times, mode and owner of a directory, by the rules of DataFile::SetFacts; they and its names are on the
// disk then, unless the caller sees to that later.
[[nodiscard]] bool SetDirectoryFacts(const std::string& path, const FileFacts& facts, std::string& why,
                                     DirectorySync sync = DirectorySync::kNow);

}  // namespace platform
