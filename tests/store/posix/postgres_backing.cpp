#include "store/catalog/postgres_engine.h"
#include "store/catalog_backings.h"
#include "support/database.h"

namespace store {
namespace {

// A schema of its own.
class PostgresBacking : public CatalogBacking {
 public:
  Status Connect(std::unique_ptr<SqlEngine>& engine) override {
    return OpenPostgres({support::DatabaseUrl(support::DatabaseSockets()), schema_, MakeCatalog::kIfMissing},
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
