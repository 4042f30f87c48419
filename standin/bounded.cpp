// Stand-in bounded memory and string functions with the runtime-constraint rules of ISO C11
// Annex K: 0 on success, non-zero on a violation; a refused call never writes past destMax and,
// where the destination is usable, leaves it cleared.
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform/bounded.h"
#include "standin/fault_point.h"

namespace {

constexpr size_t kMaxSize = SIZE_MAX >> 1; // capacities above this are taken as corrupted sizes

bool Overlap(const void *a, size_t aLen, const void *b, size_t bLen)
{
    const uintptr_t pa = reinterpret_cast<uintptr_t>(a);
    const uintptr_t pb = reinterpret_cast<uintptr_t>(b);
    return pa < pb + bLen && pb < pa + aLen;
}

bool DestUsable(const void *dest, size_t destMax)
{
    return dest != nullptr && destMax != 0 && destMax <= kMaxSize;
}

int RefuseString(char *dest, size_t destMax, int code)
{
    if (DestUsable(dest, destMax)) {
        dest[0] = '\0';
    }
    return code;
}

// An injected failure is refused like a call that breaks the function's constraints.
bool Injected(standin_fault::PointId id) { return standin_fault::Enter(id); }

} // namespace

extern "C" int memcpy_s(void *dest, size_t destMax, const void *src, size_t count)
{
    if (Injected(standin_fault::FP_memcpy_s) && DestUsable(dest, destMax)) {
        std::memset(dest, 0, destMax);
        return ERANGE;
    }
    if (!DestUsable(dest, destMax)) {
        return dest == nullptr ? EINVAL : ERANGE;
    }
    if (src == nullptr || count > destMax || Overlap(dest, count, src, count)) {
        std::memset(dest, 0, destMax);
        return src == nullptr ? EINVAL : ERANGE;
    }
    if (count != 0) {
        std::memcpy(dest, src, count);
    }
    return 0;
}

extern "C" int memset_s(void *dest, size_t destMax, int c, size_t count)
{
    if (Injected(standin_fault::FP_memset_s) && DestUsable(dest, destMax)) {
        std::memset(dest, c, destMax); // a refused call still fills the destination
        return ERANGE;
    }
    if (!DestUsable(dest, destMax)) {
        return dest == nullptr ? EINVAL : ERANGE;
    }
    if (count > destMax) {
        std::memset(dest, c, destMax);
        return ERANGE;
    }
    std::memset(dest, c, count);
    return 0;
}

extern "C" int strcpy_s(char *dest, size_t destMax, const char *src)
{
    if (Injected(standin_fault::FP_strcpy_s)) {
        return DestUsable(dest, destMax) ? RefuseString(dest, destMax, ERANGE) : ERANGE;
    }
    if (!DestUsable(dest, destMax)) {
        return dest == nullptr ? EINVAL : ERANGE;
    }
    if (src == nullptr) {
        return RefuseString(dest, destMax, EINVAL);
    }
    const size_t len = strnlen(src, destMax);
    if (len == destMax || Overlap(dest, len + 1, src, len + 1)) {
        return RefuseString(dest, destMax, ERANGE);
    }
    std::memcpy(dest, src, len + 1);
    return 0;
}

extern "C" int strncpy_s(char *dest, size_t destMax, const char *src, size_t count)
{
    if (Injected(standin_fault::FP_strncpy_s)) {
        return DestUsable(dest, destMax) ? RefuseString(dest, destMax, ERANGE) : ERANGE;
    }
    if (!DestUsable(dest, destMax)) {
        return dest == nullptr ? EINVAL : ERANGE;
    }
    if (src == nullptr) {
        return RefuseString(dest, destMax, EINVAL);
    }
    if (count > kMaxSize) {
        return RefuseString(dest, destMax, ERANGE);
    }
    // Copies at most count characters and a NUL; the copied text must fit in front of the NUL.
    const size_t len = strnlen(src, count < destMax ? count : destMax);
    if (len >= destMax || Overlap(dest, len + 1, src, len)) {
        return RefuseString(dest, destMax, ERANGE);
    }
    std::memcpy(dest, src, len);
    dest[len] = '\0';
    return 0;
}

extern "C" int strcat_s(char *dest, size_t destMax, const char *src)
{
    if (Injected(standin_fault::FP_strcat_s)) {
        return DestUsable(dest, destMax) ? RefuseString(dest, destMax, ERANGE) : ERANGE;
    }
    if (!DestUsable(dest, destMax)) {
        return dest == nullptr ? EINVAL : ERANGE;
    }
    if (src == nullptr) {
        return RefuseString(dest, destMax, EINVAL);
    }
    const size_t used = strnlen(dest, destMax);
    if (used == destMax) {
        return RefuseString(dest, destMax, EINVAL); // destination holds no terminated text
    }
    const size_t room = destMax - used;
    const size_t len = strnlen(src, room);
    if (len == room || Overlap(dest, destMax, src, len + 1)) {
        return RefuseString(dest, destMax, ERANGE);
    }
    std::memcpy(dest + used, src, len + 1);
    return 0;
}

extern "C" int snprintf_s(char *dest, size_t destMax, size_t count, const char *format, ...)
{
    if (!DestUsable(dest, destMax)) {
        return -1;
    }
    if (Injected(standin_fault::FP_snprintf_s)) {
        return RefuseString(dest, destMax, -1);
    }
    if (format == nullptr) {
        return RefuseString(dest, destMax, -1);
    }
    const size_t limit = count < destMax - 1 ? count : destMax - 1;
    va_list args;
    va_start(args, format);
    const int len = std::vsnprintf(dest, limit + 1, format, args);
    va_end(args);
    if (len < 0) {
        return RefuseString(dest, destMax, -1);
    }
    return static_cast<size_t>(len) > limit ? -1 : len;
}

extern "C" int snprintf_truncated_s(char *dest, size_t destMax, const char *format, ...)
{
    if (!DestUsable(dest, destMax)) {
        return -1;
    }
    if (Injected(standin_fault::FP_snprintf_truncated_s)) {
        return RefuseString(dest, destMax, -1);
    }
    if (format == nullptr) {
        return RefuseString(dest, destMax, -1);
    }
    va_list args;
    va_start(args, format);
    const int len = std::vsnprintf(dest, destMax, format, args);
    va_end(args);
    if (len < 0) {
        return RefuseString(dest, destMax, -1);
    }
    return static_cast<size_t>(len) > destMax - 1 ? static_cast<int>(destMax - 1) : len;
}
