// In a build without libpq.
#include "store/catalog/postgres_engine.h"

namespace store {
namespace {

constexpr const char* kNone =
    "this build of the tools has no PostgreSQL: let catalog name none, and let a host with Linux keep the"
    " repository that is shared";

}  // namespace

Status OpenPostgres(const PostgresOptions& /*options*/, std::unique_ptr<SqlEngine>& /*engine*/) {
  return Status::Failed(kNone);
}

std::string CheckPostgresUrl(const std::string& /*url*/, bool& hasPassword) {
  hasPassword = false;
  return kNone;
}

std::string TellPostgres(const PostgresOptions& options) { return "schema " + options.schema; }

Status CountPostgres(const PostgresOptions& /*options*/, std::int64_t& /*count*/) {
  return Status::Failed(kNone);
}

Status DropPostgres(const PostgresOptions& /*options*/) { return Status::Failed(kNone); }

Status ExchangePostgres(const PostgresOptions& /*options*/, const std::string& /*from*/,
                        std::int64_t /*counted*/, std::string& /*aside*/) {
  return Status::Failed(kNone);
}

}  // namespace store
