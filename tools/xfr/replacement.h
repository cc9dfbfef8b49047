// A new file beside the one that it is to replace.
#pragma once

#include <memory>
#include <string>

#include "platform/data_file.h"
#include "store/status.h"

class Replacement {
 public:
  // The file that `place` names, or that it leads to as a symbolic link.
  explicit Replacement(std::string place) : target_(std::move(place)) {}
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
  std::string path_;  // empty when there is nothing to remove
  std::unique_ptr<platform::DataFile> file_;
};
