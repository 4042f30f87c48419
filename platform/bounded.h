/* Bounded memory and string functions (ISO C11 Annex K semantics). */
#ifndef ZOR_PLATFORM_BOUNDED_H
#define ZOR_PLATFORM_BOUNDED_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

int memcpy_s(void *dest, size_t destMax, const void *src, size_t count);
int memset_s(void *dest, size_t destMax, int c, size_t count);
int strcpy_s(char *dest, size_t destMax, const char *src);
int strncpy_s(char *dest, size_t destMax, const char *src, size_t count);
int strcat_s(char *dest, size_t destMax, const char *src);
int snprintf_s(char *dest, size_t destMax, size_t count, const char *format, ...)
    __attribute__((format(printf, 4, 5)));
int snprintf_truncated_s(char *dest, size_t destMax, const char *format, ...) __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
