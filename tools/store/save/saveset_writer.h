// Fills one saveset with files. Files are read, hashed, compressed, encrypted and written on all cores at
// once, in limited memory. What the file's last good copy has already is referred to.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "store/store.h"

namespace store {

// How the saving of one file went, without failures of the store.
struct Saved {
  std::string trouble;   // why the file was not saved; empty if it was
  bool grew = false;     // it became longer meanwhile: what it had at the start is saved
  bool changed = false;  // it changed meanwhile: it is saved as it was read
};

class SavesetWriter {
 public:
  // Gets items once they are on the disk and in the catalog, and never before. What is in a directory that
  // was saved whole is left out. Called by the thread that calls the writer's operations.
  using Confirm = std::function<void(const std::vector<Item>& items)>;
  // Told of a file that had to be saved a second time, because what its first saving referred to had gone
  // meanwhile, and of how that went. If there is trouble, the file is not saved after all.
  using Again = std::function<void(const Item& item, const Saved& saved)>;

  SavesetWriter(Store& store, Confirm confirm, Again again);
  SavesetWriter(const SavesetWriter&) = delete;
  SavesetWriter& operator=(const SavesetWriter&) = delete;
  // Without `End` nothing more is confirmed.
  ~SavesetWriter();

  // Takes a saveset that has an open backup job, and that no other mover has had.
  Status Begin(const std::string& name);
  // Files that are saved next, in any number of calls, with at most `Catalog::kNamesAtOnce` names each. Not
  // needed, but saves queries of the catalog.
  void LookAhead(const std::vector<std::string>& names);
  // Reads the file into the saveset. It is confirmed with one of the next groups, at the latest at the end. A
  // failure is one of the store, or an interrupt: nothing more can be saved.
  Status Save(const std::string& name, platform::DataFile& source, Saved& saved);
  // A directory is saved whole or not at all; from its beginning to its end nothing else is saved. Its
  // content goes to the disk meanwhile, and is seen only once the directory has ended well.
  Status BeginDirectory(const std::string& name, const platform::FileFacts& facts);
  // Saves one of its files.
  Status SaveInside(const std::string& name, platform::DataFile& source, Saved& saved);
  // Adds a directory or link in it.
  Status AddInside(const std::string& name, ItemKind kind, const platform::FileFacts& facts,
                   const std::string& link);
  // `whole` is false when the directory is given up.
  Status EndDirectory(bool whole);
  // Confirms what has waited for too long; for a caller that has nothing to save for a while.
  Status Settle();
  // Commits what is left. `good` is what the mover reports of the run; a failure of the store makes the run a
  // failed one. With `firstLevel`, a good run may have been that of a directory's first level. `why` says
  // what failed first; it is kept with a run that is not good.
  Status End(bool good, bool firstLevel, const std::string& why = "");

 private:
  class Inside;
  std::unique_ptr<Inside> inside_;
};

}  // namespace store
