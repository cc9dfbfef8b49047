// How a backup goes.
#pragma once

#include <string>

#include "store/save/saveset_writer.h"

struct Outcome {
  bool failed = false;
  std::string why;  // what failed first, in words
  bool warnings = false;
};

// Reports what failed, and makes the backup a failed one.
void Fail(const std::string& what, Outcome& outcome);
// The same for a file or directory that cannot be saved.
void Refuse(const std::string& name, const std::string& why, Outcome& outcome);
// Takes in how the saving of a file went, and reports it if there is anything to say.
void TakeIn(const std::string& name, const store::Saved& saved, Outcome& outcome);
