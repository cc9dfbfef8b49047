#include "store/catalog_backings.h"

namespace store {

// This system's build has no PostgreSQL.
std::vector<CatalogKind> SharedCatalogKinds() { return {}; }

}  // namespace store
