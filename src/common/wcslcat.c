#include "common/cm_common.h"
#include "common/own_text.h"

size_t wcslcat(char16_t* buffer, const char16_t* text, size_t size) {
  const size_t used = WideLength(buffer);
  return used + (used < size ? CopyWideText(buffer + used, text, size - used) : WideLength(text));
}
