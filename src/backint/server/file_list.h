// The list file. It contains the names of a job that a command line cannot hold.
#pragma once

#include <string>

#include "backint/base/own_list.h"
#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"

// The list file of one job. The object claims its name and deletes the file in the destructor.
class FileList {
 public:
  [[nodiscard]] const std::string& Path() const { return list_.Path(); }

  // Writes the names with forward slashes, one on each line, and traces that. A failure if they cannot be
  // written completely; then there is no file.
  RunResult Write(const ItemList& names);
  // The same for the items of a job. If the job has a list file, the names come from there.
  RunResult Write(const JobItems& items);

  // Deletes the file and traces that; `source` is the module that the trace names.
  void Delete(const char* source);

 private:
  OwnList list_{OwnList::Name::kFileList};
};

// The joined list, cut one character above the length of a short command: a command with a list that was cut
// is too long.
[[nodiscard]] std::string JoinForCommand(const ItemList& items);

// Whether a finished short command must be replaced by one with a list file.
[[nodiscard]] bool TakesFileList(const std::string& command, const ItemList& items);

// The argument after "-f" for a file of the program's own: `prefix` and `path` as one argument that a tool
// cannot take for anything else.
[[nodiscard]] std::string FileArgument(const std::string& prefix, const std::string& path);
