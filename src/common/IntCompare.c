#include "common/LL.h"
#include "common/LL_sys_sort.h"

int IntCompare(const void* first, const void* second) {
  return cm_SysSortCompare(*(void* const*)first, *(void* const*)second);
}
