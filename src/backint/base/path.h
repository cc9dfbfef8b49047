// Path operations that all modules share. The platform layer tells whether a name belongs to this system (on
// Linux: begins with `/`). All other names follow the rules of Windows.
#pragma once

#include <string>

#include "platform/platform.h"

// Whether there is something at the path, a directory included. False for an empty path.
[[nodiscard]] bool FileExists(const std::string& path);
// Whether there is nothing at the path. If the system cannot tell, both this and `FileExists` are false.
[[nodiscard]] bool IsMissing(const std::string& path);

// Whether the path begins at a root: it is a system name, or its first backslash is at index 2 or later, as
// after a drive letter. A path that begins with a backslash does not count: it names no drive.
[[nodiscard]] bool IsFullPath(const std::string& path);

// Whether the path names a directory. A path with three or more characters after its first blank could be
// several names: it is not looked up, and the result is false.
[[nodiscard]] bool IsDirectory(const std::string& path);
// The same for a path that was looked up with the result `info`.
[[nodiscard]] bool IsDirectory(const std::string& path, const platform::PathInfo& info);

// Moves an item into `directory`, keeping only its last component. An item without a separator is not
// changed. Otherwise `directory` too is changed: it gets a separator of its own kind at its end unless it has
// one.
void ReallocateItem(std::string& item, std::string& directory);

// The directory with a separator at its end, added unless it is there. The paths of the program's own files
// are built with backslashes on every system. For a path below an item, pass the `SeparatorOf` of the item.
[[nodiscard]] std::string WithSeparator(std::string directory, char separator = '\\');

// Turn all slashes into backslashes, and the reverse, in any kind of name.
[[nodiscard]] std::string ToDos(std::string path);
[[nodiscard]] std::string ToUnix(std::string path);
