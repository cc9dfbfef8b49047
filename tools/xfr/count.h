// How much there is to do, for who waits for the mover: found out beside the work, and only told.
#pragma once

#include <functional>

#include "store/store.h"
#include "xfr/plan.h"
#include "xfr/request.h"

// Calls `store.Work().Expect`, unless it `ended` before.
using Ended = std::function<bool()>;
// By the sizes of the files, those in directories too.
void CountToSave(const Request& request, const Plan& plan, store::Store& store, const Ended& ended);
// By what the catalog says of them.
void CountToRestore(const Request& request, const Plan& plan, store::Store& store,
                    const store::Saveset& saveset, const Ended& ended);
