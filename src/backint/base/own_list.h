// The lists that this program writes for the data mover, in the directory of the traces. Their names are
// fixed, so that a reader of the trace knows them. But two runs with the same directory must not write the
// same file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/platform.h"

// A claim on one of these names for the life of the object. The destructor deletes the list that was written.
class OwnList {
 public:
  enum class Name : std::uint32_t { kFileList, kNewInput };
  // Claims `filelist.txt` or `newinput.txt` under `saptrace`. If another run has claimed the name, or a list
  // there cannot be deleted because it belongs to another account, the name of this run's list contains its
  // process number (and a random text, if there is a file of that name too).
  explicit OwnList(Name name);
  OwnList(const OwnList&) = delete;
  OwnList& operator=(const OwnList&) = delete;
  ~OwnList();

  [[nodiscard]] const std::string& Path() const { return path_; }

  // Create the file, add a line at its end, and close it. Each returns false if this failed; the file is then
  // deleted.
  [[nodiscard]] bool Create();
  [[nodiscard]] bool Put(const std::string& line);
  [[nodiscard]] bool Close();

  // Deletes the file if this object has created it.
  void Remove();
  // Leaves the file in its place, for people to look at.
  void Keep() { made_ = false; }

 private:
  bool Gone();

  std::unique_ptr<platform::FileClaim> claim_;
  std::string path_;
  std::unique_ptr<platform::TextFile> file_;
  bool made_ = false;
};
