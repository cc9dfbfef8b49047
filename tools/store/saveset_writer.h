// Fills one saveset with files.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "store/container.h"
#include "store/repository.h"

namespace store {

// How the saving of one file went, apart from the store.
struct Saved {
  std::string trouble;  // why the file was not saved; empty if it was
  bool grew = false;    // it became longer meanwhile: saved is what it held at the start
};

class SavesetWriter {
 public:
  // Told of each item, but not of what lies in a directory that was saved whole, once it is on the disk and
  // in the catalog, and never before.
  using Confirm = std::function<void(const Item& item)>;

  SavesetWriter(Repository& repository, Confirm confirm)
      : repository_(repository), confirm_(std::move(confirm)) {}

  // Takes a saveset with an open backup job, which no other mover has had.
  Status Begin(const std::string& name);
  // Reads the file into the saveset. It is confirmed with one of the next commits, at the latest at the end.
  // A status that is not good means the store: nothing more can be saved.
  Status Save(const std::string& name, platform::DataFile& source, Saved& saved);
  // A directory is saved whole or not at all: from its beginning to its end nothing else is saved, and
  // nothing is committed.
  Status BeginDirectory();
  // One of its files.
  Status SaveInside(const std::string& name, platform::DataFile& source, Saved& saved);
  // The directory itself, or a directory or link in it.
  void AddEntry(const Item& item) { pending_.push_back(item); }
  Status EndDirectory(bool whole);
  // Commits what is left. `good` is what the mover reports of the run; a failed store makes it a failure. If
  // `firstLevel` is set, the good run may have been that of a directory's first level.
  Status End(bool good, bool firstLevel);

 private:
  Status MakeContainer();
  Status Add(Item item, platform::DataFile& source, Saved& saved);
  Status Write(const Item& item, platform::DataFile& source, Saved& saved, std::string& hash);
  Status Commit();
  void NoteDirectory(const Item& item);

  Repository& repository_;
  Confirm confirm_;
  Saveset saveset_;
  std::unique_ptr<Container> container_;
  std::vector<Item> pending_;       // written, not yet committed
  std::uint64_t committedEnd_ = 0;  // of the container
  bool anyCommitted_ = false;
  std::string directory_;   // in which every item committed so far lies directly
  bool scattered_ = false;  // there is no such directory
  Digest digest_;
  std::string block_;
};

}  // namespace store
