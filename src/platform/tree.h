// The entries of a directory tree, and how to create them, for the backup server's mover, which saves whole
// directories. Links are not followed. Paths take both separators, as in platform.h. A failure gives the
// reason in the system's words.
#pragma once

#include <string>

#include "platform/data_file.h"

namespace platform {

enum class EntryKind { kFile, kDirectory, kLink, kOther };

struct Entry {
  EntryKind kind = EntryKind::kOther;
  FileFacts facts;
  FileId id;
  std::string link;  // the text of a symbolic link: where it leads
};

// Reads what has exactly this name: a symbolic link is not followed. On Windows links are of the kind kOther.
[[nodiscard]] bool ReadEntry(const std::string& path, Entry& entry, std::string& why);

// Creates a symbolic link with this text. Nothing may have the name yet. Fails on Windows.
[[nodiscard]] bool MakeLink(const std::string& text, const std::string& path, std::string& why);
// Sets the link's time, and its owner if this process may do that. What the system does not allow for links
// is left out.
void SetLinkFacts(const std::string& path, const FileFacts& facts);

// Creates a directory that gets its facts later, when everything is in it, and is synchronised then. On Linux
// only its owner can look into it until then.
[[nodiscard]] bool MakeUnfinishedDirectory(const std::string& path, std::string& why);
// Whether a directory with this mode does not let its owner do everything in it.
[[nodiscard]] bool KeepsOwnerOut(const FileFacts& facts);
// Sets times, mode and owner of a directory, by the rules of DataFile::SetFacts. These and the names in the
// directory are then on the disk, unless the caller sees to that later.
[[nodiscard]] bool SetDirectoryFacts(const std::string& path, const FileFacts& facts, std::string& why,
                                     DirectorySync sync = DirectorySync::kNow);

}  // namespace platform
