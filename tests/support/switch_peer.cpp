#include "support/switch_peer.h"

#include <algorithm>
#include <filesystem>

#include "support/run_program.h"

namespace support {

namespace fs = std::filesystem;

SwitchPeer::SwitchPeer(std::string directory, std::vector<std::optional<std::string>> logs)
    : directory_(std::move(directory)), logs_(std::move(logs)) {}

std::string SwitchPeer::File(const std::string& ending) const { return directory_ + "/.switch." + ending; }

void SwitchPeer::Act() {
  if (!Expected() || !fs::exists(File("sem"))) {
    return;
  }
  std::string list = ReadWholeFile(File("lis"));
  list.erase(std::remove(list.begin(), list.end(), '\r'), list.end());
  heard_ += list;
  if (const std::optional<std::string>& log = logs_[exchanges_]) {
    WriteWholeFile(File("log"), *log);
  }
  ++exchanges_;
  fs::remove(File("lis"));
  // On Windows the program may still be about to close it.
  for (std::error_code error; fs::exists(File("sem"));) {
    fs::remove(File("sem"), error);
  }
}

}  // namespace support
