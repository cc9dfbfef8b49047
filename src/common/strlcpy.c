#include "common/cm_common.h"
#include "common/own_text.h"

size_t strlcpy(char* buffer, const char* text, size_t size) { return CopyText(buffer, text, size); }
