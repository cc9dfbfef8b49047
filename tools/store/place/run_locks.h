// The locks by which others find a run alive. Each run holds a lock on a file of its own. The file says where
// its process runs (platform::ProcessSpace), since locks of another machine may not be seen.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "store/base/uid.h"
#include "store/place/place.h"
#include "store/status.h"

namespace store {

class RunLocks {
 public:
  // kEverybodys: all runs that there are hold their locks in this directory, so a run without a file is gone.
  enum class Whose { kEverybodys, kThisHosts };
  // The directory is made when it is needed. If its name is empty, no run can begin.
  RunLocks(std::string directory, std::string space, Whose whose)
      : directory_(std::move(directory)), space_(std::move(space)), whose_(whose) {}

  // As in Place.
  Status Hold(const Uid& run, std::unique_ptr<RunHold>& hold);
  Status IsGone(const Uid& run, bool& gone);
  // Deletes the file that a run which is gone has left.
  Status Remove(const Uid& run);
  // A run that has a file here and is not known to be gone; without a path if there is none. With a host if
  // the file is of a machine whose locks cannot be seen from here.
  struct Alive {
    std::string path;
    std::string host;
  };
  Status FindAlive(Alive& alive);

 private:
  [[nodiscard]] bool SeesLock(const std::string& space) const;
  [[nodiscard]] std::string PathOf(const Uid& run) const { return directory_ + "/" + run.Hex(); }

  std::string directory_;
  std::string space_;
  Whose whose_;
};

}  // namespace store
