/* For the list library's own files. What several of them need is here and not in a public function, because a
   program may have a `CutPaste` of its own. */
#ifndef COMMON_LL_NODE_H
#define COMMON_LL_NODE_H

#include <stdio.h>
#include <stdlib.h>

#include "common/LL.h"

static inline LLNode* NodeOf(const void* element) { return (LLNode*)element - 1; }

static inline void* ElementOf(const LLNode* node) { return (LLNode*)node + 1; }

static inline void EndWithoutMemory(const char* function) {
  fprintf(stderr, "In %s: %s \n", function, "malloc returned NULL");
  exit(-1);
}

static inline void LinkAfter(LLNode* node, LLNode* newNode) {
  newNode->next = node->next;
  newNode->prev = node;
  node->next->prev = newNode;
  node->next = newNode;
}

static inline void LinkBefore(LLNode* node, LLNode* newNode) { LinkAfter(node->prev, newNode); }

static inline void Unlink(LLNode* node) {
  node->prev->next = node->next;
  node->next->prev = node->prev;
}

static inline void InitNode(LLNode* node) {
  node->next = node;
  node->prev = node;
}

/* See `CutPaste`. */
static inline void MoveNodes(LLNode* first, LLNode* end, LLNode* target) {
  if (first == end) {
    return;
  }
  LLNode* last = end->prev;
  first->prev->next = end;
  end->prev = first->prev;
  first->prev = target;
  last->next = target->next;
  target->next->prev = last;
  target->next = first;
}

/* Allocates `count` * `size` bytes. If there is no memory, writes a message that names the function, and ends
   the process. */
static inline void* Allocate(size_t count, size_t size, const char* function) {
  void* block = count > (size_t)-1 / size ? NULL : malloc(count * size);
  if (block == NULL) {
    EndWithoutMemory(function);
  }
  return block;
}

/* Writes the element pointers of the list's elements to the array. */
static inline void ListElements(const LLNode* list, void** elements) {
  for (void* element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
    *elements++ = element;
  }
}

#endif
