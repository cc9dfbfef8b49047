// How a backup goes.
#pragma once

#include <string>

#include "store/save/saveset_writer.h"

struct Outcome {
  bool failed = false;
  bool warnings = false;
};

// Something cannot be saved; that is reported.
void Refuse(const std::string& name, const std::string& why, Outcome& outcome);
// Takes in, and reports if there is anything to say, how the saving of a file went.
void TakeIn(const std::string& name, const store::Saved& saved, Outcome& outcome);
