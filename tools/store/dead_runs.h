// What killed programs left: runs that will never end, and sessions that nobody will close. They are found by
// their rows in the catalog. Whether they are alive is told by locks and processes, and, where they may be on
// another host, by the time of their last sign of life.
#pragma once

#include "store/catalog/catalog.h"
#include "store/place/place.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// In a catalog that many hosts share, nobody can look at another host's processes. So a run says every
// kRunSaysSo seconds that it is alive. If it did not for kRunLease seconds, it is over, even if its process
// is alive: it finds that out at its next transaction.
inline constexpr std::int64_t kRunSaysSo = 30;
inline constexpr std::int64_t kRunLease = 10 * 60;
// A session of another host is over when nothing was done in it for so many seconds; a restore may take days.
inline constexpr std::int64_t kSessionLease = 7 * 24 * 3600;

struct DeadRuns {
  std::size_t runs = 0;
  std::size_t sessions = 0;
};

// Whether nothing more can come of the run. `now`: seconds since 1970 by the catalog's clock.
Status IsRunOver(const Catalog& catalog, Place& place, const Run& run, std::int64_t now, bool& over);

// Ends the runs whose process is gone as failed. What they announced and never committed is then in the list
// of `Catalog::ListDeleted`, to be deleted. kDamaged if the objects tell that such a run ended with other
// items: then the catalog is older than they are, and what it takes for never committed may be needed. Closes
// sessions whose owner is gone as failed, and the jobs in them. Deletes the progress rows of other work whose
// process is gone.
Status EndDeadRuns(Catalog& catalog, const ObjectShelf& shelf, DeadRuns& dead);

// To be called when an object of the saveset was put: objects are deleted after the rows, so one that was put
// after the row had gone is deleted here.
Status DeleteIfForgotten(Catalog& catalog, const ObjectShelf& shelf, const Uid& saveset);

// Notes how the mover ended and how many items came, as an object beside the saveset, so that a rebuild knows
// it too. After a rebuild, a saveset without this note counts as failed, and what it lacks is not told. To be
// called before a good end is committed, and after a bad one. A saveset that is deleted meanwhile gets none.
Status NoteEnd(Catalog& catalog, const ObjectShelf& shelf, const Uid& saveset, Mover mover);

// Notes that the backup of this session failed, as an object beside each of its savesets, so that a rebuild
// knows it too. To be called before the session is closed. Where the disk is full or the savers' secret is
// missing, the objects are left out, and that is no failure.
Status NoteBackupFailed(Catalog& catalog, const ObjectShelf& shelf, std::int64_t session);

// For a rebuild: the backups of an old catalog that nobody can close well any more. Those are the open ones
// whose process is gone, and the open ones of other hosts in which no mover runs: the new catalog knows no
// session. `alive` if a program on this host is, or may be, at work in another one.
Status ListBrokenBackups(Catalog& catalog, std::vector<Session>& broken, bool& alive);

// The runs under way whose process is alive, or may be alive on another machine.
Status ListLiveProgress(Catalog& catalog, Place& place, std::vector<RunProgress>& progress);

}  // namespace store
