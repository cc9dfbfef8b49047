#include <ctype.h>

#include "common/cm_common.h"
#include "common/own_text.h"

char* uppercase(char* text) { return ConvertText(text, toupper); }
