/* Text utilities and a reader of sectioned text files, for C and C++.

   Text is zero-terminated and belongs to the caller. It is single-byte, except in the functions with a `w`,
   whose text is of 16-bit units on every system. No argument may be null unless its description says so.
   Functions take time in proportion to the text and keep no state unless their description says otherwise.
   What the caller frees is freed with `free` of the C runtime that the library was built with; on Windows a
   program of another compiler may have another one. */
#ifndef COMMON_CM_COMMON_H
#define COMMON_CM_COMMON_H

/* The C library may have functions of the same names as ours; its headers must come first. */
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

/* Change each `/` to a backslash (Dos), or each backslash to `/` (Unix), in place. All return their argument.
 */
char* szPath2Dos(char* path);
char* szPath2Unix(char* path);
char16_t* szwPath2Dos(char16_t* path);
char16_t* szwPath2Unix(char16_t* path);

/* ---- Numbers as text ---- */

/* Writes a number of bytes with one decimal and the unit T, G, M, K (powers of 1,024) or B, cut to `size` - 1
   characters, and returns `buffer`. A unit is used above its own size only: 1,024 gives "1024.0B". */
char* szHumanReadable(double value, char* buffer, int32_t size);

/* Return the number in decimal, in a static buffer that the next call of the same function overwrites. Not
   safe in several threads. */
char* longtoasc(int32_t number);
char* intoas(int32_t number);

/* ---- Characters ---- */

/* Change each byte to lower or upper case in place, by the rules of the C library and the program's locale,
   and return their argument. */
char* lowercase(char* text);
char* uppercase(char* text);

/* Shortens every run of the character to one, in place, and returns its argument. */
char* squeeze(char* text, char character);

/* Puts a backslash before each occurrence of the character in `buffer`, whose size is `size`. A result that
   is too long is cut to `size` - 1 characters, even directly after a backslash. Returns the buffer, or null
   if memory runs out. */
char* szChar2EscapeChar(char* buffer, char character, int32_t size);

/* Removes the first and the last character of the text, in place, if both are the given character. A text
   that is only this character becomes empty. Returns its argument. */
char* szDelEnclosingChars(char* text, char character);

/* Removes all occurrences of the character in place and returns the new length. */
int32_t remove_char(char* text, char character);

/* Appends a copy of each of the texts, with its terminating zero, to the list as a new last element
   (`InsLastLLf`). The last argument must be `(char*)NULL`. */
void InsArgvLL(LLNode* list, ...)
#ifdef __GNUC__
    __attribute__((sentinel))
#endif
    ;

/* ---- URLs ---- */

/* A new text in which letters, digits and `-_.~` are unchanged, a space is `+`, and every other byte is `%`
   and two lower-case hexadecimal digits. The caller frees it. Null if memory runs out. */
char* cm_url_encode(const char* text);

/* The reverse, as a new text that the caller frees: `+` becomes a space, `%` and the two characters after it
   a byte. It does not check that they are digits. A `%` with fewer characters after it is dropped. Null if
   memory runs out. */
char* cm_url_decode(const char* text);

/* ---- Bounded copies ---- */

/* Copies at most `size` - 1 characters and terminates the copy, unless `size` is 0. Returns the length of
   `text`: if that is `size` or more, the copy was cut. Newer C libraries declare the same function. */
size_t strlcpy(char* buffer, const char* text, size_t size) CM_NOTHROW;

/* Appends within `size` and terminates. Returns the length of the whole joined text: if that is `size` or
   more, it was cut. A buffer without a terminator within `size` is not changed; the result is then `size`
   plus the length of `text`. */
size_t strlcat(char* buffer, const char* text, size_t size) CM_NOTHROW;

/* The same for wide text, with sizes in 16-bit units. `size` must be at least 1. `wcslcat` does not change a
   buffer whose text has `size` units or more, and returns the sum of both lengths. */
#if WCHAR_MAX > 0xffff
/* Where `wchar_t` is wider than 16 bits, the C library may have functions of these names for it. */
#define wcslcpy cm_wcslcpy
#define wcslcat cm_wcslcat
#endif
size_t wcslcpy(char16_t* buffer, const char16_t* text, size_t size) CM_NOTHROW;
size_t wcslcat(char16_t* buffer, const char16_t* text, size_t size) CM_NOTHROW;

/* ---- Sectioned text files ---- */

/* The format. `[name]` at the start of a line begins a section, which ends at the next line that begins with
   `[`. A line that begins with `#` is skipped. All other lines are `key=value`. A line with spaces before the
   key or before the `=` is not found. There are no comments after a value. Section names and keys are
   compared without regard to case. A value begins directly after the `=`, with its leading spaces; spaces at
   its end are removed, unless it is nothing but spaces. Lines longer than 1,023 characters are read in
   pieces, as if they were several lines. A UTF-8 byte order mark is not skipped: it becomes part of the first
   line.

   Macros. The first `%(name)` of a value is replaced by the value of the key `name` in the same section, or
   in [DEFAULT] if the section has none. Further ones stay as they are. The macro's own value is cut to the
   size of the caller's `value` buffer (list form: 511 characters), the whole to 1,023 characters. A macro
   that leads back to its own key in the same section is an error.

   Results. Both functions return 1 if they found something, else 0. `message` is then the reason, cut to
   `messageSize` - 1 characters; after success it is empty. If memory runs out they return 0 and do not change
   `message`: set it to the empty text before the call. With a `section` that is null or empty, all lines of
   the file count, whatever section they are in. Each call reads the file from its start, and once or twice
   more for each macro.

   The format is this library's own. */

/* Looks up the first value of a key. `section` may have its brackets or not, and is cut to 63 characters with
   them. A key of more than 254 characters is an error. An empty value counts as not found.

   `value` gets the value, cut to `valueSize` - 1 characters: a cut value looks like a whole one, so choose a
   buffer of 1,024 if you have to be sure. If the key or its section is missing, or a macro fails, `value` is
   not changed, not even terminated. */
int i_GetPrivateProfileString(const char* file, const char* section, const char* key, char* value,
                              int32_t valueSize, char* message, int32_t messageSize);

/* Appends a copy of every value that matches, with its terminating zero, to the list (`InsLastLLf`). Forms of
   `key`:
     name     every line of this key
     name#    every line whose key is the name and a decimal number after it
     name##   the same lines; each value is preceded by the text after the last `_` of its key and a colon, if
              the key has a `_`
   `section` needs its brackets here and is compared as it is. It has at most 63 characters, and `key` 62;
   longer ones are an error. If a macro fails, the values found before it remain in the list, and the result
   is 0. If memory runs out for an element, the process ends, as in all list functions. */
int i_GetPrivateProfileList(const char* file, const char* section, const char* key, LLNode* list,
                            char* message, int32_t messageSize);

#ifdef __cplusplus
}
#endif
#undef CM_NOTHROW

#endif
