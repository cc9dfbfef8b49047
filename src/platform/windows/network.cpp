#include "platform/network.h"

#include <winsock2.h>
// After the one above.
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

bool WaitForInput(std::uintptr_t socket, int milliseconds) {
  WSAPOLLFD waited = {static_cast<SOCKET>(socket), POLLIN, 0};
  return WSAPoll(&waited, 1, milliseconds) > 0;
}

}  // namespace platform
