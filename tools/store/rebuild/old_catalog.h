// What a rebuild asks of the catalog that it replaces.
#pragma once

#include "store/catalog_home.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// Refuses while a backup runs; puts an object for each session that broke off, of which the new catalog knows
// nothing. Called after the moment from which on changes of the old catalog end the rebuild. A catalog that
// is missing or cannot be used hinders nothing: a rebuild is for that.
Status LookAtOld(CatalogHome& home, const ObjectShelf& shelf);

}  // namespace store
