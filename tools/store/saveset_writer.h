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
  // Told of each item, by its name, once it is on the disk and in the catalog, and never before.
  using Confirm = std::function<void(const std::string& name)>;

  SavesetWriter(Repository& repository, Confirm confirm)
      : repository_(repository), confirm_(std::move(confirm)) {}

  // Takes a saveset with an open backup job, which no other mover has had.
  Status Begin(const std::string& name);
  // Reads the file into the saveset. It is confirmed with one of the next commits, at the latest at the end.
  // A status that is not good means the store: nothing more can be saved.
  Status Save(const std::string& name, platform::DataFile& source, Saved& saved);
  // Commits what is left. `good` is what the mover reports of the run; a failed store makes it a failure.
  Status End(bool good);

 private:
  Status MakeContainer();
  Status Write(const Item& item, platform::DataFile& source, Saved& saved, std::string& hash);
  Status Commit();

  Repository& repository_;
  Confirm confirm_;
  Saveset saveset_;
  std::unique_ptr<Container> container_;
  std::vector<Item> pending_;       // written, not yet committed
  std::uint64_t committedEnd_ = 0;  // of the container
  bool anyCommitted_ = false;
  Digest digest_;
  std::string block_;
};

}  // namespace store
