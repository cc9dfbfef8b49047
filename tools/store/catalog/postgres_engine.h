// The catalog's engine where many hosts share one: a schema of a PostgreSQL database. A build without libpq
// has these functions too; they say that it has none.
#pragma once

#include <cstdint>
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

// What is wrong with the text as the address of a catalog, or nothing. `hasPassword`: it contains one.
[[nodiscard]] std::string CheckPostgresUrl(const std::string& url, bool& hasPassword);
// `database NAME on HOST:PORT, schema NAME`, for people.
[[nodiscard]] std::string TellPostgres(const PostgresOptions& options);

// ---- A new catalog in the place of an old one ------------------------------------------------------------

// A text that changes with each saveset and pack that comes, and with what an owner does (schema.h).
Status ReadPostgresState(const PostgresOptions& options, std::string& state);
// The schema with all that is in it; one that is not there is no failure.
Status DropPostgres(const PostgresOptions& options, bool withTables);
// In one transaction the schema `from` gets the name of `options`, and what had it before the name `aside`
// (empty: nothing had it). kConflict, and nothing happened, if the old catalog's state is not `state`
// (empty: not asked, it cannot be read).
Status ExchangePostgres(const PostgresOptions& options, const std::string& from, const std::string& state,
                        std::string& aside);

}  // namespace store
