// By which runs are found alive: each holds a lock on a file of its own, which has the name of the run's
// host, since locks of another host may not be seen.
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
  // The directory is made when it is needed.
  RunLocks(std::string directory, std::string host, Whose whose)
      : directory_(std::move(directory)), host_(std::move(host)), whose_(whose) {}

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
  std::string host_;
  Whose whose_;
};

}  // namespace store
