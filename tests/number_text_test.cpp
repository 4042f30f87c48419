// Number texts without the formatted print: byte for byte what "%llu" and "%.2f%" print.
#include <cfenv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "encoding/gpb.h"
#include "encoding/number_text.h"
#include "support/fixture.h"

namespace {

using NumberTextTest = PlatformTest;

std::string Decimal(uint64_t v)
{
    char text[IFM_DECIMAL_MAX_DIGITS];
    const uint32_t n = IFM_FormatDecimal(v, text);
    EXPECT_EQ(IFM_DecimalDigits(v), n);
    return std::string(text, n);
}

std::string Printed(uint64_t v)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%llu", static_cast<unsigned long long>(v));
    return text;
}

TEST_F(NumberTextTest, DecimalTextIsTheUnsignedPrint)
{
    std::vector<uint64_t> values{0, UINT64_MAX, UINT64_MAX - 1};
    for (uint64_t p = 1; p <= 10000000000000000000ull; p *= 10) {
        values.insert(values.end(), {p - 1, p, p + 1});
        if (p > UINT64_MAX / 10) {
            break;
        }
    }
    std::mt19937_64 rng(3);
    for (int i = 0; i < 100000; ++i) {
        values.push_back(rng() >> (rng() % 64));
    }
    for (uint64_t v : values) {
        ASSERT_EQ(Decimal(v), Printed(v)) << v;
    }
    EXPECT_EQ(Decimal(UINT64_MAX).size(), 20u);
}

void ExpectPercentAsPrinted(double v)
{
    char fast[IFM_PERCENT_TEXT_LEN], slow[IFM_PERCENT_TEXT_LEN];
    const uint32_t n = IFM_FormatPercentFast(v, fast);
    const uint32_t m = IFM_FormatPercent(v, slow);
    ASSERT_EQ(n, m) << v;
    ASSERT_STREQ(fast, slow) << v;
}

TEST_F(NumberTextTest, PercentTextIsTheFixedPointPrint)
{
    // Exact halves of a hundredth (ties go to even), decimal halves that are not exact in binary,
    // the cap, tiny and subnormal values, the limit of the fast path and what lies beyond it.
    std::vector<double> values{0.0,    0.005,  0.015,   0.125,   0.375, 2.675, 99.995, 99.999, 100.0,
                               1e-300, 5e-324, 0.00499, 0.00501, 1e15,  9007199254740991.0,
                               9007199254740992.0, 1e300, -0.0, -0.004, -12.5,
                               std::numeric_limits<double>::infinity(), std::nan("")};
    for (int k = 0; k <= 80000; ++k) {
        values.push_back(k / 800.0);
    }
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> rate(0.0, 100.0);
    for (int i = 0; i < 100000; ++i) {
        values.push_back(rate(rng));
        uint64_t bits = rng();
        double any;
        std::memcpy(&any, &bits, sizeof(any));
        values.push_back(std::fabs(any));
    }
    for (double v : values) {
        ExpectPercentAsPrinted(v);
    }
    EXPECT_EQ([] {
        char text[IFM_PERCENT_TEXT_LEN];
        return std::string(text, IFM_FormatPercentFast(12.5, text));
    }(), "12.50%");
}

TEST_F(NumberTextTest, PercentFollowsTheRoundingModeOfThePrint)
{
    const int saved = std::fegetround();
    for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        for (double v : {0.001, 0.125, 12.344, 99.999}) {
            ExpectPercentAsPrinted(v);
        }
    }
    std::fesetround(saved);
}

} // namespace
