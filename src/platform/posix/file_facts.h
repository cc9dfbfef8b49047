// Converts the facts of an open file from and to the types of this system's calls.
#pragma once

#include <sys/stat.h>

#include <array>

#include "platform/data_file.h"

namespace platform::internal {

FileFacts FactsOf(const struct stat& status);
FileId IdOf(const struct stat& status);
// The times of the last access, which is not to be changed, and of the last modification.
std::array<timespec, 2> TimesOf(const FileFacts& facts);
bool SetFactsOf(int handle, const FileFacts& facts);

}  // namespace platform::internal
