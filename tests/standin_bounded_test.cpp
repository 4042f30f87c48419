// The stand-in bounded functions: refusals write nothing past the capacity and clear what they may.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "platform/bounded.h"

namespace {

constexpr size_t kCap = 8;
constexpr unsigned char kGuard = 0xCC;

// A destination of kCap bytes followed by guard bytes that no call may touch.
struct Dest {
    char buf[kCap + 8];
    Dest() { std::memset(buf, kGuard, sizeof(buf)); }
    bool GuardsIntact() const
    {
        for (size_t i = kCap; i < sizeof(buf); ++i) {
            if (static_cast<unsigned char>(buf[i]) != kGuard) {
                return false;
            }
        }
        return true;
    }
};

TEST(StandinBounded, MemFunctionsRefuseWhatDoesNotFit)
{
    Dest d;
    const char src[16] = "0123456789abcde";
    EXPECT_EQ(memcpy_s(d.buf, kCap, src, kCap), 0);
    EXPECT_EQ(std::memcmp(d.buf, src, kCap), 0);
    EXPECT_NE(memcpy_s(d.buf, kCap, src, kCap + 1), 0);
    EXPECT_TRUE(d.GuardsIntact());
    EXPECT_EQ(d.buf[0], 0) << "a refused copy clears the destination";
    EXPECT_EQ(d.buf[kCap - 1], 0);
    EXPECT_NE(memcpy_s(d.buf, kCap, nullptr, 1), 0);
    EXPECT_NE(memcpy_s(nullptr, kCap, src, 1), 0);
    EXPECT_NE(memcpy_s(d.buf, 0, src, 0), 0);
    EXPECT_NE(memcpy_s(d.buf, SIZE_MAX, src, 1), 0);
    EXPECT_NE(memcpy_s(d.buf, kCap, d.buf + 2, 4), 0) << "overlap";
    EXPECT_TRUE(d.GuardsIntact());

    EXPECT_EQ(memset_s(d.buf, kCap, 'x', 3), 0);
    EXPECT_EQ(std::string(d.buf, 3), "xxx");
    EXPECT_NE(memset_s(d.buf, kCap, 'y', kCap + 4), 0);
    EXPECT_TRUE(d.GuardsIntact());
    EXPECT_NE(memset_s(d.buf, (SIZE_MAX >> 1) + 1, 0, 1), 0);
    EXPECT_EQ(d.buf[0], 'y') << "an oversized capacity is not trusted to write anything";
}

TEST(StandinBounded, StringCopiesAndConcatenation)
{
    Dest d;
    EXPECT_EQ(strcpy_s(d.buf, kCap, "1234567"), 0);
    EXPECT_STREQ(d.buf, "1234567");
    EXPECT_NE(strcpy_s(d.buf, kCap, "12345678"), 0);
    EXPECT_EQ(d.buf[0], 0);
    EXPECT_TRUE(d.GuardsIntact());
    EXPECT_NE(strcpy_s(d.buf, kCap, nullptr), 0);

    EXPECT_EQ(strncpy_s(d.buf, kCap, "abcdefghijk", 3), 0);
    EXPECT_STREQ(d.buf, "abc");
    EXPECT_EQ(strncpy_s(d.buf, kCap, "ab", 100), 0) << "count may exceed the capacity when the text fits";
    EXPECT_STREQ(d.buf, "ab");
    EXPECT_NE(strncpy_s(d.buf, kCap, "abcdefghijk", kCap), 0) << "count chars and the NUL do not fit";
    EXPECT_EQ(d.buf[0], 0);
    EXPECT_TRUE(d.GuardsIntact());

    ASSERT_EQ(strcpy_s(d.buf, kCap, "abc"), 0);
    EXPECT_EQ(strcat_s(d.buf, kCap, "defg"), 0);
    EXPECT_STREQ(d.buf, "abcdefg");
    EXPECT_NE(strcat_s(d.buf, kCap, "h"), 0);
    EXPECT_EQ(d.buf[0], 0);
    std::memset(d.buf, 'z', kCap); // no NUL within the capacity
    EXPECT_NE(strcat_s(d.buf, kCap, "a"), 0);
    EXPECT_TRUE(d.GuardsIntact());
}

TEST(StandinBounded, FormattedPrints)
{
    Dest d;
    EXPECT_EQ(snprintf_s(d.buf, kCap, kCap - 1, "%d-%s", 12, "ab"), 5);
    EXPECT_STREQ(d.buf, "12-ab");
    EXPECT_EQ(snprintf_s(d.buf, kCap, kCap - 1, "%s", "0123456789"), -1);
    EXPECT_TRUE(d.GuardsIntact());
    EXPECT_LT(std::strlen(d.buf), kCap);
    EXPECT_EQ(snprintf_s(d.buf, kCap, 3, "%s", "abcdef"), -1) << "cut at count";
    EXPECT_STREQ(d.buf, "abc");
    EXPECT_EQ(snprintf_s(d.buf, kCap, 100, "%s", "0123456789"), -1) << "count above the capacity";
    EXPECT_TRUE(d.GuardsIntact());
    EXPECT_EQ(snprintf_s(nullptr, kCap, 3, "x"), -1);
    EXPECT_EQ(snprintf_s(d.buf, 0, 3, "x"), -1);

    EXPECT_EQ(snprintf_truncated_s(d.buf, kCap, "%s", "0123456789"), static_cast<int>(kCap - 1));
    EXPECT_STREQ(d.buf, "0123456");
    EXPECT_TRUE(d.GuardsIntact());
    EXPECT_EQ(snprintf_truncated_s(d.buf, kCap, "%u", 42u), 2);
    EXPECT_STREQ(d.buf, "42");
    EXPECT_EQ(snprintf_truncated_s(d.buf, 0, "x"), -1);
}

} // namespace
