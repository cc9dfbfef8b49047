#include "common/LL_sys_sort.h"

#include <stdlib.h>

#include "common/LL.h"
#include "common/LL_node.h"

LLCompareFunction cm_SysSortCompare;

static int CompareElements(const void* first, const void* second) {
  return cm_SysSortCompare(*(void* const*)first, *(void* const*)second);
}

LLNode* SysSortLL(LLNode* list, LLCompareFunction compare) {
  const size_t count = (size_t)SizeLL(list);
  cm_SysSortCompare = compare;
  if (count == 0) {
    return list;
  }
  void** elements = Allocate(count, sizeof *elements, "SysSortLL");
  ListElements(list, elements);
  qsort(elements, count, sizeof *elements, CompareElements);
  InitNode(list);
  for (size_t i = 0; i < count; ++i) {
    LinkBefore(list, NodeOf(elements[i]));
  }
  free(elements);
  return list;
}
