/* What the C library of a newer system declares, to stand in front of the library's headers. */
#include <stddef.h>
#include <wchar.h>
#ifdef __cplusplus
#define FUNCTION(declaration) extern "C" size_t declaration noexcept
#else
#define FUNCTION(declaration) size_t declaration
#endif
FUNCTION(strlcpy(char* __restrict buffer, const char* __restrict text, size_t size));
FUNCTION(strlcat(char* __restrict buffer, const char* __restrict text, size_t size));
#if WCHAR_MAX > 0xffff
FUNCTION(wcslcpy(wchar_t* __restrict buffer, const wchar_t* __restrict text, size_t size));
FUNCTION(wcslcat(wchar_t* __restrict buffer, const wchar_t* __restrict text, size_t size));
#endif
