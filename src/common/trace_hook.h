/* How the common library writes to a trace. Only for the program that sets the hook. */
#ifndef COMMON_TRACE_HOOK_H
#define COMMON_TRACE_HOOK_H

#ifdef __cplusplus
extern "C" {
#endif

/* Gets a level from 1 to 3 and a text as for printf. Null at the start: nothing is traced then. */
extern void (*cm_TraceHook)(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

#ifdef __cplusplus
}
#endif

#endif
