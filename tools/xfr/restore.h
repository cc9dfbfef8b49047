// Brings the items of a request back from its saveset.
#pragma once

#include "store/store.h"
#include "xfr/report.h"
#include "xfr/request.h"

[[nodiscard]] End Restore(const Request& request, store::Store& store);
