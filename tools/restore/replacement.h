// New files beside those that they are to replace.
#pragma once

#include <memory>
#include <string>

#include "platform/data_file.h"
#include "store/status.h"

// A name for a new file in the directory that nobody can guess.
[[nodiscard]] std::string NewNameIn(const std::string& directory);
// Why a file that is there is not replaced: the option that would allow it is not given.
[[nodiscard]] std::string WhyExists(const std::string& option);

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

  // Finds out which file that is. The directory of a file that a link leads to is made if it is missing.
  store::Status Aim();
  [[nodiscard]] const std::string& Target() const { return target_; }
  // Makes it, empty, in a directory that is there. `replace` allows a file in its place, also one that comes
  // meanwhile; `option` is what the user gives for that.
  store::Status Create(bool replace, const std::string& option);
  // Empties the file in its place instead, and writes there: where there is no room for two.
  store::Status CreateInPlace();
  // For `CreateInPlace`, of which the rest went wrong: no file that is neither old nor new stays. Also when
  // it is closed already.
  void EmptyAgain();

  [[nodiscard]] platform::DataFile& File() { return *file_; }
  // It is whole and on the disk.
  store::Status Finish();
  // It is whole; the caller synchronises its file system.
  store::Status Close();
  [[nodiscard]] bool IsOpen() const { return file_ != nullptr; }
  store::Status TakePlace();

 private:
  std::string target_;
  Links links_;
  std::string path_;    // empty when there is nothing to remove
  std::string option_;  // empty when a file in its place may be replaced
  std::unique_ptr<platform::DataFile> file_;
};
