#include "store/rebuild/old_catalog.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "store/dead_runs.h"
#include "store/saveset_objects.h"

namespace store {
namespace {

// For a catalog that many hosts share: its runs say there that they are alive.
Status RefuseRuns(Catalog& old, Place& place) {
  std::vector<Run> runs;
  std::int64_t now = 0;
  Status done = PassIfLost(old.ListRuns(runs));
  if (done && !runs.empty()) {
    done = old.Now(now);
  }
  for (auto run = runs.begin(); done && run != runs.end(); ++run) {
    bool over = false;
    done = IsRunOver(old, place, *run, now, over);
    if (done && !over) {
      done = Status::Failed("a backup is running on " + run->process.host +
                            ", or was killed there a few minutes ago: wait for its end, then call again");
    }
  }
  return done;
}

// The old catalog may know savesets that were deleted since: they have no objects any more, and get none.
Status PutFailedIfMissing(const ObjectShelf& shelf, const Uid& saveset, std::int64_t now) {
  std::optional<std::uint64_t> begin;
  std::optional<std::uint64_t> failed;
  Status done = shelf.place.Size(SavesetObject(saveset, "begin"), begin);
  if (done && begin) {
    done = shelf.place.Size(SavesetObject(saveset, "failed"), failed);
  }
  return done && begin && !failed ? PutBackupFailed(shelf, saveset, now) : done;
}

// Puts the object of sessions that have failed where it is missing: the disk was full, or the secret was not
// there.
Status TakeFailed(Catalog& old, const ObjectShelf& shelf) {
  std::vector<std::int64_t> failed;
  std::int64_t now = 0;
  Status done = PassIfLost(old.ListFailedBackups(failed));
  if (done && !failed.empty()) {
    done = old.Now(now);
  }
  for (auto session = failed.begin(); done && session != failed.end(); ++session) {
    std::vector<Uid> savesets;
    done = PassIfLost(old.ListSavesetsOfSession(*session, savesets));
    for (auto saveset = savesets.begin(); done && saveset != savesets.end(); ++saveset) {
      done = PutFailedIfMissing(shelf, *saveset, now);
    }
  }
  return done;
}

// The new catalog knows no sessions. So what the open ones mean has to be put into objects before.
Status TakeSessions(Catalog& old, const ObjectShelf& shelf) {
  std::vector<Session> broken;
  bool alive = false;
  Status done = PassIfLost(ListBrokenBackups(old, broken, alive));
  if (done && alive) {
    return Status::Failed("a backup is not over: wait for the end of backint, then call again");
  }
  for (auto session = broken.begin(); done && session != broken.end(); ++session) {
    // After its row was read, and before its process was looked for, the process may have closed it as good.
    std::optional<Session> now;
    done = PassIfLost(old.FindSession(session->id, now));
    if (done && now && !now->closed) {
      done = NoteBackupFailed(old, shelf, session->id);
      done = IsDamage(done) ? Status() : done;
    }
  }
  return done;
}

Status TakePacks(Catalog& old, std::optional<std::vector<PackFacts>>& packs) {
  std::vector<PackFacts> known;
  const Status listed = old.ListPacks(known);
  if (listed) {
    packs = std::move(known);
  }
  return PassIfLost(listed);
}

}  // namespace

Status LookAtOld(CatalogHome& home, const ObjectShelf& shelf, std::optional<std::vector<PackFacts>>& packs) {
  std::unique_ptr<SqlEngine> engine;
  Uid other;
  if (Status connected = home.ConnectOld(engine); !connected) {
    return PassIfLost(connected);
  }
  if (IsOfAnother(*engine, shelf.repository, other)) {
    return engine->IsShared()
               ? Status::Failed("the catalog that the configuration names is another repository's (" +
                                other.Hex() + "): let catalog_schema name another schema")
               : Status();
  }
  const bool shared = engine->IsShared();
  Catalog old(std::move(engine), shelf.repository);
  Status done = shared ? RefuseRuns(old, shelf.place) : Status();
  if (done) {
    done = TakeSessions(old, shelf);
  }
  if (done) {
    done = TakeFailed(old, shelf);
  }
  return done ? TakePacks(old, packs) : done;
}

}  // namespace store
