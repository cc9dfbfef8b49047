// Backs up a directory with everything in it as one item.
#pragma once

#include <string>

#include "store/save/saveset_writer.h"
#include "xfr/outcome.h"
#include "xfr/own_files.h"

// Fails only if the store fails or the process is interrupted. What is wrong in the directory is reported by
// name and goes into the outcome; then nothing of the directory is saved. The files of the repository itself
// are left out.
store::Status SaveDirectory(const std::string& item, const OwnFiles& own, store::SavesetWriter& writer,
                            Outcome& outcome);
