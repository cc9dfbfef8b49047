#include <stdlib.h>

#include "common/LL.h"
#include "common/LL_node.h"

/* A sorted list lies scattered in memory, and waiting for the next node costs more than all else. While a
   sort is under way the previous links are free, so each node of a sorted run keeps there the one that comes
   so many places later, which is fetched ahead when the run is merged. */
enum { kFetchAhead = 8 };

typedef struct Trail {
  LLNode* last[kFetchAhead];
  unsigned place;
  LLNode none; /* stands for what is in front of the first node */
} Trail;

static void StartTrail(Trail* trail) {
  for (trail->place = 0; trail->place < kFetchAhead; ++trail->place) {
    trail->last[trail->place] = &trail->none;
  }
}

static void AddToTrail(Trail* trail, LLNode* node) {
  LLNode** earlier = &trail->last[trail->place++ % kFetchAhead];
  (*earlier)->prev = node;
  *earlier = node;
}

/* Merges two sorted runs that follow one another behind `before` and returns the last node of the whole. */
static LLNode* Merge(LLNode* before, LLNode* firstLast, LLNode* secondLast, LLCompareFunction compare) {
  LLNode* behind = secondLast->next;
  LLNode* first = before->next;
  LLNode* second = firstLast->next;
  Trail trail;
  StartTrail(&trail);
  for (;;) {
    const int secondIsNext = compare(ElementOf(first), ElementOf(second)) > 0;
    LLNode* node = secondIsNext ? second : first;
    before->next = node;
    before = node;
    if (node == (secondIsNext ? secondLast : firstLast)) {
      break;
    }
    __builtin_prefetch(node->prev);
    AddToTrail(&trail, node);
    if (secondIsNext) {
      second = second->next;
    } else {
      first = first->next;
    }
  }
  if (before == firstLast) {
    before->next = second;
    return secondLast;
  }
  before->next = first;
  firstLast->next = behind;
  return firstLast;
}

/* Sorts the `count` nodes behind `before`, at least one, and returns the last of them. */
static LLNode* SortBehind(LLNode* before, int count, LLCompareFunction compare) {
  if (count == 1) {
    return before->next;
  }
  LLNode* firstLast = SortBehind(before, count - count / 2, compare);
  LLNode* secondLast = SortBehind(firstLast, count / 2, compare);
  return Merge(before, firstLast, secondLast, compare);
}

LLNode* MergeSortLL(LLNode* list, LLCompareFunction compare) {
  const int count = SizeLL(list);
  if (count == 0) {
    return list;
  }
  SortBehind(list, count, compare);
  LLNode* node = list;
  do {
    node->next->prev = node;
    node = node->next;
  } while (node != list);
  return list;
}

static LLCompareFunction sysSortCompare;

int IntCompare(const void* first, const void* second) {
  return sysSortCompare(*(void* const*)first, *(void* const*)second);
}

LLNode* SysSortLL(LLNode* list, LLCompareFunction compare) {
  const size_t count = (size_t)SizeLL(list);
  if (count == 0) {
    return list;
  }
  void** elements = Allocate(count, sizeof *elements, "SysSortLL");
  ListElements(list, elements);
  sysSortCompare = compare;
  qsort(elements, count, sizeof *elements, IntCompare);
  l_linit(list);
  for (size_t i = 0; i < count; ++i) {
    LinkLastLL(list, elements[i]);
  }
  free(elements);
  return list;
}
