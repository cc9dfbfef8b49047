// The facts of an open file as this system's calls give and take them.
#pragma once

#include <sys/stat.h>

#include <array>

#include "platform/data_file.h"

namespace platform::internal {

FileFacts FactsOf(const struct stat& status);
FileId IdOf(const struct stat& status);
// The time of the last access, which stays, and that of the last change.
std::array<timespec, 2> TimesOf(const FileFacts& facts);
bool SetFactsOf(int handle, const FileFacts& facts);

}  // namespace platform::internal
