// A place that is a directory: each object is a file with its name in it, for its owner alone. While an
// object is being written, its name has a random number and `.part` at the end, so that two who write one
// name are never in each other's way. There may also be files whose names begin with `catalog.`; they are no
// objects.
#pragma once

#include <list>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "platform/data_file.h"
#include "store/place/place.h"
#include "store/place/run_locks.h"

namespace store {

class DirectoryPlace : public Place {
 public:
  // The directory must be there before the first object is created. `space` is where this process runs
  // (platform::ProcessSpace); the locks of runs name it. Safe to use by several threads at once.
  DirectoryPlace(const std::string& path, std::string space)
      : path_(path), locks_(path + "/runs", std::move(space), RunLocks::Whose::kEverybodys) {}

  [[nodiscard]] std::uint64_t BestObjectSize() const override { return 64 * 1024 * 1024; }
  Status Create(const std::string& name, std::unique_ptr<NewObject>& object) override;
  Status Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) override;
  Status Size(const std::string& name, std::optional<std::uint64_t>& size) override;
  Status List(const std::string& prefix, const Each& each) override;
  Status Delete(const std::string& name) override;
  // Holds a run by a lock on a file below runs/.
  Status HoldRun(const Uid& run, std::unique_ptr<RunHold>& hold) override { return locks_.Hold(run, hold); }
  Status IsRunGone(const Uid& run, bool& gone) override { return locks_.IsGone(run, gone); }

 private:
  class NewFile;
  using OpenFile = std::pair<std::string, std::unique_ptr<platform::DataFile>>;

  [[nodiscard]] std::string PathOf(const std::string& name) const { return path_ + "/" + name; }
  Status MakeDirectoryOf(const std::string& name);
  Status MakeDurable(const std::string& name);
  Status ListBelow(const std::string& directory, const std::string& prefix, const Each& each);
  Status TakeOpen(const std::string& name, std::unique_ptr<platform::DataFile>& file);
  void KeepOpen(const std::string& name, std::unique_ptr<platform::DataFile> file);
  void CloseAll(const std::string& name);
  Status DeleteParts(const std::string& name);

  std::string path_;
  RunLocks locks_;
  std::mutex mutex_;
  std::list<OpenFile> open_;       // for reading, last used in front
  std::set<std::string> durable_;  // directories whose own names are on the disk
};

}  // namespace store
