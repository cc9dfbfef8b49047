/* How the common library speaks to a trace. For the program that sets it; nothing for other programs. */
#ifndef COMMON_TRACE_HOOK_H
#define COMMON_TRACE_HOOK_H

#ifdef __cplusplus
extern "C" {
#endif

/* Takes a level from 1 to 3 and a printf-like text. Null at the start: then nothing is traced. */
extern void (*cm_TraceHook)(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

#ifdef __cplusplus
}
#endif

#endif
