/* Number texts of the encoders without a formatted print: counters as "%llu" prints them and use
 * rates as "%.2f" prints them, byte for byte. */
#ifndef ZOR_IFM_NUMBER_TEXT_H
#define ZOR_IFM_NUMBER_TEXT_H

#include <cstddef>
#include <cstdint>

/* Longest decimal text of a u64: 2^64 - 1 has 20 digits. */
#define IFM_DECIMAL_MAX_DIGITS 20u

/* Number of decimal digits of `value` (1 for 0). */
inline uint32_t IFM_DecimalDigits(uint64_t value)
{
    static constexpr uint64_t kPow10[IFM_DECIMAL_MAX_DIGITS] = {
        1ull,
        10ull,
        100ull,
        1000ull,
        10000ull,
        100000ull,
        1000000ull,
        10000000ull,
        100000000ull,
        1000000000ull,
        10000000000ull,
        100000000000ull,
        1000000000000ull,
        10000000000000ull,
        100000000000000ull,
        1000000000000000ull,
        10000000000000000ull,
        100000000000000000ull,
        1000000000000000000ull,
        10000000000000000000ull,
    };
    /* bits * 1233 / 4096 is floor(bits * log10(2)) for bits up to 64: the digit count of the
     * smallest value with that many bits; one more when the value reaches the next power of ten.
     * Powers of ten above 1 are even, so value | 1 has the digits of value and makes 0 count as 1. */
    const uint64_t v = value | 1u;
    const uint32_t bits = 64u - static_cast<uint32_t>(__builtin_clzll(v));
    const uint32_t low = (bits * 1233u) >> 12;
    return low + (v >= kPow10[low] ? 1u : 0u);
}

namespace ifm_number_text {

constexpr char kPairs[] = "00010203040506070809"
                          "10111213141516171819"
                          "20212223242526272829"
                          "30313233343536373839"
                          "40414243444546474849"
                          "50515253545556575859"
                          "60616263646566676869"
                          "70717273747576777879"
                          "80818283848586878889"
                          "90919293949596979899";

inline void Put2(char *p, uint32_t v)
{
    p[0] = kPairs[static_cast<size_t>(v) * 2u];
    p[1] = kPairs[static_cast<size_t>(v) * 2u + 1u];
}

/* Exactly eight digits of v < 10^8; the four pairs do not wait on one another. */
inline void Put8(char *p, uint32_t v)
{
    const uint32_t high = v / 10000u;
    const uint32_t low = v % 10000u;
    Put2(p, high / 100u);
    Put2(p + 2, high % 100u);
    Put2(p + 4, low / 100u);
    Put2(p + 6, low % 100u);
}

} // namespace ifm_number_text

/* Writes the digits of `value` at `dest` (room for IFM_DECIMAL_MAX_DIGITS, no terminator) and
 * returns their count. The same text as "%llu". */
inline uint32_t IFM_FormatDecimal(uint64_t value, char *dest)
{
    using namespace ifm_number_text;
    const uint32_t n = IFM_DecimalDigits(value);
    char *p = dest + n;
    /* Eight digits at a time from the right while more than eight are left, then the head. */
    while (value >= 100000000u) {
        p -= 8;
        Put8(p, static_cast<uint32_t>(value % 100000000u));
        value /= 100000000u;
    }
    auto head = static_cast<uint32_t>(value);
    while (head >= 100u) {
        p -= 2;
        Put2(p, head % 100u);
        head /= 100u;
    }
    if (head >= 10u) {
        Put2(p - 2, head);
    } else {
        p[-1] = static_cast<char>('0' + head);
    }
    return n;
}

/* `value` rounded to hundredths exactly as "%.2f" rounds it (the exact binary value, ties to
 * even, in the default rounding mode). False when the value is negative, not finite, 2^53 or
 * more, or the rounding mode is not the default: those texts are left to the formatted print. */
bool IFM_PercentHundredths(double value, uint64_t *hundredths);

#endif
