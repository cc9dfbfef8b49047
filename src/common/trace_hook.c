#include "common/trace_hook.h"

void (*cm_TraceHook)(int level, const char* format, ...);
