// Sessions, their jobs, and the savesets that backup jobs begin.
#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

Process ReadProcess(const SqlRow& row, int first) {
  return {std::string(row.Bytes(first)), row.Number(first + 1), std::string(row.Bytes(first + 2))};
}

Status FreeName(Catalog::Inside& inside, const std::string& proposed, std::string& name) {
  name = proposed;
  for (int number = 2;; ++number) {
    bool taken = false;
    if (Status looked = inside.Exists("SELECT id FROM saveset WHERE name = $1", {name}, taken);
        !looked || !taken) {
      return looked;
    }
    name = proposed + "_" + std::to_string(number);
    if (name.size() > kSavesetNameWidth) {
      return Status::Failed("no free saveset name is left for " + proposed + ": wait a second and try again");
    }
  }
}

// The first saveset of the session; all later ones keep its uid in `together`. Within a transaction.
Status FirstOfSession(Catalog::Inside& inside, std::int64_t session, const Uid& saveset, Uid& first) {
  first = saveset;
  return inside.engine->Run(
      "SELECT s.together FROM job j JOIN saveset s ON s.id = j.saveset WHERE j.session = $1 AND j.mode = 0 "
      "ORDER BY j.id LIMIT 1",
      {session}, [&first](const SqlRow& row) {
        return Uid::FromBytes(row.Bytes(0), first) ? Status() : DamagedRow("the session of a saveset");
      });
}

// Within a transaction.
Status AddJob(Catalog::Inside& inside, const NewJob& job, std::int64_t saveset, std::int64_t now) {
  std::int64_t id = 0;
  if (Status counted = inside.Count("job", id); !counted) {
    return counted;
  }
  return inside.Run(
      "INSERT INTO job(id, session, saveset, mode, name, pool, opened) "
      "VALUES($1, $2, $3, $4, $5, $6, $7)",
      {id, job.session, saveset, static_cast<int>(job.mode), job.name, job.pool, now});
}

}  // namespace

Status Catalog::AddSession(Mode mode, std::string_view client, const Process& owner, std::int64_t& id) {
  return inside_->Transact([&] {
    std::int64_t now = 0;
    if (Status told = Now(now); !told) {
      return told;
    }
    if (Status counted = inside_->Count("session", id); !counted) {
      return counted;
    }
    return inside_->Run(
        "INSERT INTO session(id, mode, client, host, process, started, opened) "
        "VALUES($1, $2, $3, $4, $5, $6, $7)",
        {id, static_cast<int>(mode), client, owner.host, owner.number, owner.started, now});
  });
}

Status Catalog::FindSession(std::int64_t id, std::optional<Session>& session) {
  session.reset();
  return inside_->engine->Run(
      "SELECT mode, closed, host, process, started FROM session WHERE id = $1", {id}, [&](const SqlRow& row) {
        session = Session{id, static_cast<Mode>(row.Number(0)), !row.IsNull(1), ReadProcess(row, 2)};
        return Status();
      });
}

Status Catalog::CloseSession(std::int64_t id, State state) {
  return inside_->Transact([&] {
    std::int64_t now = 0;
    if (Status told = Now(now); !told) {
      return told;
    }
    // The process that is gone may have closed it well just after somebody saw it open: that stays.
    if (Status closed =
            inside_->Run("UPDATE session SET closed = $1, state = $2 WHERE id = $3 AND closed IS NULL",
                         {now, static_cast<int>(state), id});
        !closed) {
      return closed;
    }
    // If its caller never closed a job, that says nothing about the saveset; the job is only no longer open.
    return inside_->Run("UPDATE job SET closed = $1 WHERE session = $2 AND closed IS NULL", {now, id});
  });
}

Status Catalog::ListSavesetsOfSession(std::int64_t id, std::vector<Uid>& savesets) {
  return inside_->ListUids(
      "SELECT s.uid FROM job j JOIN saveset s ON s.id = j.saveset WHERE j.session = $1 AND j.mode = 0 AND "
      "s.mover <> 0 ORDER BY j.id",
      {id}, savesets);
}

Status Catalog::ListOwnedSessions(std::string_view host, std::vector<Session>& sessions) {
  sessions.clear();
  return inside_->engine->Run(
      "SELECT id, mode, host, process, started FROM session WHERE closed IS NULL AND host = $1 AND process "
      "<> 0",
      {host}, [&sessions](const SqlRow& row) {
        sessions.push_back({row.Number(0), static_cast<Mode>(row.Number(1)), false, ReadProcess(row, 2)});
        return Status();
      });
}

Status Catalog::ListForgottenSessions(std::string_view host, std::int64_t since,
                                      std::vector<Session>& sessions) {
  sessions.clear();
  return inside_->engine->Run(
      "SELECT id, mode, host, process, started FROM session WHERE closed IS NULL AND process <> 0 AND host "
      "<> "
      "$1 AND opened < $2 AND NOT EXISTS(SELECT 1 FROM job j WHERE j.session = session.id AND (j.opened >= "
      "$2 "
      "OR j.closed >= $2 OR EXISTS(SELECT 1 FROM run r WHERE r.saveset = j.saveset)))",
      {host, since}, [&sessions](const SqlRow& row) {
        sessions.push_back({row.Number(0), static_cast<Mode>(row.Number(1)), false, ReadProcess(row, 2)});
        return Status();
      });
}

Status Catalog::ListFailedBackups(std::vector<std::int64_t>& sessions) {
  return inside_->ListNumbers("SELECT id FROM session WHERE mode = 0 AND closed IS NOT NULL AND state = 3",
                              {}, sessions);
}

Status Catalog::OpenBackupJob(const NewJob& job, Saveset& saveset) {
  const std::string proposed = saveset.name;
  return inside_->Transact([&] {
    std::int64_t family = 0;
    if (Status free = FreeName(*inside_, proposed, saveset.name); !free) {
      return free;
    }
    if (Status told = Now(saveset.created); !told) {
      return told;
    }
    if (Status counted = inside_->Count("saveset", saveset.id); !counted) {
      return counted;
    }
    if (Status found = inside_->FamilyOf(saveset.database, job.pool, family); !found) {
      return found;
    }
    saveset.pool = job.pool;
    if (Status found = FirstOfSession(*inside_, job.session, saveset.uid, saveset.together); !found) {
      return found;
    }
    if (Status added = inside_->AddSaveset(saveset, saveset.id, family); !added) {
      return added;
    }
    return AddJob(*inside_, job, saveset.id, saveset.created);
  });
}

Status Catalog::OpenRestoreJob(const NewJob& job, std::int64_t saveset) {
  return inside_->Transact([&] {
    std::int64_t now = 0;
    if (Status told = Now(now); !told) {
      return told;
    }
    return AddJob(*inside_, job, saveset, now);
  });
}

Status Catalog::HasOpenJob(std::int64_t saveset, Mode mode, bool& open) {
  return inside_->Exists("SELECT id FROM job WHERE saveset = $1 AND mode = $2 AND closed IS NULL LIMIT 1",
                         {saveset, static_cast<int>(mode)}, open);
}

Status Catalog::CloseJob(std::int64_t session, std::int64_t saveset, State state, bool& found) {
  return inside_->Transact([&] {
    std::int64_t now = 0;
    if (Status told = Now(now); !told) {
      return told;
    }
    std::optional<std::int64_t> mode;
    Status closed = inside_->FindNumber(
        "UPDATE job SET closed = $1, state = $2 WHERE id = (SELECT max(id) FROM job "
        "WHERE session = $3 AND saveset = $4 AND closed IS NULL) RETURNING mode",
        {now, static_cast<int>(state), session, saveset}, mode);
    found = mode.has_value();
    if (!closed || !found || *mode != static_cast<int>(Mode::kBackup) || state == State::kGood) {
      return closed;
    }
    return inside_->Run(state == State::kFailed ? "UPDATE saveset SET failed = 1 WHERE id = $1"
                                                : "UPDATE saveset SET warnings = 1 WHERE id = $1",
                        {saveset});
  });
}

}  // namespace store
