#include "soak/model.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "support/run_program.h"

namespace fs = std::filesystem;

Truth Look(const std::string& path) {
  Truth truth;
  if (!fs::is_regular_file(path)) {
    return truth;
  }
  const std::string bytes = support::ReadWholeFile(path);
  truth.hash = std::hash<std::string>()(bytes);
  truth.size = bytes.size();
  truth.modified = fs::last_write_time(path).time_since_epoch().count();
  truth.mode = static_cast<unsigned>(fs::status(path).permissions());
  return truth;
}

bool Model::TakeSaved(const std::string& line, const std::map<std::string, Truth>& files) {
  constexpr std::string_view kSaved = "#SAVED ";
  const std::size_t behindId = line.find(' ', kSaved.size());
  if (!line.starts_with(kSaved) || behindId == std::string::npos) {
    return false;
  }
  const auto file = files.find(line.substr(behindId + 1));
  if (file == files.end()) {
    return false;
  }
  confirmed_.push_back({line.substr(kSaved.size(), behindId - kSaved.size()), file->first, file->second});
  return true;
}

void Model::Expire(const std::string& backupId) {
  std::erase_if(confirmed_, [&backupId](const Confirmed& one) { return one.backupId == backupId; });
}

std::vector<std::string> Model::BackupIds() const {
  std::vector<std::string> ids;
  for (const Confirmed& one : confirmed_) {
    ids.push_back(one.backupId);
  }
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

std::vector<std::string> Model::BackupIdsOf(const std::string& file) const {
  std::vector<std::string> ids;
  for (const Confirmed& one : confirmed_) {
    if (one.file == file) {
      ids.push_back(one.backupId);
    }
  }
  return ids;
}
