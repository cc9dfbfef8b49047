#include "platform/network.h"

#include <poll.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>

#include "platform/data_file.h"

namespace platform {
namespace {

// The type numbers of network and cluster file systems: NFS, the two of Windows shares, the two of AFS, 9P,
// Ceph, Coda, GFS2, OCFS2, Lustre, GPFS, ACFS, BeeGFS, VxFS, PanFS. A file system in user space (FUSE) may be
// one too.
constexpr std::array<unsigned long, 17> kNetwork = {
    0x6969,     0x517b,     0xff534d42, 0xfe534d42, 0x5346414f, 0x6b414653,
    0x01021997, 0x00c36400, 0x73757245, 0x01161970, 0x7461636f, 0x0bd00bd0,
    0x47504653, 0x61636673, 0x19830326, 0xa501fcf5, 0xaad7aaea};
constexpr unsigned long kUsersOwn = 0x65735546;

}  // namespace

bool IsOnNetwork(const std::string& directory) {
  struct statfs status = {};
  if (statfs(NativePath(directory).c_str(), &status) != 0) {
    return false;
  }
  const unsigned long type = static_cast<unsigned long>(status.f_type) & 0xffffffffUL;
  return type == kUsersOwn || std::find(kNetwork.begin(), kNetwork.end(), type) != kNetwork.end();
}

bool WaitForInput(std::uintptr_t socket, int milliseconds) {
  pollfd waited = {static_cast<int>(socket), POLLIN, 0};
  return poll(&waited, 1, milliseconds) > 0;
}

}  // namespace platform
