/* The list library where the memory is exhausted: `exhausted NUMBER` calls one of the functions that need
 * some. */
#include <stdlib.h>

static int isExhausted;
static void* ScarceMalloc(size_t size) { return isExhausted ? NULL : malloc(size); }
#define malloc ScarceMalloc

#include "common/LL.c"
#include "common/LL_sort.c"
#include "common/cm_common.h"

static int Compare(void* first, void* second) { return first < second; }

int main(int argc, char** argv) {
  LLNode* list = ConsLL();
  InsFirstLLf(list, 1, "a");
  isExhausted = 1;
  switch (argc > 1 ? atoi(argv[1]) : 0) {
    case 1:
      InsBefLLf(FirstElmLL(list), 1, "b");
      break;
    case 2:
      ConsCopyLL(list);
      break;
    case 3:
      LookInLL(list);
      break;
    case 4:
      SysSortLL(list, Compare);
      break;
    default:
      MergeSortLL(list, Compare);
  }
  DestLL(list);
  return 0;
}
