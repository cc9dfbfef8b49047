#include "common/cm_common.h"
#include "common/own_text.h"

char* lowercase(char* text) { return LowerText(text); }
