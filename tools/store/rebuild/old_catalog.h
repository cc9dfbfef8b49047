// What a rebuild asks of the catalog that it replaces.
#pragma once

#include "store/catalog_home.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// Fails while a backup runs. Puts an object for each session that broke off, since the new catalog knows no
// sessions. Called after the moment from which changes of the old catalog end the rebuild. If that catalog is
// missing or damaged, this is no failure: a rebuild is made for that. (`PassIfLost`) `packs` gets what it
// knows of its packs; none if it cannot tell.
Status LookAtOld(CatalogHome& home, const ObjectShelf& shelf, std::optional<std::vector<PackFacts>>& packs);

}  // namespace store
