// Stand-in system time: the real wall clock, or a simulated one that tests and benchmarks move by
// hand. The KAL_* date functions and the process's gettimeofday (see gettimeofday.c) both read
// the clock in use.
#include <atomic>
#include <ctime>

#include "standin/fault_point.h"
#include "standin/standin.h"

namespace {

std::atomic<bool> g_simulated{false};
std::atomic<uint64_t> g_simUs{0};
std::atomic<uint32_t> g_gtodFailures{0};

uint64_t RealUs()
{
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

// Days since 1970-01-01 of a proleptic Gregorian date (month 1-12).
int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d)
{
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

bool IsLeap(unsigned y)
{
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// Seconds since 1970 of a date record; false when the record is not a valid date from 1970 on.
bool DateToSeconds(const KAL_SYSTIME_S *date, uint64_t *seconds)
{
    static const uint8_t kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (date->year < 1970 || date->month < 1 || date->month > 12 || date->day < 1 || date->hour > 23 ||
        date->minute > 59 || date->second > 59 || date->millisecond > 999) {
        return false;
    }
    const unsigned maxDay = kMonthDays[date->month - 1] + ((date->month == 2 && IsLeap(date->year)) ? 1 : 0);
    if (date->day > maxDay) {
        return false;
    }
    const int64_t days = DaysFromCivil(date->year, date->month, date->day);
    *seconds = static_cast<uint64_t>(days) * 86400u + date->hour * 3600u + date->minute * 60u + date->second;
    return true;
}

} // namespace

// Used by the gettimeofday interposer (a C file that must not see <sys/time.h>'s declaration).
extern "C" __attribute__((visibility("hidden"))) int standin_ClockTimeOfDay(int64_t *sec, int64_t *usec)
{
    if (standin_fault::Enter(standin_fault::FP_gettimeofday)) {
        return -1;
    }
    uint32_t pending = g_gtodFailures.load();
    while (pending != 0) {
        if (g_gtodFailures.compare_exchange_weak(pending, pending - 1)) {
            return -1;
        }
    }
    const uint64_t now = standin::NowUs();
    *sec = static_cast<int64_t>(now / 1000000u);
    *usec = static_cast<int64_t>(now % 1000000u);
    return 0;
}

extern "C" uint32_t KAL_SystimeGet(KAL_SYSTIME_S *date)
{
    if (standin_fault::Enter(standin_fault::FP_KAL_SystimeGet)) {
        return 1;
    }
    if (date == nullptr) {
        return 1;
    }
    const uint64_t now = standin::NowUs();
    const time_t sec = static_cast<time_t>(now / 1000000u);
    struct tm tm;
    if (gmtime_r(&sec, &tm) == nullptr) {
        return 1;
    }
    date->year = static_cast<uint16_t>(tm.tm_year + 1900);
    date->month = static_cast<uint8_t>(tm.tm_mon + 1);
    date->day = static_cast<uint8_t>(tm.tm_mday);
    date->hour = static_cast<uint8_t>(tm.tm_hour);
    date->minute = static_cast<uint8_t>(tm.tm_min);
    date->second = static_cast<uint8_t>(tm.tm_sec);
    date->week = static_cast<uint8_t>(tm.tm_wday);
    date->millisecond = static_cast<uint32_t>((now % 1000000u) / 1000u);
    return 0;
}

extern "C" uint32_t KAL_SystimeSecSince1970(const KAL_SYSTIME_S *date, uint32_t *secHigh, uint32_t *secLow)
{
    if (standin_fault::Enter(standin_fault::FP_KAL_SystimeSecSince1970)) {
        return 1;
    }
    uint64_t sec = 0;
    if (date == nullptr || secHigh == nullptr || secLow == nullptr || !DateToSeconds(date, &sec)) {
        return 1;
    }
    *secHigh = static_cast<uint32_t>(sec >> 32);
    *secLow = static_cast<uint32_t>(sec);
    return 0;
}

extern "C" uint32_t KAL_SystimeMsSince1970(const KAL_SYSTIME_S *date, uint32_t *msHigh, uint32_t *msLow)
{
    if (standin_fault::Enter(standin_fault::FP_KAL_SystimeMsSince1970)) {
        return 1;
    }
    uint64_t sec = 0;
    if (date == nullptr || msHigh == nullptr || msLow == nullptr || !DateToSeconds(date, &sec)) {
        return 1;
    }
    const uint64_t ms = sec * 1000u + date->millisecond;
    *msHigh = static_cast<uint32_t>(ms >> 32);
    *msLow = static_cast<uint32_t>(ms);
    return 0;
}

namespace standin {

void UseRealClock()
{
    g_simulated.store(false);
}

void SetClockUs(uint64_t usSince1970)
{
    g_simUs.store(usSince1970);
    g_simulated.store(true);
}

void AdvanceClockUs(uint64_t us)
{
    g_simUs.fetch_add(us);
}

uint64_t NowUs()
{
    return g_simulated.load() ? g_simUs.load() : RealUs();
}

void FailGettimeofday(uint32_t count)
{
    g_gtodFailures.store(count);
}

} // namespace standin
