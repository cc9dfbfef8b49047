// The small objects of one saveset against its row.
#pragma once

#include "store/catalog/catalog.h"
#include "store/saveset_objects.h"
#include "store/status.h"

namespace store {

// kDamaged or kMissing says which object does not say what the row says, and what that would cost if the
// catalog were lost.
Status CheckSavesetObjects(const ObjectShelf& shelf, Catalog& catalog, const Saveset& saveset);

}  // namespace store
