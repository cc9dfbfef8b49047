// New files, written beside the files that they replace.
#pragma once

#include <memory>
#include <string>

#include "platform/data_file.h"
#include "store/status.h"

// A name for a new file in this directory. Nobody can guess it.
[[nodiscard]] std::string NewNameIn(const std::string& directory);
// The message for a file that exists and is not replaced, because `option` is not given.
[[nodiscard]] std::string WhyExists(const std::string& option);

class Replacement {
 public:
  // What is replaced if `place` is a symbolic link: the file that it leads to, or the link itself.
  enum class Links { kFollow, kReplace };
  Replacement(std::string place, Links links) : target_(std::move(place)), links_(links) {}
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  // Deletes the new file unless it took its place.
  ~Replacement();

  // Finds out which file is replaced, for `Target`. If a link leads to it, its directory is made if it is
  // missing.
  store::Status Aim();
  [[nodiscard]] const std::string& Target() const { return target_; }
  // Makes the new file, empty. Its directory must exist. `replace` allows a file in the place, even one that
  // appears later. `option` is what the user gives to allow that.
  store::Status Create(bool replace, const std::string& option);
  // Instead empties the file in the place, which is then overwritten: if there is no room for two files.
  store::Status CreateInPlace();
  // If something fails after `CreateInPlace`: empties the file, or else deletes it, so that no mixture of old
  // and new stays. It may be closed already.
  void EmptyAgain();

  [[nodiscard]] platform::DataFile& File() { return *file_; }
  // The file is complete: synchronises and closes it.
  store::Status Finish();
  // The file is complete: closes it. The caller synchronises its file system.
  store::Status Close();
  [[nodiscard]] bool IsOpen() const { return file_ != nullptr; }
  // Renames the new file to `Target`. Does nothing after `CreateInPlace`.
  store::Status TakePlace();

 private:
  std::string target_;
  Links links_;
  std::string path_;    // of the new file; empty if there is nothing to remove
  std::string option_;  // empty if a file in the place may be replaced
  std::unique_ptr<platform::DataFile> file_;
};
