// How a backup goes.
#pragma once

#include <string>

#include "store/save/saveset_writer.h"

struct Outcome {
  bool failed = false;
  std::string why;  // what failed first, in words
  bool warnings = false;
};

// Reports what failed.
void Fail(const std::string& what, Outcome& outcome);
// Something cannot be saved; that is reported.
void Refuse(const std::string& name, const std::string& why, Outcome& outcome);
// Takes in, and reports if there is anything to say, how the saving of a file went.
void TakeIn(const std::string& name, const store::Saved& saved, Outcome& outcome);
