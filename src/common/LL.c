#include "common/LL.h"

#include <stdlib.h>
#include <string.h>

#include "common/LL_node.h"

/* ---- Linking and unlinking elements of the caller ---- */

static void* Link(LLNode* node, void* element, LLLinkFunction link) {
  link(node, NodeOf(element));
  return element;
}

void* LinkFirstLL(LLNode* list, void* element) { return Link(list, element, LinkAfter); }

void* LinkLastLL(LLNode* list, void* element) { return Link(list, element, LinkBefore); }

void* LinkAftLL(void* place, void* element) { return Link(NodeOf(place), element, LinkAfter); }

void* LinkBefLL(void* place, void* element) { return Link(NodeOf(place), element, LinkBefore); }

void* UnlinkLL(void* element) {
  Unlink(NodeOf(element));
  return element;
}

void* UnlinkNeLL(void* element) { return NextElmLL(UnlinkLL(element)); }

void* UnlinkPrLL(void* element) { return PrevElmLL(UnlinkLL(element)); }

void* LinkInsLLf(LLNode* node, size_t size, LLNode* block, LLLinkFunction link) {
  block->size = size;
  return Link(node, ElementOf(block), link);
}

void* LinkInsFirstLLf(LLNode* list, size_t size, void* element) {
  return LinkInsLLf(list, size, NodeOf(element), LinkAfter);
}

void* LinkInsLastLLf(LLNode* list, size_t size, void* element) {
  return LinkInsLLf(list, size, NodeOf(element), LinkBefore);
}

void* LinkInsAftLLf(void* place, size_t size, void* element) {
  return LinkInsLLf(NodeOf(place), size, NodeOf(element), LinkAfter);
}

void* LinkInsBefLLf(void* place, size_t size, void* element) {
  return LinkInsLLf(NodeOf(place), size, NodeOf(element), LinkBefore);
}

/* ---- Making and deleting elements ---- */

void* InsLLf(LLNode* node, size_t size, const void* data, LLLinkFunction link) {
  /* The sum could overflow to a small number. */
  const size_t whole = size + sizeof(LLNode) > size ? size + sizeof(LLNode) : (size_t)-1;
  LLNode* block = Allocate(1, whole, "InsLLf");
  if (size > 0) {
    memcpy(block + 1, data, size);
  }
  return LinkInsLLf(node, size, block, link);
}

void* InsFirstLLf(LLNode* list, size_t size, const void* data) { return InsLLf(list, size, data, LinkAfter); }

void* InsLastLLf(LLNode* list, size_t size, const void* data) { return InsLLf(list, size, data, LinkBefore); }

void* InsAftLLf(void* place, size_t size, const void* data) {
  return InsLLf(NodeOf(place), size, data, LinkAfter);
}

void* InsBefLLf(void* place, size_t size, const void* data) {
  return InsLLf(NodeOf(place), size, data, LinkBefore);
}

void DelElmLL(void* element) { free(NodeOf(UnlinkLL(element))); }

void* DelElmNeLL(void* element) {
  void* following = NextElmLL(element);
  DelElmLL(element);
  return following;
}

void* DelElmPrLL(void* element) {
  void* preceding = PrevElmLL(element);
  DelElmLL(element);
  return preceding;
}

/* ---- Navigation ---- */

void* FirstElmLL(const LLNode* list) { return ElementOf(list->next); }

void* LastElmLL(const LLNode* list) { return ElementOf(list->prev); }

void* NextElmLL(const void* element) { return ElementOf(NodeOf(element)->next); }

void* PrevElmLL(const void* element) { return ElementOf(NodeOf(element)->prev); }

void* NextCElmLL(const void* element) {
  void* following = NextElmLL(element);
  return IsElmLL(following) != 0 ? following : NextElmLL(following);
}

void* PrevCElmLL(const void* element) {
  void* preceding = PrevElmLL(element);
  return IsElmLL(preceding) != 0 ? preceding : PrevElmLL(preceding);
}

void* NthElmLL(const LLNode* list, int count) { return RelNthElmLL(ElementOf(list), count); }

void* RelNthElmLL(const void* element, int count) {
  const LLNode* node = NodeOf(element);
  for (; count > 0; --count) {
    node = node->next;
  }
  for (; count < 0; ++count) {
    node = node->prev;
  }
  return ElementOf(node);
}

/* ---- Questions ---- */

int IsElmLL(const void* element) { return (int)(NodeOf(element)->size & 0xffffffffU); }

int IsFirstElmLL(const void* element) { return IsElmLL(PrevElmLL(element)) == 0; }

int IsLastElmLL(const void* element) { return IsElmLL(NextElmLL(element)) == 0; }

int IsNthElmLL(const LLNode* list, int count, const void* element) {
  return NthElmLL(list, count) == element;
}

int IsEmptyLL(const LLNode* list) { return list->next == list; }

int SizeLL(const LLNode* list) {
  int size = 0;
  for (const void* element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
    ++size;
  }
  return size;
}

int IndexElmLL(const LLNode* list, const void* element) {
  int index = 1;
  for (const void* other = FirstElmLL(list); IsElmLL(other) != 0; other = NextElmLL(other)) {
    if (other == element) {
      return index;
    }
    ++index;
  }
  return 0;
}

/* ---- Whole lists ---- */

LLNode* InitLL(LLNode* head) {
  InitNode(head);
  head->size = 0;
  return head;
}

LLNode* ConsLL(void) { return InitLL(Allocate(1, sizeof(LLNode), "CreatLL")); }

LLNode* EmptyLL(LLNode* list) {
  LLNode* node = list->next;
  while (node != list) {
    LLNode* following = node->next;
    free(node);
    node = following;
  }
  InitNode(list);
  return list;
}

LLNode* DestLL(LLNode* list) {
  free(EmptyLL(list));
  return NULL;
}

int ApplyLL(LLNode* list, int (*function)(void* element)) {
  void* element = FirstElmLL(list);
  while (IsElmLL(element) != 0) {
    void* following = NextElmLL(element);
    const int result = function(element);
    if (result != 0) {
      return result;
    }
    element = following;
  }
  return 0;
}

LLNode* ReverseLL(LLNode* list) {
  LLNode* node = list;
  do {
    LLNode* following = node->next;
    node->next = node->prev;
    node->prev = following;
    node = following;
  } while (node != list);
  return list;
}

LLNode* ConsPtrLL(const LLNode* list) {
  LLNode* pointers = ConsLL();
  for (void* element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
    InsLastLLf(pointers, sizeof element, &element);
  }
  return pointers;
}

LLNode* ConsCopyLL(const LLNode* list) {
  LLNode* copies = ConsLL();
  for (const void* element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
    InsLastLLf(copies, NodeOf(element)->size, element);
  }
  return copies;
}

void** LookInLL(LLNode* list) {
  void** array = Allocate((size_t)SizeLL(list) + 1, sizeof(void*), "LookInLL");
  array[0] = list;
  ListElements(list, array + 1);
  return array;
}

/* ---- Moving sections between lists ---- */

/* Each returns the target that the caller gave; the nodes move to the place after `place`. */

static void* MoveList(void* target, LLNode* place, LLNode* source) {
  MoveNodes(source->next, source, place);
  return target;
}

static void* MoveHead(void* target, LLNode* place, LLNode* source, void* element) {
  MoveNodes(source->next, NodeOf(element), place);
  return target;
}

static void* MoveTail(void* target, LLNode* place, LLNode* source, void* element) {
  MoveNodes(NodeOf(element), source, place);
  return target;
}

LLNode* MoveListFirstLL(LLNode* target, LLNode* source) { return MoveList(target, target, source); }

LLNode* MoveListLastLL(LLNode* target, LLNode* source) { return MoveList(target, target->prev, source); }

void* MoveListAftLL(void* target, LLNode* source) { return MoveList(target, NodeOf(target), source); }

void* MoveListBefLL(void* target, LLNode* source) { return MoveList(target, NodeOf(target)->prev, source); }

LLNode* MoveHeadFirstLL(LLNode* target, LLNode* source, void* element) {
  return MoveHead(target, target, source, element);
}

LLNode* MoveHeadLastLL(LLNode* target, LLNode* source, void* element) {
  return MoveHead(target, target->prev, source, element);
}

void* MoveHeadAftLL(void* target, LLNode* source, void* element) {
  return MoveHead(target, NodeOf(target), source, element);
}

void* MoveHeadBefLL(void* target, LLNode* source, void* element) {
  return MoveHead(target, NodeOf(target)->prev, source, element);
}

LLNode* MoveTailFirstLL(LLNode* target, LLNode* source, void* element) {
  return MoveTail(target, target, source, element);
}

LLNode* MoveTailLastLL(LLNode* target, LLNode* source, void* element) {
  return MoveTail(target, target->prev, source, element);
}

void* MoveTailAftLL(void* target, LLNode* source, void* element) {
  return MoveTail(target, NodeOf(target), source, element);
}

void* MoveTailBefLL(void* target, LLNode* source, void* element) {
  return MoveTail(target, NodeOf(target)->prev, source, element);
}
