// The list file, which carries the names of a job that a command line cannot hold.
#pragma once

#include <string>

#include "backint/base/own_list.h"
#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"

// The list file of one job. Its name is claimed, and the file goes, as long and as soon as the object lives.
class FileList {
 public:
  [[nodiscard]] const std::string& Path() const { return list_.Path(); }

  // Writes one name per line with forward slashes and traces it. A failure if it is not in the file to its
  // last byte; there is no file then.
  RunResult Write(const ItemList& names);
  // The same with what the job's list file holds in a job that has one.
  RunResult Write(const JobItems& items);

  // Deletes the file and traces that as the module `source`.
  void Delete(const char* source);

 private:
  OwnList list_{OwnList::Name::kFileList};
};

// The joined list, as much of it as a short command has room for and a little more: a command with that is
// too long.
[[nodiscard]] std::string JoinForCommand(const ItemList& items);

// Whether a finished short command has to give way to one with a list file.
[[nodiscard]] bool TakesFileList(const std::string& command, const ItemList& items);

// A path of the program's own behind "-f", with what stands in front of it, so that a tool gets it as one
// argument and takes it for nothing else.
[[nodiscard]] std::string FileArgument(const std::string& prefix, const std::string& path);
