#include "platform/network.h"

#include <winsock2.h>
// Must come after the one above.
#include <windows.h>

#include <string>
#include <vector>

#include "platform/windows/wide.h"

namespace platform {

bool IsOnNetwork(const std::string& directory) {
  const std::wstring path = internal::WidePath(directory);
  std::vector<wchar_t> root(path.size() + MAX_PATH);
  return GetVolumePathNameW(path.c_str(), root.data(), static_cast<DWORD>(root.size())) != 0 &&
         GetDriveTypeW(root.data()) == DRIVE_REMOTE;
}

bool WaitForInput(std::uintptr_t socket, int milliseconds) {
  WSAPOLLFD waited = {static_cast<SOCKET>(socket), POLLIN, 0};
  return WSAPoll(&waited, 1, milliseconds) > 0;
}

}  // namespace platform
