// Restores the items of a request from its saveset, and reports each. The caller reports the end.
#pragma once

#include "store/store.h"
#include "xfr/report.h"
#include "xfr/request.h"

[[nodiscard]] End Restore(const Request& request, store::Store& store);
