#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/cm_common.h"
#include "common/own_text.h"
#include "common/trace_hook.h"

static size_t Width(int32_t size) { return size > 0 ? (size_t)size : 0; }

char* szHumanReadable(double value, char* buffer, int32_t size) {
  static const char units[] = "BKMGT";
  double unitSize = 1099511627776.0;
  int unit = 4;
  while (unit > 0 && !(value > unitSize)) {
    unitSize /= 1024;
    --unit;
  }
  snprintf(buffer, Width(size), "%0.1f%c", value / unitSize, units[unit]);
  return buffer;
}

char* szChar2EscapeChar(char* buffer, char character, int32_t size) {
  if (size < 1) {
    return buffer;
  }
  const size_t limit = (size_t)size - 1;
  char* copy = malloc((size_t)size);
  if (copy == NULL) {
    if (cm_TraceHook != NULL) {
      cm_TraceHook(3, "szChar2EscapeChar: malloc failed");
    }
    return NULL;
  }
  CopyText(copy, buffer, (size_t)size);
  size_t written = 0;
  for (const char* place = copy; *place != '\0' && written < limit; ++place) {
    if (*place == character) {
      buffer[written++] = '\\';
    }
    if (written < limit) {
      buffer[written++] = *place;
    }
  }
  buffer[written] = '\0';
  free(copy);
  return buffer;
}

char* szDelEnclosingChars(char* text, char character) {
  const size_t length = strlen(text);
  if (length == 0 || text[0] != character || text[length - 1] != character) {
    return text;
  }
  const size_t rest = length > 1 ? length - 2 : 0;
  memmove(text, text + 1, rest);
  text[rest] = '\0';
  if (cm_TraceHook != NULL) {
    cm_TraceHook(3, "Enclosing char [%c] from [%s] deleted.", character, text);
  }
  return text;
}
