/* The list library where the memory is exhausted: `exhausted NUMBER` calls one of the functions that need
   some. In front of the headers stands what the C library of a newer system declares. */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>
size_t strlcpy(char* restrict buffer, const char* restrict text, size_t size);
size_t strlcat(char* restrict buffer, const char* restrict text, size_t size);
#if WCHAR_MAX > 0xffff
size_t wcslcpy(wchar_t* restrict buffer, const wchar_t* restrict text, size_t size);
size_t wcslcat(wchar_t* restrict buffer, const wchar_t* restrict text, size_t size);
#endif

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
