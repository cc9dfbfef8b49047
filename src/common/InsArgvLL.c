#include <stdarg.h>
#include <string.h>

#include "common/cm_common.h"

void InsArgvLL(LLNode* list, ...) {
  va_list texts;
  va_start(texts, list);
  for (const char* text = va_arg(texts, const char*); text != NULL; text = va_arg(texts, const char*)) {
    InsLastLLf(list, strlen(text) + 1, text);
  }
  va_end(texts);
}
