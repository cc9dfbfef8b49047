// Counts what there is to do, for those who wait for the mover. Runs beside the work; nothing else depends on
// it.
#pragma once

#include <functional>

#include "store/store.h"
#include "xfr/plan.h"
#include "xfr/request.h"

// Both functions call `store.Work().Expect`, unless `ended` says before that the work is over.
using Ended = std::function<bool()>;
// Counts the files of the items, those in directories too, and their sizes.
void CountToSave(const Request& request, const Plan& plan, store::Store& store, const Ended& ended);
// Counts the same by what the catalog says of the items.
void CountToRestore(const Request& request, const Plan& plan, store::Store& store,
                    const store::Saveset& saveset, const Ended& ended);
