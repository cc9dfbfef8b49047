#include "store/catalog/catalog.h"

#include <algorithm>

#include "platform/platform.h"
#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

// How often an aborted transaction is begun again before the failure is reported.
constexpr int kMostRepetitions = 200;
constexpr std::uint32_t kMostMilliseconds = 50;

constexpr std::string_view kCounters[] = {"session", "job", "saveset", "family", "pack"};

}  // namespace

// ---- What all operations use -----------------------------------------------------------------------------

Status Catalog::Inside::Transact(const Body& body) {
  for (int repetition = 1;; ++repetition) {
    bool keep = true;
    Status done = engine->Begin();
    if (done) {
      done = body(keep);
      if (done && keep) {
        done = engine->Commit();
      }
      if (!done || !keep) {
        engine->Rollback();
      }
    }
    if (done.What() != Status::Kind::kConflict || repetition == kMostRepetitions) {
      return done;
    }
    platform::SleepMilliseconds(
        std::min<std::uint32_t>(static_cast<std::uint32_t>(repetition), kMostMilliseconds));
  }
}

Status Catalog::Inside::Transact(const std::function<Status()>& body) {
  return Transact([&body](bool& /*keep*/) { return body(); });
}

Status Catalog::Inside::FindNumber(const std::string& text, const std::vector<SqlValue>& values,
                                   std::optional<std::int64_t>& number) {
  number.reset();
  return engine->Run(text, values, [&number](const SqlRow& row) {
    if (!number) {
      number = row.Number(0);
    }
    return Status();
  });
}

Status Catalog::Inside::Exists(const std::string& text, const std::vector<SqlValue>& values, bool& exists) {
  std::optional<std::int64_t> number;
  Status found = FindNumber(text, values, number);
  exists = number.has_value();
  return found;
}

Status Catalog::Inside::ListNumbers(const std::string& text, const std::vector<SqlValue>& values,
                                    std::vector<std::int64_t>& numbers) {
  numbers.clear();
  return engine->Run(text, values, [&numbers](const SqlRow& row) {
    numbers.push_back(row.Number(0));
    return Status();
  });
}

Status Catalog::Inside::ListUids(const std::string& text, const std::vector<SqlValue>& values,
                                 std::vector<Uid>& uids) {
  uids.clear();
  return engine->Run(text, values, [&uids](const SqlRow& row) {
    return Uid::FromBytes(row.Bytes(0), uids.emplace_back()) ? Status() : DamagedRow("an id");
  });
}

Status Catalog::Inside::Count(std::string_view counter, std::int64_t& number) {
  std::optional<std::int64_t> next;
  Status counted =
      FindNumber("UPDATE counter SET value = value + 1 WHERE name = $1 RETURNING value", {counter}, next);
  if (counted && !next) {
    return DamagedRow("a counter");
  }
  number = next.value_or(0);
  return counted;
}

Status Catalog::Inside::FamilyOf(std::string_view database, std::string_view pool, std::int64_t& family) {
  std::optional<std::int64_t> found;
  if (Status looked =
          FindNumber("SELECT id FROM family WHERE name = $1 AND pool = $2", {database, pool}, found);
      !looked || found) {
    family = found.value_or(0);
    return looked;
  }
  if (Status counted = Count("family", family); !counted) {
    return counted;
  }
  return Run("INSERT INTO family(id, name, pool) VALUES($1, $2, $3)", {family, database, pool});
}

Status Catalog::Inside::AddSaveset(const Saveset& saveset, std::int64_t id, std::int64_t family) {
  Status added = Run(
      "INSERT INTO saveset(id, uid, name, family, created, mover, ended, reason, failed, warnings, items, "
      "bytes, together, protected, deleting) VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, 0, 0, $11, $12, "
      "0)",
      {id, saveset.uid.Bytes(), saveset.name, family, saveset.created, static_cast<int>(saveset.mover),
       saveset.ended ? SqlValue(*saveset.ended) : SqlValue(nullptr), saveset.reason, saveset.failed,
       saveset.warnings, saveset.together.Bytes(), saveset.isProtected});
  return added && saveset.sessionFailed ? AddFailedSession(saveset, id) : added;
}

// Each saveset gets a session of its own: which of them were in one session is told by `together`.
Status Catalog::Inside::AddFailedSession(const Saveset& saveset, std::int64_t id) {
  std::int64_t session = 0;
  std::int64_t job = 0;
  const std::int64_t time = saveset.ended.value_or(saveset.created);
  const int backup = static_cast<int>(Mode::kBackup);
  const std::string none;
  Status added = Count("session", session);
  if (added) {
    added = Count("job", job);
  }
  if (added) {
    added = Run(
        "INSERT INTO session(id, mode, client, host, process, started, opened, closed, state) VALUES($1, $2, "
        "$3, $3, 0, $3, $4, $5, $6)",
        {session, backup, none, saveset.created, time, static_cast<int>(State::kFailed)});
  }
  return added ? Run("INSERT INTO job(id, session, saveset, mode, name, pool, opened, closed) VALUES($1, $2, "
                     "$3, $4, $5, $6, $7, $8)",
                     {job, session, id, backup, none, saveset.pool, saveset.created, time})
               : added;
}

Status DamagedRow(const std::string& what) {
  return Status::Damaged("the catalog is damaged (" + what +
                         " is not what was written): make it anew with `korvo rebuild`");
}

// ---- Opening ---------------------------------------------------------------------------------------------

Catalog::Catalog(std::unique_ptr<SqlEngine> engine, const Uid& repository)
    : inside_(std::make_unique<Inside>()) {
  inside_->engine = std::move(engine);
  inside_->repository = repository;
}

Catalog::~Catalog() {
  if (inside_->importing) {
    inside_->engine->Rollback();
  }
}

bool Catalog::CanWrite() const { return inside_->engine->CanWrite(); }

bool Catalog::IsShared() const { return inside_->engine->IsShared(); }

bool Catalog::CanHold(std::string_view name) const {
  return ListedName(name).size() <= inside_->engine->Types().longestKey;
}

Status Catalog::Now(std::int64_t& seconds) { return inside_->engine->Now(seconds); }

namespace {

Status MakeTables(Catalog::Inside& inside) {
  return inside.Transact([&inside] {
    // Another process may have been first.
    bool made = false;
    if (Status looked = inside.engine->HasTable(kCatalogTable, made); !looked || made) {
      return looked;
    }
    for (const std::string& statement : SchemaStatements(inside.engine->Types())) {
      if (Status run = inside.Run(statement, {}); !run) {
        return run;
      }
    }
    for (const std::string_view counter : kCounters) {
      if (Status run = inside.Run("INSERT INTO counter(name, value) VALUES($1, 0)", {counter}); !run) {
        return run;
      }
    }
    return inside.Run("INSERT INTO catalog(version, repository) VALUES($1, $2)",
                      {kSchemaVersion, inside.repository.Bytes()});
  });
}

}  // namespace

Status Catalog::Prepare() {
  bool made = false;
  if (Status looked = inside_->engine->HasTable(kCatalogTable, made); !looked) {
    return looked;
  }
  if (!made) {
    if (Status done = MakeTables(*inside_); !done) {
      return done;
    }
  }
  std::int64_t version = 0;
  Uid repository;
  if (Status read = inside_->engine->Run("SELECT version, repository FROM catalog", {},
                                         [&](const SqlRow& row) {
                                           version = row.Number(0);
                                           (void)Uid::FromBytes(row.Bytes(1), repository);
                                           return Status();
                                         });
      !read) {
    return read;
  }
  if (version > kSchemaVersion) {
    return Status::Failed("the catalog was written by a newer release (version " + std::to_string(version) +
                          "): use the tools of that release");
  }
  const bool sameKeys = version == kVersionOfOtherKeys && platform::SeparatorOf("/") == '/';
  if (version != kSchemaVersion && !sameKeys) {
    return Status::Damaged("the catalog has version " + std::to_string(version) +
                           ", which this release does not read: make it anew with `korvo rebuild`");
  }
  if (repository != inside_->repository) {
    return Status::Damaged("the catalog belongs to another repository (" + repository.Hex() +
                           "): put back the one of this repository, or make it anew with `korvo rebuild`");
  }
  return {};
}

}  // namespace store
