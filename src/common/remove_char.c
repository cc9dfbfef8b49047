#include "common/cm_common.h"

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
