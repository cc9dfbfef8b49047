/* Doubly linked lists of elements of any size, for C and C++.

   An element pointer is the address of an element's bytes. The library keeps a node directly before them. A
   list is a pointer to its head, which is a node without bytes; all nodes form a ring through it. The address
   directly after the head's node is the head position: navigation that goes past either end arrives there.
   `IsElmLL` tells it from an element.

   The Ins functions make elements, which belong to their list until they are unlinked or deleted. The Link
   functions take blocks that the caller made with `malloc`, with room for an `LLNode` before the element
   pointer; from then on they belong to the list in the same way. An unlinked element belongs to the caller,
   who frees the block: `free((LLNode*)element - 1)`. Library and program must use the same C runtime for that
   (on Windows, programs built with another compiler may not). An element's bytes are aligned as a pointer is.

   Every element has a size above 0 in the low 32 bits of its size field and is in one list at most. Arguments
   are trusted: none may be null unless its description says so. If memory runs out, a function that needs
   some writes a line to standard error and ends the process with `exit(-1)`. There are no locks. Unless its
   description says otherwise, an operation takes constant time and neither allocates nor frees memory. */
#ifndef COMMON_LL_H
#define COMMON_LL_H

#include <stddef.h>

/* The version of the library that this header belongs to; as a number, 4.12.3 is 41203. */
#define BACKINT_COMMON_VERSION "4.4.0"
#define BACKINT_COMMON_VERSION_NUMBER 40400

#ifdef __cplusplus
extern "C" {
#endif

typedef struct LLNode {
  struct LLNode* next;
  struct LLNode* prev;
  size_t size; /* of the bytes that follow; 0 marks a head */
} LLNode;

/* Links `newNode` at a place relative to `node`: `l_lafter`, `l_lbefore` or a function of the caller's. */
typedef void (*LLLinkFunction)(LLNode* node, LLNode* newNode);

/* Returns a number above 0 if the first element belongs after the second, else 0 or a negative number. For
   `SysSortLL`: below 0 if it belongs before the second, and 0 only if neither does. */
typedef int (*LLCompareFunction)(void* first, void* second);

/* ---- Nodes ---- */

/* Link `newNode` after, or before, `node`. */
void l_lafter(LLNode* node, LLNode* newNode);
void l_lbefore(LLNode* node, LLNode* newNode);

/* Takes the node out of its ring. Its own links do not change. */
void l_unlink(LLNode* node);

/* Makes both links of the node point to itself. */
void l_linit(LLNode* node);

/* ---- Linking and unlinking elements of the caller ---- */

/* Link an element as the first or the last of the list, or after or before the element (or head position)
   `place`. Its node must have its size already. All return `element`, which now belongs to the list. */
void* LinkFirstLL(LLNode* list, void* element);
void* LinkLastLL(LLNode* list, void* element);
void* LinkAftLL(void* place, void* element);
void* LinkBefLL(void* place, void* element);

/* Unlink the element, which belongs to the caller from then on. The first returns the element itself, the
   second the one after it, the third the one before it; these two may be the head position. */
void* UnlinkLL(void* element);
void* UnlinkNeLL(void* element);
void* UnlinkPrLL(void* element);

/* Set the size of the caller's block and link it: by a call of `link` with `node` and `block`, or at the
   place that the name says, as above. All return the block's element pointer; it now belongs to the list. */
void* LinkInsLLf(LLNode* node, size_t size, LLNode* block, LLLinkFunction link);
void* LinkInsFirstLLf(LLNode* list, size_t size, void* element);
void* LinkInsLastLLf(LLNode* list, size_t size, void* element);
void* LinkInsAftLLf(void* place, size_t size, void* element);
void* LinkInsBefLLf(void* place, size_t size, void* element);

/* ---- Making and deleting elements ---- */

/* Make an element of a copy of the `size` bytes at `data` and link it, as above. All return the new element,
   which belongs to the list. One allocation each. */
void* InsLLf(LLNode* node, size_t size, const void* data, LLLinkFunction link);
void* InsFirstLLf(LLNode* list, size_t size, const void* data);
void* InsLastLLf(LLNode* list, size_t size, const void* data);
void* InsAftLLf(void* place, size_t size, const void* data);
void* InsBefLLf(void* place, size_t size, const void* data);

/* Unlink the element and free it. The second returns the element after it, the third the one before it; both
   may be the head position. */
void DelElmLL(void* element);
void* DelElmNeLL(void* element);
void* DelElmPrLL(void* element);

/* ---- Navigation ---- */

/* The first or last element of the list; the head position if it is empty. */
void* FirstElmLL(const LLNode* list);
void* LastElmLL(const LLNode* list);

/* The element after or before this one; the head position if there is none. From the head position they lead
   to the first and to the last element. */
void* NextElmLL(const void* element);
void* PrevElmLL(const void* element);

/* The same, but the last element leads to the first and the first to the last. */
void* NextCElmLL(const void* element);
void* PrevCElmLL(const void* element);

/* The element or head position `count` links after the head or after the given element; before it if `count`
   is negative. 1 is a list's first element, -1 its last, 0 the place where the walk starts. The head counts
   as one place. Time in proportion to the count. */
void* NthElmLL(const LLNode* list, int count);
void* RelNthElmLL(const void* element, int count);

/* ---- Questions ---- */

/* The low 32 bits of the element's size; 0 for the head position. */
int IsElmLL(const void* element);

/* 1 if the element is the first, or the last, of its list, else 0. */
int IsFirstElmLL(const void* element);
int IsLastElmLL(const void* element);

/* 1 if `NthElmLL(list, count)` is the element, else 0. Time in proportion to the count. */
int IsNthElmLL(const LLNode* list, int count, const void* element);

/* 1 if the list has no element, else 0. */
int IsEmptyLL(const LLNode* list);

/* How many elements the list has. Walks the list. */
int SizeLL(const LLNode* list);

/* The element's position in the list, counted from 1; 0 if it is not in the list. Walks the list. */
int IndexElmLL(const LLNode* list, const void* element);

/* ---- Whole lists ---- */

/* Makes a node of the caller the head of an empty list, and returns it. The node still belongs to the caller:
   end such a list with `EmptyLL`, never with `DestLL`. */
LLNode* InitLL(LLNode* head);

/* Makes an empty list on the heap. End it with `DestLL`. */
LLNode* ConsLL(void);

/* Frees all elements and returns the list, now empty. Walks the list. */
LLNode* EmptyLL(LLNode* list);

/* Frees all elements and the head, which must come from `ConsLL` or another Cons function. Returns null.
   Walks the list. */
LLNode* DestLL(LLNode* list);

/* Calls the function with each element in order, until a call returns something other than 0, and returns
   that; else 0. The function may delete the element that it gets. */
int ApplyLL(LLNode* list, int (*function)(void* element));

/* Reverses the order of the elements and returns the list. Walks the list. */
LLNode* ReverseLL(LLNode* list);

/* A new list that belongs to the caller. The first has the element pointers of all elements: each of its
   elements is one pointer, valid as long as the element it points to. The second has copies of all elements.
   One allocation for each element. */
LLNode* ConsPtrLL(const LLNode* list);
LLNode* ConsCopyLL(const LLNode* list);

/* A new array of `SizeLL` + 1 pointers: the list, then each element. The caller frees it. */
void** LookInLL(LLNode* list);

/* ---- Moving sections between lists ---- */

/* Moves the nodes from `first` up to, but not including, `end` to the place after `target`, which must not be
   one of them. If `first` is `end`, nothing is moved. */
void CutPaste(LLNode* first, LLNode* end, LLNode* target);

/* Move elements of `source` to the front or the end of the list `target`, or to the place after or before the
   element `target`. List: all elements. Head: those before `element`. Tail: `element` and those after it.
   `element` may be the head position of `source`: then Head moves all and Tail nothing. The target must not
   be one of the elements that move. All return `target`; `source` remains a list with the rest. */
LLNode* MoveListFirstLL(LLNode* target, LLNode* source);
LLNode* MoveListLastLL(LLNode* target, LLNode* source);
void* MoveListAftLL(void* target, LLNode* source);
void* MoveListBefLL(void* target, LLNode* source);
LLNode* MoveHeadFirstLL(LLNode* target, LLNode* source, void* element);
LLNode* MoveHeadLastLL(LLNode* target, LLNode* source, void* element);
void* MoveHeadAftLL(void* target, LLNode* source, void* element);
void* MoveHeadBefLL(void* target, LLNode* source, void* element);
LLNode* MoveTailFirstLL(LLNode* target, LLNode* source, void* element);
LLNode* MoveTailLastLL(LLNode* target, LLNode* source, void* element);
void* MoveTailAftLL(void* target, LLNode* source, void* element);
void* MoveTailBefLL(void* target, LLNode* source, void* element);

/* ---- Sorting ---- */

/* Sorts the list and returns it. Equal elements keep their order. Time in proportion to n log n; no memory
   except the stack, whose depth is the logarithm of n. */
LLNode* MergeSortLL(LLNode* list, LLCompareFunction compare);

/* Sorts the list with `qsort` and returns it. Equal elements come in any order. Needs memory for one pointer
   per element while it works. Only one such sort may run at a time in the process. */
LLNode* SysSortLL(LLNode* list, LLCompareFunction compare);

/* The result of the compare function of the `SysSortLL` that is running, for two elements; the arguments are
   pointers to their element pointers. Outside such a sort it must not be called. */
int IntCompare(const void* first, const void* second);

#ifdef __cplusplus
}
#endif

#endif
