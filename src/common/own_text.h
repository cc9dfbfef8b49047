/* Text functions for the library's own use. A program may define `strlcpy`, `lowercase` and the like itself,
   for its own purposes; the library must not call those. */
#ifndef COMMON_OWN_TEXT_H
#define COMMON_OWN_TEXT_H

#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include "common/cm_common.h"

static inline size_t CopyText(char* buffer, const char* text, size_t size) {
  const size_t length = strlen(text);
  if (size > 0) {
    const size_t copied = length < size ? length : size - 1;
    memcpy(buffer, text, copied);
    buffer[copied] = '\0';
  }
  return length;
}

static inline size_t AppendText(char* buffer, const char* text, size_t size) {
  const char* terminator = memchr(buffer, '\0', size);
  if (terminator == NULL) {
    return size + strlen(text);
  }
  const size_t used = (size_t)(terminator - buffer);
  return used + CopyText(buffer + used, text, size - used);
}

static inline size_t WideLength(const char16_t* text) {
  size_t length = 0;
  while (text[length] != 0) {
    ++length;
  }
  return length;
}

static inline size_t CopyWideText(char16_t* buffer, const char16_t* text, size_t size) {
  const size_t length = WideLength(text);
  const size_t copied = length < size ? length : size - 1;
  memcpy(buffer, text, copied * sizeof *text);
  buffer[copied] = 0;
  return length;
}

static inline char* ConvertText(char* text, int (*function)(int)) {
  for (char* place = text; *place != '\0'; ++place) {
    *place = (char)function((unsigned char)*place);
  }
  return text;
}

static inline char* LowerText(char* text) { return ConvertText(text, tolower); }

enum { kNumberWidth = 12 };

static inline char* PrintNumber(int32_t number, char text[kNumberWidth]) {
  snprintf(text, kNumberWidth, "%ld", (long)number);
  return text;
}

#endif
