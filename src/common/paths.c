#include "common/cm_common.h"

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
