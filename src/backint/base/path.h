// Path operations that every module shares. Whether a name belongs to this system (begins with `/` on
// Linux) is asked of the platform layer; all other names follow the rules of Windows.
#pragma once

#include <string>

#include "platform/platform.h"

// Whether the path names anything, a directory included. An empty path names nothing.
[[nodiscard]] bool FileExists(const std::string& path);
// Whether nothing has this name. What cannot be looked at is neither missing nor there.
[[nodiscard]] bool IsMissing(const std::string& path);

// Whether the path is told from its root: its first backslash stands at index 2 or later, as behind a drive
// letter, or it is a system name. A path that begins with a backslash is not told from a drive's root.
[[nodiscard]] bool IsFullPath(const std::string& path);

// Whether the path names a directory. A path with three or more characters behind its first blank could be
// several names and is never looked up.
[[nodiscard]] bool IsDirectory(const std::string& path);
// The same for one that was looked up.
[[nodiscard]] bool IsDirectory(const std::string& path, const platform::PathInfo& info);

// Moves an item into `directory`, keeping its last component. An item without a separator stays where it is.
// Otherwise `directory` gets a separator of its own kind at its end unless it has one.
void ReallocateItem(std::string& item, std::string& directory);

// The directory with a separator at its end, added unless it is there. The program's own files are composed
// with backslashes on every system; for something below an item hand over the item's `SeparatorOf`.
[[nodiscard]] std::string WithSeparator(std::string directory, char separator = '\\');

// All slashes turned into backslashes, and the reverse, whatever the kind of the name.
[[nodiscard]] std::string ToDos(std::string path);
[[nodiscard]] std::string ToUnix(std::string path);
