// Converts the facts of an open file or directory from and to the types of this system's calls.
#pragma once

#include <windows.h>

#include "platform/data_file.h"

namespace platform::internal {

// After a failure of one of the two, GetLastError has the reason.
bool FactsOf(HANDLE file, FileFacts& facts);
bool SetFactsOf(HANDLE file, const FileFacts& facts);

FileId IdOf(const BY_HANDLE_FILE_INFORMATION& info);
// Whether the file is a link: it stands for another name.
bool IsLink(HANDLE file);
// Whether another volume is mounted in this directory.
bool IsMountedVolume(HANDLE directory);
// Whether the file is a link, or one that the file system keeps elsewhere or has made smaller. Such a file is
// like any other, unless it is opened as what it is on the disk.
bool IsReparsePoint(HANDLE file);

}  // namespace platform::internal
