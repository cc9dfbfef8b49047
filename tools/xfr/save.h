// Backs up the items of a request into its saveset, and reports each. The caller reports the end.
#pragma once

#include "store/store.h"
#include "xfr/report.h"
#include "xfr/request.h"

[[nodiscard]] End Save(const Request& request, store::Store& store);
