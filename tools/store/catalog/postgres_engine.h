// The engine of a catalog that many hosts share: a schema of a PostgreSQL database. libpq is loaded when it
// is first used (pq.h).
#pragma once

#include <memory>
#include <string>

#include "store/catalog/catalog.h"
#include "store/catalog/sql.h"

namespace store {

struct PostgresOptions {
  std::string url;  // postgresql://..., as libpq takes it
  std::string schema;
  MakeCatalog make = MakeCatalog::kNever;
};
// kMissing if the schema has no catalog and none is to be made.
Status OpenPostgres(const PostgresOptions& options, std::unique_ptr<SqlEngine>& engine);

// What is wrong with the text as the address of a catalog; empty if nothing is. `hasPassword`: it contains
// one.
[[nodiscard]] std::string CheckPostgresUrl(const std::string& url, bool& hasPassword);
// `database NAME on HOST:PORT, schema NAME`, for people.
[[nodiscard]] std::string TellPostgres(const PostgresOptions& options);

// ---- A new catalog in the place of an old one ------------------------------------------------------------

// Lets nobody else begin, on any host, as long as `claim` lives. Fails if somebody has begun.
Status ClaimPostgres(const PostgresOptions& options, std::shared_ptr<void>& claim);
// A text that changes with each saveset and pack that comes, and with what an owner changes (schema.h).
Status ReadPostgresState(const PostgresOptions& options, std::string& state);
// Deletes the schema with all that is in it; without `withTables`, fails unless it is empty. A missing one is
// no failure.
Status DropPostgres(const PostgresOptions& options, bool withTables);
// In one transaction, the schema `from` gets the name of `options`, and the schema that had this name gets
// the name `aside` (empty: there was none). kConflict, and nothing happened, if the old catalog's state is
// not `state`. An empty `state` (the old catalog cannot be read) is not compared.
Status ExchangePostgres(const PostgresOptions& options, const std::string& from, const std::string& state,
                        std::string& aside);

}  // namespace store
