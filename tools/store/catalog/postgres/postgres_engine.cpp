#include "store/catalog/postgres_engine.h"

#include <optional>

#include "platform/platform.h"
#include "store/base/uid.h"
#include "store/catalog/postgres/postgres_connection.h"

namespace store {
namespace {

// How many statements of a transaction are on their way at most: their answers fit into the system's buffers
// of a connection, so that neither side waits for the other.
constexpr std::size_t kMostAhead = 400;
// How long the engine tries to find out whether a commit has happened.
constexpr std::uint64_t kLookUpMilliseconds = 60'000;
constexpr std::uint32_t kPauseMilliseconds = 500;
// Two programs that make the same tables at once get in each other's way.
constexpr int kMostRepetitions = 20;
// An entry of an index has to fit into a third of a page.
constexpr std::size_t kLongestKey = 2600;
constexpr const char* kSecondsNow = "CAST(extract(epoch FROM clock_timestamp()) AS bigint)";

class PostgresEngine : public SqlEngine {
 public:
  PostgresEngine(PostgresOptions options, std::unique_ptr<PostgresConnection> connection, bool canWrite)
      : options_(std::move(options)), connection_(std::move(connection)), canWrite_(canWrite) {}

  Status Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) override;
  [[nodiscard]] std::int64_t Changed() const override { return connection_->Changed(); }
  Status Begin() override;
  Status Commit() override;
  void Rollback() override;
  [[nodiscard]] SqlTypes Types() const override { return {"BIGINT", "BYTEA", "", kLongestKey}; }
  Status HasTable(std::string_view name, bool& has) override;
  Status CheckWhole(const std::function<void(const std::string&)>& wrong) override;
  Status Now(std::int64_t& seconds) override;
  [[nodiscard]] bool CanWrite() const override { return canWrite_; }
  [[nodiscard]] bool IsShared() const override { return true; }

 private:
  Status ForgetOldMarks();
  Status LookUpCommit(const Status& lost);
  Status AskForMark(bool& committed);

  PostgresOptions options_;
  std::unique_ptr<PostgresConnection> connection_;
  bool canWrite_;
  bool inTransaction_ = false;
  bool forgot_ = false;  // the marks that earlier connections left
  Uid mark_;             // of the transaction; finds it again if the connection is lost in the commit
  std::int64_t began_ = 0;
};

// ---- Statements ------------------------------------------------------------------------------------------

Status PostgresEngine::Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) {
  if (Status sent = connection_->Send(text, values, row); !sent) {
    return sent;
  }
  const bool ahead = inTransaction_ && !row && connection_->Waiting() < kMostAhead &&
                     (text.starts_with("INSERT") || text.starts_with("DELETE"));
  return ahead ? Status() : connection_->Finish();
}

Status PostgresEngine::HasTable(std::string_view name, bool& has) {
  has = false;
  return Run(
      "SELECT 1 FROM pg_catalog.pg_class c WHERE c.relnamespace = "
      "to_regnamespace(quote_ident(current_schema()))"
      " AND c.relname = convert_from($1, 'UTF8') AND c.relkind IN ('r', 'p')",
      {name}, [&has](const SqlRow&) {
        has = true;
        return Status();
      });
}

// Reads all rows once. Pages and indexes are for the server's own tools to check.
Status PostgresEngine::CheckWhole(const std::function<void(const std::string&)>& wrong) {
  std::vector<std::string> tables;
  Status done =
      Run("SELECT convert_to(tablename::text, 'UTF8') FROM pg_catalog.pg_tables WHERE schemaname = "
          "current_schema()",
          {}, [&tables](const SqlRow& row) {
            tables.emplace_back(row.Bytes(0));
            return Status();
          });
  for (auto table = tables.begin(); done && table != tables.end(); ++table) {
    const std::string name = QuotedName(*table);
    std::string text = "SELECT sum(length(CAST(";
    text.append(name).append(".* AS text))) FROM ").append(name);
    Status read = Run(text, {}, {});
    if (read.What() == Status::Kind::kDamaged) {
      wrong("table " + *table + ": " + read.Message());
    } else {
      done = read;
    }
  }
  return done;
}

// In a transaction, this is when it began, which costs no round trip of its own.
Status PostgresEngine::Now(std::int64_t& seconds) {
  if (inTransaction_ && began_ == 0) {
    if (Status done = connection_->Finish(); !done) {
      return done;
    }
  }
  if (inTransaction_) {
    seconds = began_;
    return {};
  }
  return Run("SELECT " + std::string(kSecondsNow), {}, [&seconds](const SqlRow& row) {
    seconds = row.Number(0);
    return Status();
  });
}

// ---- Transactions ----------------------------------------------------------------------------------------

// Nobody asks for a mark long after its transaction ended.
Status PostgresEngine::ForgetOldMarks() {
  Status done = connection_->Run(
      "DELETE FROM mark WHERE made < " + std::string(kSecondsNow) + " - CAST($1 AS bigint)", {3600});
  forgot_ = static_cast<bool>(done);
  return done;
}

// Serializable: what a rule has read is still true when its transaction commits (nobody needs the pack, so it
// may be deleted; the pack is there, so it may be referred to), or the server aborts one of the two
// transactions.
Status PostgresEngine::Begin() {
  if (!canWrite_) {
    return Status::Failed("the catalog cannot be written: its server, or the rights of its database role (" +
                          TellPostgres(options_) + "), let it only be read");
  }
  if (Status done = forgot_ ? Status() : ForgetOldMarks(); !done) {
    return done;
  }
  mark_ = Uid::Random();
  began_ = 0;
  if (Status sent = connection_->Send("BEGIN ISOLATION LEVEL SERIALIZABLE", {}); !sent) {
    return sent;
  }
  inTransaction_ = true;
  return connection_->Send(
      "INSERT INTO mark(uid, made) VALUES($1, " + std::string(kSecondsNow) + ") RETURNING made",
      {mark_.Bytes()}, [this](const SqlRow& row) {
        began_ = row.Number(0);
        return Status();
      });
}

Status PostgresEngine::Commit() {
  // First waits for what was sent ahead: from here on only the commit is in doubt.
  Status done = connection_->Finish();
  if (!done) {
    Rollback();
    return done;
  }
  connection_->SetInterruptible(false);
  done = connection_->SendOnce("COMMIT");
  if (done) {
    done = connection_->Finish();
  }
  connection_->SetInterruptible(true);
  inTransaction_ = false;
  if (connection_->IsLost()) {
    return LookUpCommit(done);
  }
  if (done && connection_->Tag() != "COMMIT") {
    return Status::Failed("the catalog did not commit: " + connection_->Tag());
  }
  return done;
}

void PostgresEngine::Rollback() {
  if (!inTransaction_) {
    return;
  }
  Ignore(connection_->Finish());
  inTransaction_ = false;
  if (connection_->SendOnce("ROLLBACK")) {
    Ignore(connection_->Finish());
  }
}

// Inserts the transaction's mark once more, on a new connection, with the time 0. The server makes that wait
// while the transaction is still under way. If the transaction's own mark is there then, it has committed; if
// not, it never can. A mark with the time 0 is that of an earlier look-up, whose answer was lost.
Status PostgresEngine::AskForMark(bool& committed) {
  std::unique_ptr<PostgresConnection> fresh;
  Status done = PostgresConnection::Open(options_, fresh);
  if (done) {
    done = fresh->Run("SET lock_timeout = '30s'", {});
  }
  if (done) {
    done =
        fresh->Run("INSERT INTO mark(uid, made) VALUES($1, 0) ON CONFLICT(uid) DO NOTHING", {mark_.Bytes()});
  }
  if (!done || fresh->Changed() != 0) {
    return done;
  }
  std::optional<std::int64_t> made;
  done = fresh->Run("SELECT made FROM mark WHERE uid = $1", {mark_.Bytes()}, [&made](const SqlRow& row) {
    made = row.Number(0);
    return Status();
  });
  if (done && !made) {
    return Status::Conflict("the mark of the transaction was deleted meanwhile");
  }
  committed = done && *made != 0;
  if (committed) {
    Ignore(fresh->Run("SET lock_timeout = '5min'", {}));
    connection_ = std::move(fresh);
  }
  return done;
}

// If the commit has not happened, that is final: this engine is of no use any more.
Status PostgresEngine::LookUpCommit(const Status& lost) {
  const std::uint64_t began = platform::SteadyMilliseconds();
  bool committed = false;
  Status asked = AskForMark(committed);
  while (!asked && !platform::Interrupted() && platform::SteadyMilliseconds() - began < kLookUpMilliseconds) {
    platform::SleepMilliseconds(kPauseMilliseconds);
    asked = AskForMark(committed);
  }
  if (!asked) {
    return Status::Failed(lost.Message() +
                          "; whether the last transaction was kept is not known: " + asked.Message());
  }
  return committed ? Status() : lost;
}

// ---- Opening ---------------------------------------------------------------------------------------------

Status IsTrue(PostgresConnection& connection, const std::string& text, const std::vector<SqlValue>& values,
              bool& truth) {
  truth = false;
  return connection.Run(text, values, [&truth](const SqlRow& row) {
    truth = row.Number(0) != 0;
    return Status();
  });
}

// Makes the schema, and the one table that only this engine has.
Status MakeSchema(PostgresConnection& connection, const std::string& schema) {
  bool there = false;
  Status done = IsTrue(connection,
                       "SELECT EXISTS(SELECT 1 FROM pg_catalog.pg_namespace WHERE nspname = "
                       "convert_from($1, 'UTF8'))",
                       {schema}, there);
  if (done && !there) {
    done = connection.Run("CREATE SCHEMA " + QuotedName(schema), {});
  }
  if (done) {
    done = connection.Run(
        "CREATE TABLE IF NOT EXISTS mark(uid BYTEA NOT NULL PRIMARY KEY, made BIGINT NOT NULL)", {});
  }
  return done ? connection.Run("CREATE INDEX IF NOT EXISTS mark_made ON mark(made)", {}) : done;
}

Status HasMarks(PostgresConnection& connection, bool& has) {
  return IsTrue(connection, "SELECT to_regclass('mark') IS NOT NULL", {}, has);
}

Status FindOrMake(PostgresConnection& connection, const PostgresOptions& options) {
  bool there = false;
  Status done = HasMarks(connection, there);
  for (int repetition = 0; done && !there && options.make == MakeCatalog::kIfMissing; ++repetition) {
    done = MakeSchema(connection, options.schema);
    if (done.What() == Status::Kind::kConflict && repetition < kMostRepetitions) {
      platform::SleepMilliseconds(10);
      done = Status();
    } else {
      there = static_cast<bool>(done);
    }
  }
  bool forbidden = false;
  if (done && !there) {
    done =
        IsTrue(connection,
               "SELECT EXISTS(SELECT 1 FROM pg_catalog.pg_namespace WHERE nspname = convert_from($1, 'UTF8') "
               "AND NOT has_schema_privilege(oid, 'USAGE'))",
               {options.schema}, forbidden);
  }
  if (done && forbidden) {
    return Status::Failed("the catalog cannot be used (" + TellPostgres(options) +
                          "): its database role has no right to use the schema (GRANT USAGE ON SCHEMA)");
  }
  if (done && !there) {
    return Status::Missing("the catalog is missing (" + TellPostgres(options) +
                           "): make it anew with `korvo rebuild`");
  }
  return done;
}

}  // namespace

Status OpenPostgres(const PostgresOptions& options, std::unique_ptr<SqlEngine>& engine) {
  std::unique_ptr<PostgresConnection> connection;
  if (Status opened = PostgresConnection::Open(options, connection); !opened) {
    return opened;
  }
  if (Status found = FindOrMake(*connection, options); !found) {
    return found;
  }
  bool canWrite = false;
  if (Status asked = IsTrue(*connection,
                            "SELECT current_setting('transaction_read_only') = 'off' AND "
                            "has_table_privilege('mark', 'INSERT')",
                            {}, canWrite);
      !asked) {
    return asked;
  }
  engine = std::make_unique<PostgresEngine>(options, std::move(connection), canWrite);
  return {};
}

}  // namespace store
