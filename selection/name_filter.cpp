/* Interface name filter of the ip-statistics, mib-statistics and common-statistics sensors. */
#include <cctype>
#include <cstring>

#include "selection/selection.h"
#include "store/store.h"

namespace {

const char kNameCondKey[] = "name";
const uint32_t kCondTypeName = 1u;

inline int UpperOf(char c) { return toupper(static_cast<unsigned char>(c)); }

/* Decision once the common prefix of name and pattern matched: the shorter side decides, and a
 * pattern that does not end where the name ends must end in "*". */
uint32_t DecideAfterPrefix(const char *pattern, size_t patternLen, size_t nameLen)
{
    if (patternLen == nameLen) {
        return 0;
    }
    if (patternLen == 0) {
        return 1;
    }
    return pattern[patternLen - 1] == '*' ? 0u : 1u;
}

} // namespace

uint32_t IFMPlugin_MDTLM_IfStatFilter(const char *name, const TlmTaskInfo *cfg)
{
    if (name == nullptr || cfg == nullptr) {
        return 1;
    }
    /* Only a name pattern keyed "name" restricts the interfaces. The key is a text that ends at its
     * first NUL or at the end of its field: it is "name" when its first five bytes are "name\0". */
    static_assert(TLM_COND_KEY_LEN >= sizeof(kNameCondKey), "the key field holds \"name\" and its NUL");
    if (cfg->condType != kCondTypeName || strncmp(cfg->condKey, kNameCondKey, sizeof(kNameCondKey)) != 0) {
        return 0;
    }

    /* The name is read in place, up to its first NUL and never beyond its 64 bytes. */
    const size_t nameLen = IFM_CfgTextLen(name, IFM_IF_NAME_LEN);
    const size_t patternLen = IFM_CfgCondNameLen(cfg); /* never beyond the field */
    const char *pattern = cfg->condName;

    const size_t common = nameLen < patternLen ? nameLen : patternLen;
    for (size_t i = 0; i < common; ++i) {
        if (UpperOf(name[i]) != UpperOf(pattern[i])) {
            return pattern[i] == '*' ? 0u : 1u;
        }
    }
    return DecideAfterPrefix(pattern, patternLen, nameLen);
}
