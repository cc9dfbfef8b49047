// Runs of the mover, and the packs that they are about to write.
#include "store/base/time.h"
#include "store/catalog/catalog_inside.h"

namespace store {
namespace {

// Notes that the run is alive; within a transaction. No saveset if there is no such run, or if it is being
// ended.
Status See(Catalog::Inside& inside, const Uid& run, std::optional<std::int64_t>& saveset) {
  std::int64_t now = 0;
  if (Status told = inside.engine->Now(now); !told) {
    return told;
  }
  return inside.FindNumber(
      "UPDATE run SET seen = $1 WHERE uid = $2 AND "
      "(SELECT mover FROM saveset WHERE saveset.id = run.saveset) = 1 RETURNING saveset",
      {now, run.Bytes()}, saveset);
}

// From here on the run can commit nothing more, even if it is alive after all.
Status Stop(Catalog::Inside& inside, const Uid& run, std::int64_t saveset) {
  return inside.Transact([&] {
    bool there = false;
    Status done = inside.Exists("SELECT 1 FROM run WHERE uid = $1", {run.Bytes()}, there);
    if (!done || !there) {
      return done;
    }
    done = inside.Run("UPDATE saveset SET mover = 3 WHERE id = $1", {saveset});
    return done ? inside.Run("UPDATE pack SET state = 3 WHERE saveset = $1 AND state = 0", {saveset}) : done;
  });
}

// Whether the run is still there to be ended; one that ends well must not have been stopped.
Status IsToBeEnded(Catalog::Inside& inside, const Uid& run, Mover mover, bool& is) {
  return inside.Exists(mover == Mover::kEndedClean
                           ? "SELECT 1 FROM run JOIN saveset s ON s.id = run.saveset WHERE run.uid = $1 AND "
                             "s.mover = 1"
                           : "SELECT 1 FROM run WHERE uid = $1",
                       {run.Bytes()}, is);
}

}  // namespace

Status Catalog::BeginRun(const Run& run, bool& claimed) {
  return inside_->Transact([&](bool& keep) {
    if (Status updated = inside_->Run(
            "UPDATE saveset SET mover = 1 WHERE id = $1 AND mover = 0 AND deleting = 0", {run.saveset});
        !updated) {
      return updated;
    }
    claimed = keep = inside_->engine->Changed() == 1;
    if (!claimed) {
      return Status();
    }
    std::int64_t now = 0;
    if (Status told = Now(now); !told) {
      return told;
    }
    return inside_->Run(
        "INSERT INTO run(uid, saveset, host, process, started, seen) VALUES($1, $2, $3, $4, $5, $6)",
        {run.uid.Bytes(), run.saveset, run.process.host, run.process.number, run.process.started, now});
  });
}

Status Catalog::EndRun(const Uid& run, Mover mover, const std::string& reason) {
  bool ended = false;
  Status done = EndRun(run, mover, reason, ended);
  return done && !ended && mover == Mover::kEndedClean ? Status::Failed(kTakenForDead) : done;
}

Status Catalog::EndRun(const Uid& run, Mover mover, const std::string& reason, bool& ended) {
  std::optional<std::int64_t> saveset;
  ended = false;
  if (Status found = inside_->FindNumber("SELECT saveset FROM run WHERE uid = $1", {run.Bytes()}, saveset);
      !found || !saveset) {
    return found;
  }
  if (Status stopped = mover == Mover::kEndedFailed ? Stop(*inside_, run, *saveset) : Status(); !stopped) {
    return stopped;
  }
  // Takes back the directories that it did not complete.
  std::vector<std::int64_t> unfinished;
  if (Status listed =
          inside_->ListNumbers("SELECT directory FROM unfinished WHERE saveset = $1", {*saveset}, unfinished);
      !listed) {
    return listed;
  }
  for (const std::int64_t directory : unfinished) {
    std::vector<Uid> packs;
    if (Status dropped = inside_->TakeItemsOut(*saveset, directory, packs); !dropped) {
      return dropped;
    }
  }
  return inside_->Transact([&] {
    if (Status asked = IsToBeEnded(*inside_, run, mover, ended); !asked || !ended) {
      return asked;
    }
    for (const char* statement : {"UPDATE pack SET state = 3 WHERE saveset = $1 AND state = 0",
                                  "DELETE FROM unfinished WHERE saveset = $1"}) {
      if (Status done = inside_->Run(statement, {*saveset}); !done) {
        return done;
      }
    }
    if (Status named = inside_->NameUnneededPacks(*saveset); !named) {
      return named;
    }
    std::int64_t now = 0;
    if (Status told = Now(now); !told) {
      return told;
    }
    if (Status noted = inside_->Run("UPDATE saveset SET mover = $1, ended = $2, reason = $3 WHERE id = $4",
                                    {static_cast<int>(mover), now, reason, *saveset});
        !noted) {
      return noted;
    }
    if (Status forgotten = inside_->Run("DELETE FROM progress WHERE uid = $1", {run.Bytes()}); !forgotten) {
      return forgotten;
    }
    return inside_->Run("DELETE FROM run WHERE uid = $1", {run.Bytes()});
  });
}

Status Catalog::ListRuns(std::vector<Run>& runs) {
  runs.clear();
  return inside_->engine->Run(
      "SELECT uid, saveset, host, process, started, seen FROM run", {}, [&runs](const SqlRow& row) {
        Run& run = runs.emplace_back();
        run.saveset = row.Number(1);
        run.process = {std::string(row.Bytes(2)), row.Number(3), std::string(row.Bytes(4))};
        run.seen = row.Number(5);
        return Uid::FromBytes(row.Bytes(0), run.uid) && IsTime(run.seen) ? Status() : DamagedRow("a run");
      });
}

Status Catalog::SeeRun(const Uid& run, bool& there) {
  return inside_->Transact([&] {
    std::optional<std::int64_t> saveset;
    Status seen = See(*inside_, run, saveset);
    there = saveset.has_value();
    return seen;
  });
}

Status Catalog::AnnouncePack(const Uid& run, const Uid& pack) {
  return inside_->Transact([&] {
    std::optional<std::int64_t> saveset;
    if (Status seen = See(*inside_, run, saveset); !seen) {
      return seen;
    }
    if (!saveset) {
      return Status::Failed(kTakenForDead);
    }
    std::int64_t id = 0;
    if (Status counted = inside_->Count("pack", id); !counted) {
      return counted;
    }
    Status announced =
        inside_->Run("INSERT INTO pack(id, uid, saveset, state, size) VALUES($1, $2, $3, 0, 0)",
                     {id, pack.Bytes(), *saveset});
    return announced ? inside_->TellInPassing() : announced;
  });
}

Status Catalog::ForgetAnnounced(const std::vector<Uid>& packs) {
  return inside_->Transact([&] {
    for (const Uid& pack : packs) {
      if (Status gone = inside_->Run("DELETE FROM pack WHERE uid = $1 AND state IN (0, 3)", {pack.Bytes()});
          !gone) {
        return gone;
      }
    }
    return Status();
  });
}

}  // namespace store
