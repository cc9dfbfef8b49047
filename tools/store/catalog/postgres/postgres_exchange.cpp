// Putting a new catalog in the place of an old one. Both are schemas of one database, and are renamed
// together.
#include "store/catalog/postgres/postgres_connection.h"
#include "store/catalog/schema.h"

namespace store {
namespace {

Status ReadNumber(PostgresConnection& connection, const std::string& text,
                  const std::vector<SqlValue>& values, std::int64_t& number) {
  return connection.Run(text, values, [&number](const SqlRow& row) {
    number = row.Number(0);
    return Status();
  });
}

Status HasSchema(PostgresConnection& connection, const std::string& name, bool& has) {
  std::int64_t found = 0;
  Status looked = ReadNumber(
      connection, "SELECT count(*) FROM pg_catalog.pg_namespace WHERE nspname = convert_from($1, 'UTF8')",
      {name}, found);
  has = found != 0;
  return looked;
}

Status HasCounters(PostgresConnection& connection, bool& has) {
  std::int64_t found = 0;
  Status looked = ReadNumber(connection, "SELECT to_regclass('counter') IS NOT NULL", {}, found);
  has = found != 0;
  return looked;
}

Status ReadState(PostgresConnection& connection, std::string& state) {
  state.clear();
  bool has = false;
  Status looked = HasCounters(connection, has);
  if (!looked || !has) {
    state = looked ? kNoCatalog : "";
    return looked;
  }
  return connection.Run(kSelectChanges, {"saveset", "pack"},
                        [&state](const SqlRow& row) { return ReadChanges(row, state); });
}

// Whoever is about to change the old catalog waits for the end of this transaction, and then goes on in the
// new one.
Status LockAll(PostgresConnection& connection, const std::string& schema) {
  std::vector<std::string> tables;
  if (Status listed = connection.Run(
          "SELECT convert_to(tablename::text, 'UTF8') FROM pg_catalog.pg_tables WHERE schemaname = "
          "convert_from($1, 'UTF8') ORDER BY tablename",
          {schema},
          [&tables](const SqlRow& row) {
            tables.emplace_back(row.Bytes(0));
            return Status();
          });
      !listed) {
    return listed;
  }
  std::string all;
  for (const std::string& table : tables) {
    all += (all.empty() ? "" : ", ") + QuotedName(schema) + "." + QuotedName(table);
  }
  return all.empty() ? Status() : connection.Run("LOCK TABLE " + all + " IN ACCESS EXCLUSIVE MODE", {});
}

Status FreeName(PostgresConnection& connection, const std::string& schema, std::string& name) {
  bool taken = true;
  for (int number = 1; taken; ++number) {
    name = schema + "_old_" + std::to_string(number);
    if (Status looked = HasSchema(connection, name, taken); !looked) {
      return looked;
    }
  }
  return {};
}

Status Rename(PostgresConnection& connection, const std::string& from, const std::string& to) {
  return connection.Run("ALTER SCHEMA " + QuotedName(from) + " RENAME TO " + QuotedName(to), {});
}

Status PutAside(PostgresConnection& connection, const std::string& schema, const std::string& state,
                std::string& aside) {
  aside.clear();
  bool there = false;
  if (Status looked = HasSchema(connection, schema, there); !looked || !there) {
    return looked;
  }
  std::string now;
  Status done = LockAll(connection, schema);
  if (done && !state.empty()) {
    done = ReadState(connection, now);
  }
  if (done && now != state) {
    done = Status::Conflict(kCatalogChanged);
  }
  if (done) {
    done = FreeName(connection, schema, aside);
  }
  return done ? Rename(connection, schema, aside) : done;
}

}  // namespace

Status ReadPostgresState(const PostgresOptions& options, std::string& state) {
  std::unique_ptr<PostgresConnection> connection;
  Status opened = PostgresConnection::Open(options, connection);
  return opened ? ReadState(*connection, state) : opened;
}

Status ClaimPostgres(const PostgresOptions& options, std::shared_ptr<void>& claim) {
  std::unique_ptr<PostgresConnection> connection;
  std::int64_t claimed = 0;
  Status done = PostgresConnection::Open(options, connection);
  if (done) {
    done =
        ReadNumber(*connection, "SELECT pg_try_advisory_lock(hashtextextended(convert_from($1, 'UTF8'), 0))",
                   {"korvo rebuild " + options.schema}, claimed);
  }
  if (done && claimed == 0) {
    done =
        Status::Failed("another korvo rebuild is at work in schema " + options.schema + ": wait for its end");
  }
  if (done) {
    claim = std::move(connection);
  }
  return done;
}

Status DropPostgres(const PostgresOptions& options, bool withTables) {
  std::unique_ptr<PostgresConnection> connection;
  Status opened = PostgresConnection::Open(options, connection);
  const std::string how = withTables ? " CASCADE" : " RESTRICT";
  return opened ? connection->Run("DROP SCHEMA IF EXISTS " + QuotedName(options.schema) + how, {}) : opened;
}

Status ExchangePostgres(const PostgresOptions& options, const std::string& from, const std::string& state,
                        std::string& aside) {
  std::unique_ptr<PostgresConnection> connection;
  Status done = PostgresConnection::Open(options, connection);
  if (done) {
    done = connection->Run("BEGIN", {});
  }
  if (done) {
    done = PutAside(*connection, options.schema, state, aside);
  }
  if (done) {
    done = Rename(*connection, from, options.schema);
  }
  // Without a commit, the end of the connection undoes all of it.
  return done ? connection->Run("COMMIT", {}) : done;
}

}  // namespace store
