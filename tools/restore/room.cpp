#include "restore/room.h"

#include "platform/data_file.h"
#include "store/base/size_text.h"

using store::Status;

// A file system that does not tell its free space is no reason to refuse.
Status CheckRoom(const std::string& directory, std::uint64_t bytes, std::uint64_t& missing) {
  std::uint64_t room = 0;
  std::string why;
  missing = 0;
  if (!platform::FreeSpace(directory, room, why) || bytes <= room) {
    return {};
  }
  missing = bytes - room;
  return Status::NoRoom("there is no room for it: it needs " + store::SizeText(bytes) + ", and " +
                        store::SizeText(missing, store::Rounding::kUp) +
                        " of that are missing on the file system of " + directory);
}
