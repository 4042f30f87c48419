/* Exact rounding of a use rate to hundredths, the way the C library's "%.2f" rounds. */
#include "encoding/number_text.h"

#include <cfenv>
#include <cstring>

bool IFM_PercentHundredths(double value, uint64_t *hundredths)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof(bits));
    const uint32_t biased = static_cast<uint32_t>(bits >> 52) & 0x7FFu;
    /* Sign set (negative values and -0 print a minus sign), infinities and NaN (exponent all ones)
     * and values of 2^53 or more are left to the formatted print; so is a rounding mode other than
     * to-nearest, which the print would follow. */
    if ((bits >> 63) != 0 || biased >= 1075u + 1u || fegetround() != FE_TONEAREST) {
        return false;
    }
    /* value = mantissa * 2^-shift exactly, mantissa below 2^53. */
    const uint64_t fraction = bits & ((uint64_t{1} << 52) - 1u);
    const uint64_t mantissa = biased != 0 ? (fraction | (uint64_t{1} << 52)) : fraction;
    const uint32_t shift = 1075u - (biased != 0 ? biased : 1u);
    const uint64_t scaled = mantissa * 100u; /* below 100 * 2^53 < 2^60: exact */
    if (shift == 0) {
        *hundredths = scaled;
        return true;
    }
    if (shift > 60u) {
        /* scaled / 2^shift is below 2^60 / 2^61 = 1/2: rounds to 0. */
        *hundredths = 0;
        return true;
    }
    uint64_t q = scaled >> shift;
    const uint64_t rest = scaled & ((uint64_t{1} << shift) - 1u);
    const uint64_t half = uint64_t{1} << (shift - 1u);
    if (rest > half || (rest == half && (q & 1u) != 0)) {
        ++q;
    }
    *hundredths = q;
    return true;
}
