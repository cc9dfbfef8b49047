// What a rebuild asks of the catalog that it replaces.
#pragma once

#include "store/catalog_home.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// Fails while a backup runs. Puts an object for each session that broke off, since the new catalog knows no
// sessions. Called after the moment from which changes of the old catalog end the rebuild. If that catalog is
// missing or cannot be used, this is no failure: a rebuild is made for that.
Status LookAtOld(CatalogHome& home, const ObjectShelf& shelf);

}  // namespace store
