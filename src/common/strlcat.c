#include "common/cm_common.h"
#include "common/own_text.h"

size_t strlcat(char* buffer, const char* text, size_t size) { return AppendText(buffer, text, size); }
