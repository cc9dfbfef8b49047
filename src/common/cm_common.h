/* Common string utilities, exported by the executable for other programs. All text is single-byte,
   zero-terminated and owned by the caller. */
#ifndef COMMON_CM_COMMON_H
#define COMMON_CM_COMMON_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define CM_NOTHROW noexcept
extern "C" {
#else
#define CM_NOTHROW
#endif

/* Turn each `/` into a backslash, and each backslash into `/`, in place. Both return their argument. */
char* szPath2Dos(char* path);
char* szPath2Unix(char* path);

/* Lower-cases each byte in place by the rules of the "C" locale, and returns its argument. */
char* lowercase(char* text);

/* Copies at most `size` less 1 characters and terminates unless `size` is 0. Returns the length of `text`:
   a result of `size` or more says that the copy was cut. Newer C libraries declare the same function. */
size_t strlcpy(char* buffer, const char* text, size_t size) CM_NOTHROW;

/* Appends within `size` and terminates. Returns the length that the joined text wanted. A buffer that holds
   no terminator within `size` is left alone; the result is then `size` plus the length of `text`. */
size_t strlcat(char* buffer, const char* text, size_t size) CM_NOTHROW;

#ifdef __cplusplus
}
#endif
#undef CM_NOTHROW

#endif
