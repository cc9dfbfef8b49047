// BRBACKUP's side of the exchanges through the switch files.
#pragma once

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/run_program.h"

namespace support {

class SwitchPeer {
 public:
  // `directory` holds the files. For each exchange to come the text of its log, or nothing to leave none.
  SwitchPeer(std::string directory, std::vector<std::optional<std::string>> logs)
      : directory_(std::move(directory)), logs_(std::move(logs)) {}

  // Does its part if there is a semaphore and something left to say: reads the list, writes the log, removes
  // the list and last the semaphore.
  void Act() {
    if (!Expected() || !std::filesystem::exists(File("sem"))) {
      return;
    }
    std::string list = ReadWholeFile(File("lis"));
    list.erase(std::remove(list.begin(), list.end(), '\r'), list.end());
    heard_ += list;
    if (const std::optional<std::string>& log = logs_[exchanges_]) {
      WriteWholeFile(File("log"), *log);
    }
    ++exchanges_;
    std::filesystem::remove(File("lis"));
    // On Windows the program may still be about to close it.
    for (std::error_code error; std::filesystem::exists(File("sem"));) {
      std::filesystem::remove(File("sem"), error);
    }
  }

  [[nodiscard]] bool Expected() const { return exchanges_ < logs_.size(); }

  // The lists that it read, one behind the other, each line ended by a line feed.
  [[nodiscard]] const std::string& Heard() const { return heard_; }

 private:
  [[nodiscard]] std::string File(const std::string& ending) const {
    return directory_ + "/.switch." + ending;
  }

  std::string directory_;
  std::vector<std::optional<std::string>> logs_;
  std::string heard_;
  std::size_t exchanges_ = 0;
};

}  // namespace support
