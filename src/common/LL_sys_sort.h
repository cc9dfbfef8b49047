/* The compare function of the `SysSortLL` that is running. */
#ifndef COMMON_LL_SYS_SORT_H
#define COMMON_LL_SYS_SORT_H

#include "common/LL.h"

extern LLCompareFunction cm_SysSortCompare;

#endif
