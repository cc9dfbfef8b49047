// New files beside those that they are to replace.
#pragma once

#include <memory>
#include <string>

#include "platform/data_file.h"
#include "store/status.h"

// A name for a new file in the directory that nothing bears.
[[nodiscard]] std::string NewNameIn(const std::string& directory);

class Replacement {
 public:
  // The file that `place` names. Of a symbolic link there, either the file that it leads to is replaced, or
  // the link itself.
  enum class Links { kFollow, kReplace };
  Replacement(std::string place, Links links) : target_(std::move(place)), links_(links) {}
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  // Gone again unless it took its place.
  ~Replacement();

  // Makes it, empty, with the directories that are missing. `replace` allows a file in its place.
  store::Status Create(bool replace);
  [[nodiscard]] platform::DataFile& File() { return *file_; }
  // It bears these times and this mode, and is on its way to the disk.
  store::Status Prepare(const platform::FileFacts& facts);
  // It is whole and on the disk.
  store::Status Finish();
  store::Status TakePlace();
  // Whose names have to be synchronised then.
  [[nodiscard]] std::string Directory() const { return platform::DirectoryOf(target_); }

 private:
  std::string target_;
  Links links_;
  std::string path_;  // empty when there is nothing to remove
  std::unique_ptr<platform::DataFile> file_;
};
