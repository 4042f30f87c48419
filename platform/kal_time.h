/* System time of the platform. gettimeofday is the C library's (<sys/time.h>). */
#ifndef ZOR_PLATFORM_KAL_TIME_H
#define ZOR_PLATFORM_KAL_TIME_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KAL_SYSTIME_S {
    uint16_t year;
    uint8_t month;  /* 1-12 */
    uint8_t day;    /* 1-31 */
    uint8_t hour;
    uint8_t minute;
    uint8_t second;
    uint8_t week;   /* 0 = Sunday */
    uint32_t millisecond;
} KAL_SYSTIME_S;

uint32_t KAL_SystimeGet(KAL_SYSTIME_S *date);
uint32_t KAL_SystimeSecSince1970(const KAL_SYSTIME_S *date, uint32_t *secHigh, uint32_t *secLow);
uint32_t KAL_SystimeMsSince1970(const KAL_SYSTIME_S *date, uint32_t *msHigh, uint32_t *msLow);

#ifdef __cplusplus
}
static_assert(sizeof(KAL_SYSTIME_S) == 12, "KAL_SYSTIME_S is 12 bytes");
static_assert(offsetof(KAL_SYSTIME_S, month) == 2, "month at 2");
static_assert(offsetof(KAL_SYSTIME_S, week) == 7, "week at 7");
static_assert(offsetof(KAL_SYSTIME_S, millisecond) == 8, "millisecond at 8");
#endif

#endif
