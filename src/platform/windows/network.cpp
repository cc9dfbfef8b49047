#include "platform/network.h"

#include <windows.h>

#include <array>

#include "platform/data_file.h"

namespace platform {

bool IsOnNetwork(const std::string& directory) {
  std::array<char, MAX_PATH + 1> root{};
  return GetVolumePathNameA(NativePath(directory).c_str(), root.data(), static_cast<DWORD>(root.size())) !=
             0 &&
         GetDriveTypeA(root.data()) == DRIVE_REMOTE;
}

}  // namespace platform
