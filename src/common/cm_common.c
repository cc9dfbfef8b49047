#include "common/cm_common.h"

#include <ctype.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/trace_hook.h"

void (*cm_TraceHook)(int level, const char* format, ...);

/* ---- Paths ---- */

static char* Replace(char* text, char from, char to) {
  for (char* place = strchr(text, from); place != NULL; place = strchr(place, from)) {
    *place = to;
  }
  return text;
}

char* szPath2Dos(char* path) { return Replace(path, '/', '\\'); }

char* szPath2Unix(char* path) { return Replace(path, '\\', '/'); }

static char16_t* ReplaceWide(char16_t* text, char16_t from, char16_t to) {
  for (char16_t* place = text; *place != 0; ++place) {
    if (*place == from) {
      *place = to;
    }
  }
  return text;
}

char16_t* szwPath2Dos(char16_t* path) { return ReplaceWide(path, '/', '\\'); }

char16_t* szwPath2Unix(char16_t* path) { return ReplaceWide(path, '\\', '/'); }

/* ---- Numbers as text ---- */

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

enum { kNumberWidth = 12 };

char* longtoasc(int32_t number) {
  static char text[kNumberWidth];
  snprintf(text, sizeof text, "%ld", (long)number);
  return text;
}

char* intoas(int32_t number) {
  static char text[kNumberWidth];
  snprintf(text, sizeof text, "%ld", (long)number);
  return text;
}

/* ---- Characters ---- */

static char* Convert(char* text, int (*function)(int)) {
  for (char* place = text; *place != '\0'; ++place) {
    *place = (char)function((unsigned char)*place);
  }
  return text;
}

char* lowercase(char* text) { return Convert(text, tolower); }

char* uppercase(char* text) { return Convert(text, toupper); }

char* squeeze(char* text, char character) {
  char* end = text;
  for (const char* place = text; *place != '\0'; ++place) {
    if (*place != character || place == text || place[-1] != character) {
      *end++ = *place;
    }
  }
  *end = '\0';
  return text;
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
  strlcpy(copy, buffer, (size_t)size);
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

int32_t remove_char(char* text, char character) {
  char* end = text;
  for (const char* place = text; *place != '\0'; ++place) {
    if (*place != character) {
      *end++ = *place;
    }
  }
  *end = '\0';
  return (int32_t)(end - text);
}

void InsArgvLL(LLNode* list, ...) {
  va_list texts;
  va_start(texts, list);
  for (const char* text = va_arg(texts, const char*); text != NULL; text = va_arg(texts, const char*)) {
    InsLastLLf(list, strlen(text) + 1, text);
  }
  va_end(texts);
}

/* ---- URLs ---- */

char* cm_url_encode(const char* text) {
  static const char kept[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~";
  static const char digits[] = "0123456789abcdef";
  char* encoded = malloc(strlen(text) * 3 + 1);
  if (encoded == NULL) {
    return NULL;
  }
  char* end = encoded;
  for (; *text != '\0'; ++text) {
    if (strchr(kept, *text) != NULL) {
      *end++ = *text;
    } else if (*text == ' ') {
      *end++ = '+';
    } else {
      const unsigned char byte = (unsigned char)*text;
      *end++ = '%';
      *end++ = digits[byte / 16];
      *end++ = digits[byte % 16];
    }
  }
  *end = '\0';
  return encoded;
}

static int DigitValue(char digit) {
  return digit >= '0' && digit <= '9' ? digit - '0' : tolower((unsigned char)digit) - 'a' + 10;
}

char* cm_url_decode(const char* text) {
  char* decoded = malloc(strlen(text) + 1);
  if (decoded == NULL) {
    return NULL;
  }
  char* end = decoded;
  for (; *text != '\0'; ++text) {
    if (*text == '+') {
      *end++ = ' ';
    } else if (*text != '%') {
      *end++ = *text;
    } else if (text[1] != '\0' && text[2] != '\0') {
      const int byte = DigitValue(text[1]) * 16 | DigitValue(text[2]);
      *end++ = (char)(unsigned char)byte;
      text += 2;
    }
  }
  *end = '\0';
  return decoded;
}

/* ---- Bounded copies ---- */

size_t strlcpy(char* buffer, const char* text, size_t size) {
  const size_t length = strlen(text);
  if (size > 0) {
    const size_t copied = length < size ? length : size - 1;
    memcpy(buffer, text, copied);
    buffer[copied] = '\0';
  }
  return length;
}

size_t strlcat(char* buffer, const char* text, size_t size) {
  const char* terminator = memchr(buffer, '\0', size);
  if (terminator == NULL) {
    return size + strlen(text);
  }
  const size_t used = (size_t)(terminator - buffer);
  return used + strlcpy(buffer + used, text, size - used);
}

static size_t WideLength(const char16_t* text) {
  size_t length = 0;
  while (text[length] != 0) {
    ++length;
  }
  return length;
}

size_t wcslcpy(char16_t* buffer, const char16_t* text, size_t size) {
  const size_t length = WideLength(text);
  const size_t copied = length < size ? length : size - 1;
  memcpy(buffer, text, copied * sizeof *text);
  buffer[copied] = 0;
  return length;
}

size_t wcslcat(char16_t* buffer, const char16_t* text, size_t size) {
  const size_t used = WideLength(buffer);
  return used + (used < size ? wcslcpy(buffer + used, text, size - used) : WideLength(text));
}
