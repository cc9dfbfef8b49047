/* What the C library of a newer system declares, to stand in front of the library's headers. */
#include <stddef.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#define NOTHROW noexcept
#else
#define NOTHROW
#endif
size_t strlcpy(char* __restrict buffer, const char* __restrict text, size_t size) NOTHROW;
size_t strlcat(char* __restrict buffer, const char* __restrict text, size_t size) NOTHROW;
#if WCHAR_MAX > 0xffff
size_t wcslcpy(wchar_t* __restrict buffer, const wchar_t* __restrict text, size_t size) NOTHROW;
size_t wcslcat(wchar_t* __restrict buffer, const wchar_t* __restrict text, size_t size) NOTHROW;
#endif
#ifdef __cplusplus
}
#endif
