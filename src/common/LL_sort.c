#include <stdlib.h>

#include "common/LL.h"
#include "common/LL_node.h"

/* The nodes of a sorted list are scattered in memory, and waiting for the next node costs more than anything
   else. During a sort the previous links are free. Each node of a sorted run keeps there the node that comes
   this many places later, so that it can be fetched ahead when the run is merged. */
enum { kFetchAhead = 8 };

typedef struct Trail {
  LLNode* last[kFetchAhead];
  unsigned place;
  LLNode none; /* in place of a node before the first one */
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

/* Merges two sorted runs, one directly after the other, that follow `before`, and returns the last node of
 * the whole. */
static LLNode* Merge(LLNode* before, LLNode* firstLast, LLNode* secondLast, LLCompareFunction compare) {
  LLNode* end = secondLast->next;
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
  firstLast->next = end;
  return firstLast;
}

/* Sorts the `count` nodes after `before`, at least one, and returns the last of them. */
static LLNode* SortAfter(LLNode* before, int count, LLCompareFunction compare) {
  if (count == 1) {
    return before->next;
  }
  LLNode* firstLast = SortAfter(before, count - count / 2, compare);
  LLNode* secondLast = SortAfter(firstLast, count / 2, compare);
  return Merge(before, firstLast, secondLast, compare);
}

LLNode* MergeSortLL(LLNode* list, LLCompareFunction compare) {
  const int count = SizeLL(list);
  if (count == 0) {
    return list;
  }
  SortAfter(list, count, compare);
  LLNode* node = list;
  do {
    node->next->prev = node;
    node = node->next;
  } while (node != list);
  return list;
}
