#include "common/cm_common.h"
#include "common/own_text.h"

char* longtoasc(int32_t number) {
  static char text[kNumberWidth];
  return PrintNumber(number, text);
}
