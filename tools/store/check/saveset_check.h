// Compares the small objects of one saveset with its row.
#pragma once

#include "store/catalog/catalog.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// kDamaged or kMissing: the message says which object does not agree with the row, and what would be lost by
// that if the catalog were lost.
Status CheckSavesetObjects(const ObjectShelf& shelf, Catalog& catalog, const Saveset& saveset);

}  // namespace store
