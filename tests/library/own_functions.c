/* A program that has functions of its own under names that the library uses too. The library works beside
   them and never calls them: they end the program if they are called. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/LL.h"

#define OWN(name)                                          \
  void name(void);                                         \
  void name(void) {                                        \
    fprintf(stderr, "%s belongs to the program\n", #name); \
    abort();                                               \
  }

OWN(lowercase)
OWN(uppercase)
OWN(squeeze)
OWN(remove_char)
OWN(longtoasc)
OWN(intoas)
OWN(wcslcpy)
OWN(wcslcat)

/* The C library of a newer system declares these. */
size_t strlcpy(char* buffer, const char* text, size_t size);
size_t strlcat(char* buffer, const char* text, size_t size);
size_t strlcpy(char* buffer, const char* text, size_t size) {
  (void)buffer;
  (void)text;
  (void)size;
  abort();
}
size_t strlcat(char* buffer, const char* text, size_t size) { return strlcpy(buffer, text, size); }

/* Of the list library; the header declares them. */
int IntCompare(const void* first, const void* second) { return first < second ? abort(), 0 : 0; }
void CutPaste(LLNode* first, LLNode* end, LLNode* target) {
  if (first != end || target != NULL) abort();
}
void l_unlink(LLNode* node) {
  if (node != NULL) abort();
}

/* Not from the header, which declares what this program defines. */
int i_GetPrivateProfileString(const char* file, const char* section, const char* key, char* value,
                              int valueSize, char* message, int messageSize);
char* szChar2EscapeChar(char* buffer, char character, int size);
char* cm_url_encode(const char* text);
char* szPath2Dos(char* path);

static int Compare(void* first, void* second) { return strcmp(first, second); }

int main(int argc, char** argv) {
  char value[64];
  char message[256];
  if (argc != 2 ||
      i_GetPrivateProfileString(argv[1], "Prod", "X", value, sizeof value, message, sizeof message) == 0) {
    puts(message);
    return 1;
  }
  LLNode* list = ConsLL();
  InsLastLLf(list, strlen(value) + 1, value);
  InsLastLLf(list, 2, "b");
  InsFirstLLf(list, 2, "c");
  LLNode* others = ConsCopyLL(list);
  MoveListFirstLL(list, others);
  MergeSortLL(list, Compare);
  SysSortLL(list, Compare);
  DelElmLL(FirstElmLL(list));
  char* encoded = cm_url_encode(szPath2Dos(szChar2EscapeChar(value, 'k', sizeof value)));
  printf("%d %s %s\n", SizeLL(list), (char*)FirstElmLL(list), encoded);
  free(encoded);
  DestLL(others);
  DestLL(list);
  return 0;
}
