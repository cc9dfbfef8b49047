// What killed programs left: runs that will never end, and sessions that nobody will close. They are found by
// their rows in the catalog, not by their age.
#pragma once

#include "store/catalog/catalog.h"
#include "store/place/place.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// In a catalog that many hosts share nobody can look at another host's processes. A run says every so many
// seconds that it is alive; one that has not for so long is over, whatever it does. It finds out at its next
// transaction.
inline constexpr std::int64_t kRunSaysSo = 30;
inline constexpr std::int64_t kRunLease = 10 * 60;
// A session of another host in which nothing was done for so long; a restore may take days.
inline constexpr std::int64_t kSessionLease = 7 * 24 * 3600;

struct DeadRuns {
  std::size_t runs = 0;
  std::size_t sessions = 0;
};

// Whether nothing more may come of the run. `now` by the catalog's clock.
Status IsRunOver(const Catalog& catalog, Place& place, const Run& run, std::int64_t now, bool& over);

// Ends the runs whose process is gone as failed; what they announced and never committed is then among
// `Catalog::ListDeleted`, to be deleted. Closes sessions whose owner is gone, and the jobs in them, as
// failed. Forgets how far others had come whose process is gone.
Status EndDeadRuns(Catalog& catalog, const ObjectShelf& shelf, DeadRuns& dead);

// That the backup of this session failed, as an object beside each of its savesets, so that a rebuild knows
// it too. To be called before the session is closed. It goes without on a full disk, and where the savers'
// secret is missing.
Status NoteBackupFailed(Catalog& catalog, const ObjectShelf& shelf, std::int64_t session);

// For a rebuild: the backups of an old catalog that nobody can close well any more. Those are the open ones
// whose process is gone, and the open ones of other hosts in which no mover runs: the new catalog knows no
// session. `alive` if a program on this host is, or may be, at work in another one.
Status ListBrokenBackups(Catalog& catalog, std::vector<Session>& broken, bool& alive);

// The runs under way whose process is alive, or may be on another machine.
Status ListLiveProgress(Catalog& catalog, Place& place, std::vector<RunProgress>& progress);

}  // namespace store
