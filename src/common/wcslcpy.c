#include "common/cm_common.h"
#include "common/own_text.h"

size_t wcslcpy(char16_t* buffer, const char16_t* text, size_t size) {
  return CopyWideText(buffer, text, size);
}
