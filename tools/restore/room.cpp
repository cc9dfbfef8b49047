#include "restore/room.h"

#include <array>

#include "platform/data_file.h"

using store::Status;

std::string SizeText(std::uint64_t bytes) {
  constexpr std::array<const char*, 5> kUnits = {" bytes", " KiB", " MiB", " GiB", " TiB"};
  constexpr std::uint64_t kStep = 1024;
  std::size_t unit = 0;
  std::uint64_t tenths = bytes * 10;
  for (; bytes >= kStep && unit + 1 < kUnits.size(); ++unit) {
    bytes /= kStep;
    tenths = (tenths + kStep - 1) / kStep;
  }
  std::string text = std::to_string(tenths / 10);
  if (unit > 0) {
    text += "." + std::to_string(tenths % 10);
  }
  return text + kUnits[unit];
}

// A file system that does not tell is no reason to refuse.
Status CheckRoom(const std::string& directory, std::uint64_t bytes, std::uint64_t& missing) {
  std::uint64_t room = 0;
  std::string why;
  missing = 0;
  if (!platform::FreeSpace(directory, room, why) || bytes <= room) {
    return {};
  }
  missing = bytes - room;
  return Status::NoRoom("there is no room for it: it needs " + SizeText(bytes) + ", and " +
                        SizeText(missing) + " of that are missing on the file system of " + directory);
}
