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

/* Looks up a key in a sectioned text file and copies its value, cut to `valueSize` less 1 characters. Returns
   1 when a value that is not empty was found. Otherwise it returns 0 and `message` says why, cut to
   `messageSize` less 1 characters; after success it is empty. Without memory the result is 0 and `message` is
   left alone.

   A line `[name]` begins a section, a line that begins with `#` is skipped, all others are `key=value`, with
   nothing around the key. Letter case counts in values alone. `section` may have its brackets or not; with a
   null or empty one the whole file is searched, whatever its headers say. Sections longer than 63 characters,
   brackets included, are cut; keys longer than 254 are not found.

   The first `%(name)` of a value stands for the value of the key `name` in the same section, or else in
   [DEFAULT]. If it is not closed, or is the 101st in a chain of such references, as in one that leads back to
   its own key, the result is 0. */
int i_GetPrivateProfileString(const char* file, const char* section, const char* key, char* value,
                              int32_t valueSize, char* message, int32_t messageSize);

#ifdef __cplusplus
}
#endif
#undef CM_NOTHROW

#endif
