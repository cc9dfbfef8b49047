#include "store/catalog/postgres_engine.h"
#include "store/catalog_backings.h"
#include "support/postgres_server.h"

namespace store {
namespace {

// A schema of its own.
class PostgresBacking : public CatalogBacking {
 public:
  Status Connect(std::unique_ptr<SqlEngine>& engine) override {
    return OpenPostgres({support::PostgresServer::OfThisProgram().Url(), schema_, MakeCatalog::kIfMissing},
                        engine);
  }

 private:
  const std::string schema_ = "Schema " + Uid::Random().Hex();
};

}  // namespace

std::vector<CatalogKind> SharedCatalogKinds() {
  return {{"Postgres", [] { return std::make_unique<PostgresBacking>(); }}};
}

}  // namespace store
