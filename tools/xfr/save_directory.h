// Backs up a directory with everything in it as one item.
#pragma once

#include <string>

#include "store/save/saveset_writer.h"
#include "xfr/outcome.h"
#include "xfr/own_files.h"

// A bad status is the store's; what is wrong in the directory is reported by name, goes into the outcome, and
// then nothing of the directory is saved. The files of the repository itself are left out.
store::Status SaveDirectory(const std::string& item, const OwnFiles& own, store::SavesetWriter& writer,
                            Outcome& outcome);
