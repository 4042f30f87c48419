#include "selection/selection.h"

size_t IFM_CfgTextLen(const char *field, size_t capacity)
{
    if (field == nullptr) {
        return 0;
    }
    size_t n = 0;
    while (n < capacity && field[n] != '\0') {
        ++n;
    }
    return n;
}

uint16_t IFM_CfgCondNameLen(const TlmTaskInfo *cfg)
{
    if (cfg == nullptr) {
        return 0;
    }
    return cfg->condNameLen > TLM_COND_NAME_LEN ? static_cast<uint16_t>(TLM_COND_NAME_LEN) : cfg->condNameLen;
}
