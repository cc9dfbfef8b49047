/* Doubly linked lists of elements of any size, for C and C++.

   The caller holds pointers to its own data: an element pointer is the address of an element's bytes, in
   front of which the library keeps its node. A list is a pointer to its head, a node without bytes; the nodes
   form a ring through it. The address just behind the head's node is the head position: what navigation gives
   when it steps past either end. `IsElmLL` tells it from an element.

   Elements made by the Ins functions belong to their list until they are unlinked or deleted. Elements handed
   over to the Link functions are blocks that the caller made with `malloc`, with room for an `LLNode` in
   front of the element pointer, and belong to the list in the same way. Unlinked, an element is the caller's
   again, who releases the block with `free` from its node's address. An element's bytes are aligned as a
   pointer is.

   Every element has a size above 0 in the low 32 bits of its size field and stands in at most one list.
   Arguments are trusted: none may be null unless it says so. Where the memory is exhausted, a function that
   needs some writes a line to standard error and ends the process with `exit(-1)`. Nothing is locked. Unless
   told otherwise an operation takes constant time and neither makes nor frees memory. */
#ifndef COMMON_LL_H
#define COMMON_LL_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct LLNode {
  struct LLNode* next;
  struct LLNode* prev;
  size_t size; /* of the bytes that follow; 0 marks a head */
} LLNode;

/* Links the second node at a place told by the first: `l_lafter`, `l_lbefore` or one of the caller's. */
typedef void (*LLLinkFunction)(LLNode* node, LLNode* newNode);

/* Above 0 if the first element belongs behind the second, else 0 or below. */
typedef int (*LLCompareFunction)(void* first, void* second);

/* ---- Nodes ---- */

/* Links `newNode` behind, or in front of, `node`. */
void l_lafter(LLNode* node, LLNode* newNode);
void l_lbefore(LLNode* node, LLNode* newNode);

/* Takes the node out of its ring. Its own links stay as they were. */
void l_unlink(LLNode* node);

/* Makes both links of the node point to itself. */
void l_linit(LLNode* node);

/* ---- Linking and unlinking elements of the caller ---- */

/* Link an element, whose node holds its size already, at the front or the end of the list, behind or in front
   of the element (or head position) `place`. All return `element`, which now belongs to the list. */
void* LinkFirstLL(LLNode* list, void* element);
void* LinkLastLL(LLNode* list, void* element);
void* LinkAftLL(void* place, void* element);
void* LinkBefLL(void* place, void* element);

/* Unlink the element, which is the caller's from then on. They return the element itself, the one that
   followed it or the one that preceded it; these two may be the head position. */
void* UnlinkLL(void* element);
void* UnlinkNeLL(void* element);
void* UnlinkPrLL(void* element);

/* Set the size of the caller's block and link it: by calling `link` with `node` and `block`, or at the place
   that the other names tell as above. All return the block's element pointer; it now belongs to the list. */
void* LinkInsLLf(LLNode* node, size_t size, LLNode* block, LLLinkFunction link);
void* LinkInsFirstLLf(LLNode* list, size_t size, void* element);
void* LinkInsLastLLf(LLNode* list, size_t size, void* element);
void* LinkInsAftLLf(void* place, size_t size, void* element);
void* LinkInsBefLLf(void* place, size_t size, void* element);

/* ---- Making and deleting elements ---- */

/* Make an element of a copy of `size` bytes at `data` and link it, as above. All return the new element,
   which belongs to the list. One allocation each. */
void* InsLLf(LLNode* node, size_t size, const void* data, LLLinkFunction link);
void* InsFirstLLf(LLNode* list, size_t size, const void* data);
void* InsLastLLf(LLNode* list, size_t size, const void* data);
void* InsAftLLf(void* place, size_t size, const void* data);
void* InsBefLLf(void* place, size_t size, const void* data);

/* Unlink the element and free it. The second returns the element that followed it, the third the one that
   preceded it; both may be the head position. */
void DelElmLL(void* element);
void* DelElmNeLL(void* element);
void* DelElmPrLL(void* element);

/* ---- Navigation ---- */

/* The first or last element of the list; the head position if it is empty. */
void* FirstElmLL(const LLNode* list);
void* LastElmLL(const LLNode* list);

/* The element behind or in front of this one; the head position at the end. From the head position they lead
   to the first and the last element. */
void* NextElmLL(const void* element);
void* PrevElmLL(const void* element);

/* The same, but the last element leads to the first and the first to the last. */
void* NextCElmLL(const void* element);
void* PrevCElmLL(const void* element);

/* What stands `count` links behind the head or the given element, or in front of it for a negative count: 1
   is a list's first element, -1 its last, 0 the place started from. The head takes one place of the count.
   Takes time in proportion to the count. */
void* NthElmLL(const LLNode* list, int count);
void* RelNthElmLL(const void* element, int count);

/* ---- Questions ---- */

/* The low 32 bits of the element's size; 0 for the head position. */
int IsElmLL(const void* element);

/* 1 if the element is the first, or the last, of its list, else 0. */
int IsFirstElmLL(const void* element);
int IsLastElmLL(const void* element);

/* 1 if `NthElmLL(list, count)` is the element, else 0. Takes time in proportion to the count. */
int IsNthElmLL(const LLNode* list, int count, const void* element);

/* 1 if the list has no element, else 0. */
int IsEmptyLL(const LLNode* list);

/* How many elements the list has. Walks the list. */
int SizeLL(const LLNode* list);

/* Where the element stands in the list, counted from 1; 0 if it does not. Walks the list. */
int IndexElmLL(const LLNode* list, const void* element);

/* ---- Whole lists ---- */

/* Makes a node of the caller the head of an empty list, and returns it. The node stays the caller's: end such
   a list with `EmptyLL`. */
LLNode* InitLL(LLNode* head);

/* Makes an empty list on the heap. End it with `DestLL`. */
LLNode* ConsLL(void);

/* Frees all elements and returns the list, now empty. Walks the list. */
LLNode* EmptyLL(LLNode* list);

/* Frees all elements and the head, which `ConsLL` or another Cons function made. Returns null. Walks the
 * list. */
LLNode* DestLL(LLNode* list);

/* Calls the function with each element from the first on, until one call gives a result other than 0, which
   is returned; else 0. The function may delete the element that it is given. */
int ApplyLL(LLNode* list, int (*function)(void* element));

/* Turns the order of the elements round and returns the list. Walks the list. */
LLNode* ReverseLL(LLNode* list);

/* A new list of the caller: of the element pointers of all elements (each element's bytes are one pointer,
   good for as long as the element it points to), or of copies of all elements. One allocation for each
   element. */
LLNode* ConsPtrLL(const LLNode* list);
LLNode* ConsCopyLL(const LLNode* list);

/* A new array of `SizeLL` + 1 pointers: the list, then each element. The caller frees it. */
void** LookInLL(LLNode* list);

/* ---- Moving sections between lists ---- */

/* Moves the nodes from `first` up to, but without, `behind` to the place behind `target`, which must not be
   one of them. If `first` is `behind` nothing is moved. */
void CutPaste(LLNode* first, LLNode* behind, LLNode* target);

/* Move all elements of `source`; the head part, which is all in front of `element`; or the tail part, which
   is `element` and all behind it. They go to the front or the end of the list `target`, or behind or in front
   of the element `target`. `element` may be the head position of `source`: then the head part is the whole
   list and the tail part is empty. The place must not be within what is moved. All return `target`; `source`
   stays a list with what is left. */
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

/* Sorts the list and returns it. Equal elements keep their order. Takes time in proportion to n log n, and no
   memory but a stack as deep as the logarithm of n. */
LLNode* MergeSortLL(LLNode* list, LLCompareFunction compare);

/* Sorts the list with `qsort` and returns it. Equal elements come in any order. Takes a pointer's memory for
   each element while it works. Only one such sort may run at a time in the process. */
LLNode* SysSortLL(LLNode* list, LLCompareFunction compare);

/* What the compare function of the `SysSortLL` under way says of two elements, given by pointers to their
   element pointers. */
int IntCompare(const void* first, const void* second);

#ifdef __cplusplus
}
#endif

#endif
