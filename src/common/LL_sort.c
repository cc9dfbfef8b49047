#include "common/LL.h"
#include "common/LL_node.h"

/* Merges two sorted runs that come directly after `before`, one after the other. Returns the last node of the
   result. */
static LLNode* Merge(LLNode* before, LLNode* firstLast, LLNode* secondLast, LLCompareFunction compare) {
  LLNode* end = secondLast->next;
  LLNode* first = before->next;
  LLNode* second = firstLast->next;
  for (;;) {
    const int secondIsNext = compare(ElementOf(first), ElementOf(second)) > 0;
    LLNode* node = secondIsNext ? second : first;
    before->next = node;
    before = node;
    if (node == (secondIsNext ? secondLast : firstLast)) {
      break;
    }
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

/* The `prev` links do not change before the end, because the compare function may follow them. */
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
