#include "store/dead_runs.h"

#include <algorithm>

#include "platform/data_file.h"

namespace store {
namespace {

// An older catalog that was put back takes for unfinished what has long been confirmed.
Status CheckEnd(const ObjectShelf& shelf, const Saveset& saveset) {
  std::optional<std::int64_t> items;
  const Status read = ReadSavesetEnd(shelf, saveset.uid, items);
  if (read.What() == Status::Kind::kMissing || (read && (!items || *items == saveset.items))) {
    return {};
  }
  if (!read) {
    return IsDamage(read) ? Status::Damaged(read.Message() + ": make the catalog anew with `korvo rebuild`")
                          : read;
  }
  return Status::Damaged("the catalog is older than the packs (saveset " + saveset.name + " ended with " +
                         std::to_string(*items) + " items, and it knows of " + std::to_string(saveset.items) +
                         "): nothing is deleted; make it anew with `korvo rebuild`");
}

// `saveset` gets the one of the run. If the run was alive after all, and ended while this looked, row and
// object are not of the same moment; the second look is.
Status CheckEndOf(Catalog& catalog, const ObjectShelf& shelf, const Uid& run,
                  std::optional<Saveset>& saveset) {
  Status checked;
  for (int look = 0; look < 2; ++look) {
    if (Status found = catalog.FindSavesetOfRun(run, saveset); !found || !saveset) {
      return found;
    }
    checked = CheckEnd(shelf, *saveset);
    if (checked) {
      break;
    }
  }
  return checked;
}

Status EndRunIfGone(Catalog& catalog, const ObjectShelf& shelf, const Run& run, std::int64_t now,
                    DeadRuns& dead) {
  bool gone = false;
  bool ended = false;
  std::optional<Saveset> saveset;
  if (Status asked = IsRunOver(catalog, shelf.place, run, now, gone); !asked || !gone) {
    return asked;
  }
  if (Status checked = CheckEndOf(catalog, shelf, run.uid, saveset); !checked) {
    return checked;
  }
  if (Status done = catalog.EndRun(run.uid, Mover::kEndedFailed,
                                   "the data mover was killed, or its machine stopped", ended);
      !done) {
    return done;
  }
  dead.runs += ended ? 1U : 0U;
  // Without this note a rebuild is only more careful.
  if (ended && saveset && shelf.keys.CanSave()) {
    Ignore(NoteEnd(catalog, shelf, saveset->uid, Mover::kEndedFailed));
  }
  // Last of all: by this object the run is found to be gone.
  return shelf.place.Delete(RunObject(run.uid));
}

// For work that tells its progress, but has no run whose lock could be asked. If it is on another machine,
// the time of its last report decides.
bool IsGone(const RunProgress& run, std::int64_t now) {
  constexpr std::int64_t kLongSilence = 600;
  const Process& process = run.process;
  const platform::Running running =
      platform::IsRunning({process.host, static_cast<int>(process.number), process.started});
  return running == platform::Running::kNo ||
         (running == platform::Running::kCannotTell && now - run.told > kLongSilence);
}

// The owner may be deleting savesets of a session that a person opened.
Status NoteOne(Catalog& catalog, const ObjectShelf& shelf, const Uid& saveset, std::int64_t time) {
  Status put = PutBackupFailed(shelf, saveset, time);
  return put ? DeleteIfForgotten(catalog, shelf, saveset) : put;
}

Status CloseAsFailed(Catalog& catalog, const ObjectShelf& shelf, const Session& session, DeadRuns& dead) {
  // After its row was read, and before its process was looked for, the process may have closed it as good.
  std::optional<Session> now;
  Status done = catalog.FindSession(session.id, now);
  if (!done || !now || now->closed) {
    return done;
  }
  if (session.mode == Mode::kBackup) {
    done = NoteBackupFailed(catalog, shelf, session.id);
  }
  if (done) {
    ++dead.sessions;
    done = catalog.CloseSession(session.id, State::kFailed);
  }
  return done;
}

platform::Running IsOwnerRunning(const Session& session) {
  const Process& owner = session.owner;
  return platform::IsRunning({owner.host, static_cast<int>(owner.number), owner.started});
}

Status CloseSessionIfGone(Catalog& catalog, const ObjectShelf& shelf, const Session& session,
                          DeadRuns& dead) {
  return IsOwnerRunning(session) == platform::Running::kNo ? CloseAsFailed(catalog, shelf, session, dead)
                                                           : Status();
}

Status ForgetGone(Catalog& catalog) {
  std::vector<RunProgress> told;
  std::int64_t now = 0;
  if (Status listed = catalog.ListProgress(told); !listed || told.empty()) {
    return listed;
  }
  if (Status asked = catalog.Now(now); !asked) {
    return asked;
  }
  for (const RunProgress& run : told) {
    if (run.tool != RunProgress::kSavingTool && IsGone(run, now)) {
      if (Status forgotten = catalog.ForgetProgress(run.uid); !forgotten) {
        return forgotten;
      }
    }
  }
  return {};
}

Status ListForgotten(Catalog& catalog, std::vector<Session>& sessions) {
  std::int64_t now = 0;
  Status told = catalog.Now(now);
  return told ? catalog.ListForgottenSessions(platform::ProcessSpace(), now - kSessionLease, sessions) : told;
}

Status CloseForgottenSessions(Catalog& catalog, const ObjectShelf& shelf, DeadRuns& dead) {
  std::vector<Session> sessions;
  if (Status listed = ListForgotten(catalog, sessions); !listed) {
    return listed;
  }
  for (const Session& session : sessions) {
    if (Status closed = CloseAsFailed(catalog, shelf, session, dead); !closed) {
      return closed;
    }
  }
  return {};
}

}  // namespace

Status DeleteIfForgotten(Catalog& catalog, const ObjectShelf& shelf, const Uid& saveset) {
  bool known = false;
  Status asked = catalog.HasSavesetRow(saveset, known);
  return asked && !known ? DeleteSavesetObjects(shelf.place, saveset) : asked;
}

Status IsRunOver(const Catalog& catalog, Place& place, const Run& run, std::int64_t now, bool& over) {
  Status asked = place.IsRunGone(run.uid, over);
  over = over || (catalog.IsShared() && now - run.seen > kRunLease);
  return asked;
}

namespace {

// For a mover, which holds a lock and has a row in `run` as long as it is alive.
Status IsMoverGone(const Catalog& catalog, Place& place, const std::vector<Run>& runs, const Uid& uid,
                   std::int64_t now, bool& gone) {
  const auto run = std::find_if(runs.begin(), runs.end(), [&uid](const Run& one) { return one.uid == uid; });
  return run == runs.end() ? place.IsRunGone(uid, gone) : IsRunOver(catalog, place, *run, now, gone);
}

}  // namespace

Status ListLiveProgress(Catalog& catalog, Place& place, std::vector<RunProgress>& progress) {
  std::int64_t now = 0;
  std::vector<Run> runs;
  Status asked = catalog.Now(now);
  if (asked) {
    asked = catalog.ListRuns(runs);
  }
  if (asked) {
    asked = catalog.ListProgress(progress);
  }
  if (!asked) {
    return asked;
  }
  std::erase_if(progress, [&](const RunProgress& one) {
    bool gone = one.tool != RunProgress::kSavingTool && IsGone(one, now);
    if (asked && one.tool == RunProgress::kSavingTool) {
      asked = IsMoverGone(catalog, place, runs, one.uid, now, gone);
    }
    return gone;
  });
  return asked;
}

Status NoteEnd(Catalog& catalog, const ObjectShelf& shelf, const Uid& saveset, Mover mover) {
  std::int64_t now = 0;
  std::optional<Saveset> ended;
  Status done = catalog.Now(now);
  if (done) {
    done = catalog.FindSavesetByUid(saveset, ended);
  }
  if (!done || !ended) {
    return done;
  }
  done = PutSavesetEnd(shelf, saveset, mover, ended->items, now);
  return done ? DeleteIfForgotten(catalog, shelf, saveset) : done;
}

Status NoteBackupFailed(Catalog& catalog, const ObjectShelf& shelf, std::int64_t session) {
  std::vector<Uid> savesets;
  std::int64_t now = 0;
  if (!shelf.keys.CanSave()) {
    return {};
  }
  Status done = catalog.ListSavesetsOfSession(session, savesets);
  if (done) {
    done = catalog.Now(now);
  }
  for (auto saveset = savesets.begin(); done && saveset != savesets.end(); ++saveset) {
    done = NoteOne(catalog, shelf, *saveset, now);
  }
  return done.What() == Status::Kind::kNoRoom ? Status() : done;
}

Status ListBrokenBackups(Catalog& catalog, std::vector<Session>& broken, bool& alive) {
  std::vector<Session> owned;
  Status done = catalog.ListForgottenSessions(platform::ProcessSpace(), INT64_MAX, broken);
  if (done) {
    done = catalog.ListOwnedSessions(platform::ProcessSpace(), owned);
  }
  alive = false;
  for (const Session& session : owned) {
    const platform::Running running = IsOwnerRunning(session);
    alive = alive || (running != platform::Running::kNo && session.mode == Mode::kBackup);
    if (running == platform::Running::kNo) {
      broken.push_back(session);
    }
  }
  std::erase_if(broken, [](const Session& session) { return session.mode != Mode::kBackup; });
  return done;
}

namespace {

// A run that cannot be ended now keeps no other from it, unless the catalog cannot be relied on.
Status EndRunsThatAreGone(Catalog& catalog, const ObjectShelf& shelf, DeadRuns& dead) {
  std::vector<Run> runs;
  std::int64_t now = 0;
  Status done = catalog.ListRuns(runs);
  if (done) {
    done = catalog.Now(now);
  }
  if (!done) {
    return done;
  }
  for (const Run& run : runs) {
    Status ended = EndRunIfGone(catalog, shelf, run, now, dead);
    if (IsDamage(ended)) {
      return ended;
    }
    done = done ? ended : done;
  }
  return done;
}

Status CloseSessionsThatAreGone(Catalog& catalog, const ObjectShelf& shelf, DeadRuns& dead) {
  std::vector<Session> sessions;
  if (Status listed = catalog.ListOwnedSessions(platform::ProcessSpace(), sessions); !listed) {
    return listed;
  }
  for (const Session& session : sessions) {
    if (Status closed = CloseSessionIfGone(catalog, shelf, session, dead); !closed) {
      return closed;
    }
  }
  return CloseForgottenSessions(catalog, shelf, dead);
}

}  // namespace

Status EndDeadRuns(Catalog& catalog, const ObjectShelf& shelf, DeadRuns& dead) {
  const Status ended = EndRunsThatAreGone(catalog, shelf, dead);
  if (IsDamage(ended)) {
    return ended;
  }
  Status done = ForgetGone(catalog);
  if (done) {
    done = CloseSessionsThatAreGone(catalog, shelf, dead);
  }
  return ended ? done : ended;
}

}  // namespace store
