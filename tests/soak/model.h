// What must be in a repository, told by what the program confirmed: the plain model that a soak run holds the
// store against.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// A file as it was when it was saved.
struct Truth {
  std::size_t hash = 0;
  std::uintmax_t size = 0;
  std::int64_t modified = 0;
  unsigned mode = 0;
  bool operator==(const Truth&) const = default;
};

[[nodiscard]] Truth Look(const std::string& path);

struct Confirmed {
  std::string backupId;
  std::string file;
  Truth truth;
};

class Model {
 public:
  // A result line `#SAVED id file`, of files that looked so during the backup. False for any other line.
  bool TakeSaved(const std::string& line, const std::map<std::string, Truth>& files);
  void Expire(const std::string& backupId);

  [[nodiscard]] const std::vector<Confirmed>& All() const { return confirmed_; }
  [[nodiscard]] std::vector<std::string> BackupIds() const;
  [[nodiscard]] std::vector<std::string> BackupIdsOf(const std::string& file) const;

 private:
  std::vector<Confirmed> confirmed_;
};
