// The stand-in bounded functions: refusals write nothing past the capacity and clear what they may.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>

#include "platform/bounded.h"

namespace {

constexpr size_t kCap = 8;
constexpr unsigned char kGuard = 0xCC;
constexpr int kRefused = 1000; // any non-zero result

TEST(StandinBounded, RefusalsStayWithinTheCapacity)
{
    const char src[16] = "0123456789abcde";
    const struct {
        const char *what;
        const char *before; // text in the destination before the call; null: kCap bytes with no NUL
        std::function<int(char *)> call;
        int rc;
        const char *after; // text in the destination after the call; null: not checked
    } cases[] = {
        {"memcpy fits", "", [&](char *d) { return memcpy_s(d, kCap, src, kCap); }, 0, "01234567"},
        {"memcpy too long clears", "abc", [&](char *d) { return memcpy_s(d, kCap, src, kCap + 1); }, kRefused, ""},
        {"memcpy null src", "abc", [](char *d) { return memcpy_s(d, kCap, nullptr, 1); }, kRefused, nullptr},
        {"memcpy null dest", "abc", [&](char *) { return memcpy_s(nullptr, kCap, src, 1); }, kRefused, "abc"},
        {"memcpy no capacity", "abc", [&](char *d) { return memcpy_s(d, 0, src, 0); }, kRefused, "abc"},
        {"memcpy huge capacity", "abc", [&](char *d) { return memcpy_s(d, SIZE_MAX, src, 1); }, kRefused, "abc"},
        {"memcpy overlap", "abcdef", [](char *d) { return memcpy_s(d, kCap, d + 2, 4); }, kRefused, nullptr},
        {"memset", "abcdef", [](char *d) { return memset_s(d, kCap, 'x', 3); }, 0, "xxxdef"},
        {"memset too long fills the capacity", "abc", [](char *d) { return memset_s(d, kCap, 'y', kCap + 4); },
         kRefused, "yyyyyyyy"},
        {"memset huge capacity writes nothing", "abc",
         [](char *d) { return memset_s(d, (SIZE_MAX >> 1) + 1, 0, 1); }, kRefused, "abc"},
        {"strcpy fits", "", [](char *d) { return strcpy_s(d, kCap, "1234567"); }, 0, "1234567"},
        {"strcpy too long", "abc", [](char *d) { return strcpy_s(d, kCap, "12345678"); }, kRefused, ""},
        {"strcpy null", "abc", [](char *d) { return strcpy_s(d, kCap, nullptr); }, kRefused, nullptr},
        {"strncpy count", "", [](char *d) { return strncpy_s(d, kCap, "abcdefghijk", 3); }, 0, "abc"},
        {"strncpy count above capacity, text fits", "", [](char *d) { return strncpy_s(d, kCap, "ab", 100); }, 0,
         "ab"},
        {"strncpy count and NUL do not fit", "abc", [](char *d) { return strncpy_s(d, kCap, "abcdefghijk", kCap); },
         kRefused, ""},
        {"strcat fits", "abc", [](char *d) { return strcat_s(d, kCap, "defg"); }, 0, "abcdefg"},
        {"strcat too long", "abcdefg", [](char *d) { return strcat_s(d, kCap, "h"); }, kRefused, ""},
        {"strcat without NUL", nullptr, [](char *d) { return strcat_s(d, kCap, "a"); }, kRefused, nullptr},
        {"snprintf", "", [](char *d) { return snprintf_s(d, kCap, kCap - 1, "%d-%s", 12, "ab"); }, 5, "12-ab"},
        {"snprintf too long", "", [](char *d) { return snprintf_s(d, kCap, kCap - 1, "%s", "0123456789"); }, -1,
         nullptr},
        {"snprintf cut at count", "", [](char *d) { return snprintf_s(d, kCap, 3, "%s", "abcdef"); }, -1, "abc"},
        {"snprintf count above capacity", "", [](char *d) { return snprintf_s(d, kCap, 100, "%s", "0123456789"); },
         -1, nullptr},
        {"snprintf null", "", [](char *) { return snprintf_s(nullptr, kCap, 3, "x"); }, -1, nullptr},
        {"snprintf no capacity", "", [](char *d) { return snprintf_s(d, 0, 3, "x"); }, -1, nullptr},
        {"truncated", "", [](char *d) { return snprintf_truncated_s(d, kCap, "%s", "0123456789"); }, 7, "0123456"},
        {"truncated fits", "", [](char *d) { return snprintf_truncated_s(d, kCap, "%u", 42u); }, 2, "42"},
        {"truncated no capacity", "", [](char *d) { return snprintf_truncated_s(d, 0, "x"); }, -1, nullptr},
    };
    for (const auto &c : cases) {
        char buf[kCap + 8];
        std::memset(buf, kGuard, sizeof(buf));
        if (c.before != nullptr) {
            std::strcpy(buf, c.before);
        } else {
            std::memset(buf, 'z', kCap);
        }
        const int rc = c.call(buf);
        if (c.rc == kRefused) {
            EXPECT_NE(rc, 0) << c.what;
        } else {
            EXPECT_EQ(rc, c.rc) << c.what;
        }
        if (c.after != nullptr) {
            EXPECT_EQ(std::string(buf, strnlen(buf, kCap)), c.after) << c.what;
        }
        if (c.rc == -1 && c.after == nullptr) {
            EXPECT_LT(strnlen(buf, kCap), kCap) << c.what << ": terminated";
        }
        EXPECT_EQ(std::string(buf + kCap, 8), std::string(8, static_cast<char>(kGuard))) << c.what << ": guard bytes";
    }
}

} // namespace
