// By which runs are found alive: each holds a lock on a file of its own, which says where its process runs
// (platform::ProcessSpace): locks of another machine may not be seen.
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
  // Whether all runs that there are hold their locks in this directory: then one without a file is gone.
  enum class Whose { kEverybodys, kThisHosts };
  // The directory is made when it is needed; without a name no run can begin.
  RunLocks(std::string directory, std::string space, Whose whose)
      : directory_(std::move(directory)), space_(std::move(space)), whose_(whose) {}

  // As Place does it.
  Status Hold(const Uid& run, std::unique_ptr<RunHold>& hold);
  Status IsGone(const Uid& run, bool& gone);
  // Takes away the file that a run which is gone has left.
  Status Remove(const Uid& run);
  // Whether a run is alive, of those that have a file here.
  Status IsAnyAlive(bool& alive);

 private:
  [[nodiscard]] std::string PathOf(const Uid& run) const { return directory_ + "/" + run.Hex(); }

  std::string directory_;
  std::string space_;
  Whose whose_;
};

}  // namespace store
