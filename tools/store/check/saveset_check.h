// Compares the small objects of one saveset with its row.
#pragma once

#include "store/catalog/catalog.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// kDamaged or kMissing: the message says which object does not agree with the row, and what would be lost by
// that if the catalog were lost.
Status CheckSavesetObjects(const ObjectShelf& shelf, Catalog& catalog, const Saveset& saveset);

// For a saveset of which objects are damaged: writes anew from its row those that are missing or cannot be
// read. `good`: afterwards all of them agree with the row. One that can be read stays as it is, since it may
// be the row that is wrong.
Status MendSavesetObjects(const ObjectShelf& shelf, Catalog& catalog, const Uid& saveset, bool& good);

}  // namespace store
