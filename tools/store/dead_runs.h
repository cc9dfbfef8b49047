// What killed programs left: runs that will never end, and sessions that nobody will close. They are found by
// their rows in the catalog, not by their age.
#pragma once

#include "store/catalog/catalog.h"
#include "store/place/place.h"
#include "store/status.h"

namespace store {

struct DeadRuns {
  std::size_t runs = 0;
  std::size_t sessions = 0;
};

// Ends the runs whose process is gone as failed; what they announced and never committed is then among
// `Catalog::ListDeleted`, to be deleted. Closes sessions whose owner is gone, and the jobs in them, as
// failed. Forgets how far others had come whose
// process is gone.
Status EndDeadRuns(Catalog& catalog, Place& place, DeadRuns& dead);

// The runs under way whose process is alive, or may be on another machine.
Status ListLiveProgress(Catalog& catalog, Place& place, std::vector<RunProgress>& runs);

}  // namespace store
