/* Subinterface name conditions: split a subinterface name into its main interface name and
 * subinterface number, and test both against the task's condition. 0 = pass, 1 = skip. */
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/core.h"
#include "selection/selection.h"
#include "store/store.h"

namespace {

/* Buffers that hold a main interface name, a number text or a pattern prefix. */
constexpr uint32_t kNameBuf = IFM_IF_NAME_LEN;

/* strcmp over two texts that may lack a terminator within their capacity. */
bool TextEqual(const char *a, size_t aCap, const char *b, size_t bCap)
{
    size_t la = strnlen(a, aCap);
    size_t lb = strnlen(b, bCap);
    return la == lb && memcmp(a, b, la) == 0;
}

/* Parses a whole decimal text with strtol; false when nothing or not everything was consumed. */
bool ParseWholeDecimal(const char *text, long *value)
{
    char *end = nullptr;
    *value = strtol(text, &end, 10);
    return end != text && *end == '\0';
}

} // namespace

uint32_t IFM_GetMainIfNameAndIndex(const char *subIfName, char *mainIfName, uint32_t *subIfIndex,
                                   const TlmTaskInfo *cfg)
{
    if (subIfName == nullptr || mainIfName == nullptr || subIfIndex == nullptr || cfg == nullptr) {
        return 1;
    }
    /* Names come from 64-byte buffers that need not hold a terminator. */
    size_t n = strnlen(subIfName, kNameBuf);
    if (n == 0) {
        return 1;
    }
    const char *dot = static_cast<const char *>(memchr(subIfName, '.', n));
    if (dot == nullptr) {
        return 1; /* not a subinterface */
    }
    size_t p = static_cast<size_t>(dot - subIfName);

    /* The main name goes straight to the caller's buffer; the number is parsed from a terminated
     * copy. A failed copy is logged and the split goes on. */
    char numberPart[kNameBuf] = {};
    const auto copyPart = [p](char *dest, const char *src, size_t count) {
        if (memcpy_s(dest, kNameBuf, src, count) != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "IFM_GetMainIfNameAndIndex:memcpy_s error. count = %d",
                           static_cast<int>(p + 1));
        }
    };
    copyPart(mainIfName, subIfName, p);
    copyPart(numberPart, dot + 1, n - p - 1);
    mainIfName[p] = '\0'; /* p < 64: the dot lies within the 64 bytes scanned */

    long number = 0;
    bool whole = ParseWholeDecimal(numberPart, &number);
    *subIfIndex = static_cast<uint32_t>(number);
    if (!whole) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "IFM_GetMainIfNameAndIndex:strtol error, Transformation was not adequate");
        return 1;
    }
    return IFM_DataFilterByCond(mainIfName, static_cast<uint32_t>(p + 1), subIfIndex, cfg);
}

uint32_t IFM_DataFilterByCond(const char *mainIfName, uint32_t size, const uint32_t *subIfIndex,
                              const TlmTaskInfo *cfg)
{
    if (mainIfName == nullptr || subIfIndex == nullptr || cfg == nullptr) {
        return 1;
    }
    if (cfg->condType == 0) {
        return 0;
    }
    if (cfg->condType == 1) {
        return IFM_DealNameCondType(cfg->condName, IFM_CfgCondNameLen(cfg), mainIfName, size);
    }

    /* One main interface and one subinterface number. condIndex may fill its field without a
     * terminator: parse a terminated copy. */
    char indexText[TLM_COND_INDEX_LEN + 1] = {};
    size_t indexLen = IFM_CfgTextLen(cfg->condIndex, TLM_COND_INDEX_LEN);
    (void)memcpy_s(indexText, sizeof(indexText), cfg->condIndex, indexLen);
    long wanted = 0;
    if (!ParseWholeDecimal(indexText, &wanted)) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "IFM_DataFilterByCond:strtol error, Transformation was not adequate");
        return 1;
    }
    if (!TextEqual(cfg->condName, TLM_COND_NAME_LEN, mainIfName, kNameBuf)) {
        return 1;
    }
    return static_cast<int64_t>(wanted) == static_cast<int64_t>(*subIfIndex) ? 0 : 1;
}

uint32_t IFM_DealNameCondType(const char *pattern, uint16_t patternLen, const char *mainIfName, uint32_t size)
{
    if (pattern == nullptr || mainIfName == nullptr) {
        return 1;
    }
    /* The pattern is a condName field: its length never counts beyond the field. */
    const uint32_t len = std::min<uint32_t>(patternLen, TLM_COND_NAME_LEN);

    if (len > 0 && pattern[len - 1] == '*') {
        /* Prefix pattern: the first len - 1 characters of both must agree. */
        if (size > kNameBuf || len > kNameBuf || len > size) {
            return 1;
        }
        char prefix[kNameBuf] = {};
        char namePrefix[kNameBuf] = {};
        if (strncpy_s(prefix, len, pattern, len - 1) != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "subCondName strncpy_s fail");
            return 1;
        }
        if (strncpy_s(namePrefix, len, mainIfName, len - 1) != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "subIfName strncpy_s fail");
            return 1;
        }
        return strcmp(prefix, namePrefix) == 0 ? 0 : 1;
    }
    return TextEqual(pattern, TLM_COND_NAME_LEN, mainIfName, kNameBuf) ? 0 : 1;
}
