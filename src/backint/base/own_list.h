// The lists that this program writes beside its traces for the data mover. Their names are fixed, so that a
// reader of the trace knows them, and two runs under one directory must not write the same file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "backint/base/item_list.h"
#include "platform/platform.h"

// A claim on one of those names, held as long as the object lives. A list that was written goes with it.
class OwnList {
 public:
  enum class Name : std::uint32_t { kFileList, kNewInput };
  // Claims `filelist.txt` or `newinput.txt` under `saptrace`. If another run holds the name, or has left a
  // list there that is another account's, this run's list has its process number in its name.
  explicit OwnList(Name name);
  OwnList(const OwnList&) = delete;
  OwnList& operator=(const OwnList&) = delete;
  ~OwnList();

  [[nodiscard]] const std::string& Path() const { return path_; }

  // Makes the file, for lines in the order of the calls of `Put`. Each of the three is false if that cannot
  // be done, and the file is gone then.
  [[nodiscard]] bool Create();
  [[nodiscard]] bool Put(const std::string& line);
  [[nodiscard]] bool Close();

  // Deletes the file if it is there.
  void Remove();
  // The file stays, for someone to look at.
  void Keep() { made_ = false; }

 private:
  bool Gone();

  std::unique_ptr<platform::FileClaim> claim_;
  std::string path_;
  std::unique_ptr<platform::TextFile> file_;
  bool made_ = false;
};
