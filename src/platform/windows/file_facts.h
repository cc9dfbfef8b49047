// The facts of an open file or directory as this system's calls give and take them.
#pragma once

#include <windows.h>

#include "platform/data_file.h"

namespace platform::internal {

// Both leave the reason of a failure where GetLastError finds it.
bool FactsOf(HANDLE file, FileFacts& facts);
bool SetFactsOf(HANDLE file, const FileFacts& facts);

FileId IdOf(const BY_HANDLE_FILE_INFORMATION& info);
// Whether another name stands behind this one.
bool IsLink(HANDLE file);
// A directory in which another volume is mounted.
bool IsMountedVolume(HANDLE directory);
// A link, or a file that the file system keeps elsewhere or has made smaller: one like any other, if it is
// not opened as what it is on the disk.
bool IsReparsePoint(HANDLE file);

}  // namespace platform::internal
