/* The process's gettimeofday, defined by the stand-in library so that it follows the stand-in
 * clock: a shared library linked into the program comes before the C library in symbol lookup,
 * so every caller in the process (the plugin included) lands here.
 * <sys/time.h> is deliberately not included: its declaration of gettimeofday differs between C
 * library versions; <sys/select.h> gives struct timeval alone. */
#include <stddef.h>
#include <stdint.h>
#include <sys/select.h>

int standin_ClockTimeOfDay(int64_t *sec, int64_t *usec);

int gettimeofday(struct timeval *tv, void *tz)
{
    int64_t sec = 0;
    int64_t usec = 0;
    if (standin_ClockTimeOfDay(&sec, &usec) != 0) {
        return -1;
    }
    if (tv != NULL) {
        tv->tv_sec = (time_t)sec;
        tv->tv_usec = (suseconds_t)usec;
    }
    if (tz != NULL) {
        /* struct timezone { int tz_minuteswest; int tz_dsttime; }: UTC, no DST. */
        int *zone = (int *)tz;
        zone[0] = 0;
        zone[1] = 0;
    }
    return 0;
}
