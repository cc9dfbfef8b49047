/* The list library where the memory is exhausted: the argument tells which function needs some. */
#include <stdlib.h>

static int isExhausted;
static void* ScarceMalloc(size_t size) { return isExhausted ? NULL : malloc(size); }
#define malloc ScarceMalloc

#include "common/LL.c"
#include "common/LL_sort.c"
#include "common/LL_sys_sort.c"
#include "common/cm_common.h"

static int Compare(void* first, void* second) { return first < second; }

int main(int argc, char** argv) {
  const int which = argc > 1 ? atoi(argv[1]) : 0;
  LLNode* list = ConsLL();
  void* element = InsFirstLLf(list, 1, "a");
  isExhausted = which > 0;
  if (which == 1) InsBefLLf(element, 1, "b");
  if (which == 2) ConsCopyLL(list);
  if (which == 3) LookInLL(list);
  if (which == 4) SysSortLL(list, Compare);
  DestLL(list);
  return 0;
}
