#include "common/cm_common.h"

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
