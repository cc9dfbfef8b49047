/* Common utilities for text, for C and C++. Text is zero-terminated and the caller's; it is single-byte but
   for the functions with a `w`, whose text is of 16-bit units on every system. No argument may be null unless
   it says so. Functions take time in proportion to the text and keep no state unless told otherwise. */
#ifndef COMMON_CM_COMMON_H
#define COMMON_CM_COMMON_H

/* The C library may have functions of the same names as ours; its headers have to come first. */
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <wchar.h>

#include "LL.h"

#ifdef __cplusplus
#define CM_NOTHROW noexcept
extern "C" {
#else
#include <uchar.h>
#define CM_NOTHROW
#endif

/* ---- Paths ---- */

/* Turn each `/` into a backslash, and each backslash into `/`, in place. All return their argument. */
char* szPath2Dos(char* path);
char* szPath2Unix(char* path);
char16_t* szwPath2Dos(char16_t* path);
char16_t* szwPath2Unix(char16_t* path);

/* ---- Numbers as text ---- */

/* Writes a number of bytes with one decimal and the unit T, G, M, K (powers of 1,024) or B, cut to `size`
   less 1 characters, and returns `buffer`. A unit is used above its own size, so that 1,024 is "1024.0B". */
char* szHumanReadable(double value, char* buffer, int32_t size);

/* Give the number in decimal, in a static buffer that the next call of the same function overwrites. Not for
   several threads. */
char* longtoasc(int32_t number);
char* intoas(int32_t number);

/* ---- Characters ---- */

/* Lower-case, or upper-case, each byte in place by the C library's rules, and return their argument. */
char* lowercase(char* text);
char* uppercase(char* text);

/* Shortens every run of the character to one, in place, and returns its argument. */
char* squeeze(char* text, char character);

/* Puts a backslash in front of each occurrence of the character. `size` is the size of the buffer, which
   holds the text; what is longer is cut, even behind a backslash. Returns the buffer, or null without memory.
 */
char* szChar2EscapeChar(char* buffer, char character, int32_t size);

/* Takes the first and the last character off the text, in place, if both are the character given. A text of
   this character alone becomes empty. Returns its argument. */
char* szDelEnclosingChars(char* text, char character);

/* Removes all occurrences of the character in place and returns the new length. */
int32_t remove_char(char* text, char character);

/* Appends a copy of each text that follows, its terminating zero included, to the list as a new last element
   (`InsLastLLf`). The last argument is a null pointer to char. */
void InsArgvLL(LLNode* list, ...)
#ifdef __GNUC__
    __attribute__((sentinel))
#endif
    ;

/* ---- URLs ---- */

/* A new text in which letters, digits and `-_.~` stay, a blank is `+` and every other byte `%` with two
   lower-case hexadecimal digits. The caller frees it. Null without memory. */
char* cm_url_encode(const char* text);

/* The way back, as a new text that the caller frees: `+` is a blank, `%` with the two characters behind it a
   byte. These are not tested to be digits; a `%` with fewer behind it is dropped. Null without memory. */
char* cm_url_decode(const char* text);

/* ---- Bounded copies ---- */

/* Copies at most `size` less 1 characters and terminates unless `size` is 0. Returns the length of `text`:
   a result of `size` or more says that the copy was cut. Newer C libraries declare the same function. */
size_t strlcpy(char* buffer, const char* text, size_t size) CM_NOTHROW;

/* Appends within `size` and terminates. Returns the length that the joined text wanted. A buffer that holds
   no terminator within `size` is left alone; the result is then `size` plus the length of `text`. */
size_t strlcat(char* buffer, const char* text, size_t size) CM_NOTHROW;

/* The same for wide text, with sizes in units; `size` is at least 1. A buffer whose text has `size` units or
   more is left alone; the result is then the sum of both lengths. */
#if WCHAR_MAX > 0xffff
/* Where wide characters are wider than ours the C library may have functions of these names for its own. */
#define wcslcpy cm_wcslcpy
#define wcslcat cm_wcslcat
#endif
size_t wcslcpy(char16_t* buffer, const char16_t* text, size_t size) CM_NOTHROW;
size_t wcslcat(char16_t* buffer, const char16_t* text, size_t size) CM_NOTHROW;

/* ---- Sectioned text files ---- */

/* In a profile a line `[name]` begins a section, a line that begins with `#` is skipped, and all others are
   `key=value`, with nothing around the key. Letter case counts in values alone; spaces at a value's end do
   not count. Lines longer than 1,023 characters are read in pieces. The first `%(name)` of a value stands for
   the value of the key `name` in the same section, or else in [DEFAULT]; the whole is cut to 1,023
   characters.

   Both functions return 1 when they found something and else 0; then `message` says why, cut to `messageSize`
   less 1 characters. After success it is empty. Without memory they return 0 and leave `message` alone. A
   `section` that is null or empty searches the whole file, whatever its headers say. Every call reads the
   file anew, and once or twice more for every macro. */

/* Looks up a key and copies its first value, cut to `valueSize` less 1 characters. An empty value is none.
   `section` may have its brackets or not, and is cut to 63 characters with them; a key holds at most 254. */
int i_GetPrivateProfileString(const char* file, const char* section, const char* key, char* value,
                              int32_t valueSize, char* message, int32_t messageSize);

/* Appends a copy of every value that matches, its terminating zero included, to the list (`InsLastLLf`).
   `key` is a name; or `name#`, for every key that is the name with a decimal number behind it; or `name##`,
   for the same keys with what stands behind the last `_` of each, a colon, and its value (only the value if
   there is no
   `_`). `section` is taken as it stands, with its brackets; it holds at most 63 characters, and `key` 62.
   What was found before a macro failed stays in the list. */
int i_GetPrivateProfileList(const char* file, const char* section, const char* key, LLNode* list,
                            char* message, int32_t messageSize);

#ifdef __cplusplus
}
#endif
#undef CM_NOTHROW

#endif
