// The facts of an open file or directory as this system's calls give and take them.
#pragma once

#include <windows.h>

#include "platform/data_file.h"

namespace platform::internal {

// Both leave the reason of a failure where GetLastError finds it.
bool FactsOf(HANDLE file, FileFacts& facts);
bool SetFactsOf(HANDLE file, const FileFacts& facts);

}  // namespace platform::internal
