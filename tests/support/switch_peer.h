// BRBACKUP's side of the exchanges through the switch files.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace support {

class SwitchPeer {
 public:
  // `directory` holds the files. For each exchange to come the text of its log, or nothing to leave none.
  SwitchPeer(std::string directory, std::vector<std::optional<std::string>> logs);

  // Does its part if there is a semaphore and something left to say: reads the list, writes the log, removes
  // the list and last the semaphore.
  void Act();

  [[nodiscard]] bool Expected() const { return exchanges_ < logs_.size(); }

  // The lists that it read, one behind the other, each line ended by a line feed.
  [[nodiscard]] const std::string& Heard() const { return heard_; }

 private:
  [[nodiscard]] std::string File(const std::string& ending) const;

  std::string directory_;
  std::vector<std::optional<std::string>> logs_;
  std::string heard_;
  std::size_t exchanges_ = 0;
};

}  // namespace support
