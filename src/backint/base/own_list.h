// The lists that this program writes beside its traces for the data mover. Their names are fixed, so that a
// reader of the trace knows them, and two runs under one directory must not write the same file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/platform.h"

// A claim on one of those names, held as long as the object lives.
class OwnList {
 public:
  enum class Name : std::uint32_t { kFileList, kNewInput };
  // Claims `filelist.txt` or `newinput.txt` under `saptrace`. If another run holds the name, this run's list
  // has its process number in its name.
  explicit OwnList(Name name);
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::unique_ptr<platform::FileClaim> claim_;
  std::string path_;
};
