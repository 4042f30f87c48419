/* Sample selection: last-sample cache, interface name filter, subinterface name conditions. */
#ifndef ZOR_IFM_SELECTION_H
#define ZOR_IFM_SELECTION_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

/* ---- Last-sample cache ---- */
struct YangNodeKey {
    uint32_t taskId;
    uint32_t ifIndex;
};

/* The part of a cache element after its key; lookups hand out a pointer to it. */
struct YangNodeData {
    uint32_t nodeType; /* 0 subinterface, 1 ip-statistics, 2 mib-statistics, 3 common-statistics */
    uint32_t lastReportTime;
    void *lastData; /* owned by the node, from MDTLM_AllocBuff */
};

struct YangNode {
    YangNodeKey key;
    YangNodeData data;
};
static_assert(sizeof(YangNode) == 24, "YangNode is 24 bytes");
static_assert(offsetof(YangNode, data) == 8, "the data part follows the 8-byte key");

#define IFM_NODE_SUBIF 0u
#define IFM_NODE_IPSTAT 1u
#define IFM_NODE_MIBSTAT 2u
#define IFM_NODE_COMMONSTAT 3u

extern void *g_ifmYangNodeHashTable;

uint32_t IFM_YangNodeHashInit();
uint32_t ZOR_IFM_YangNodeHashFunc(const void *key);
uint32_t ZOR_IFM_YangNodeCompFunc(const void *a, const void *b);
YangNodeData *ZOR_IFM_YangNodeHashSearch(void *table, const YangNodeKey *key);
void ZOR_IFM_YangNodeHashClear(uint32_t taskId, uint32_t slot);
uint32_t IFM_CheckPeriod(uint32_t now, uint32_t *last, uint32_t period);

/* Seconds since 1970 from the platform clock (KAL_SystimeGet, then KAL_SystimeSecSince1970). */
uint32_t IFM_CacheNow();

/* What one sensor stores in the cache and what it logs. */
struct IfmCacheKind {
    uint32_t sampleSize;
    const char *removeFailedMsg; /* %u task id, %u ifindex */
    const char *noElementMsg;
    const char *noDataMsg;
    const char *addFailedMsg;
};

/* 1 when the cached sample equals the new one. `type` is the statistics type of the round. */
typedef uint32_t (*IfmSampleEqual)(const void *cached, const void *sample, uint32_t type);

/* The shared steps of a redundancy check, from "now" on (the caller has already checked that
 * suppression is on): 1 = redundant (leave out), 0 = report. */
uint32_t IFM_CacheCheckRedundant(uint32_t taskId, uint32_t ifIndex, uint32_t nodeType, const void *sample,
                                 uint32_t reportPeriod, uint32_t type, IfmSampleEqual equal, const IfmCacheKind &kind);

/* Adds a node for `key` (task id low, ifindex high) holding a copy of `sample`; failures are logged
 * with the kind's messages and leave nothing behind. */
void IFM_CacheAddNode(uint64_t key, uint32_t now, uint32_t nodeType, const void *sample, const IfmCacheKind &kind);

/* ---- Interface name filter: 0 keeps, 1 drops ---- */
uint32_t IFMPlugin_MDTLM_IfStatFilter(const char *name /* 64 bytes */, const TlmTaskInfo *cfg);

/* ---- Subinterface name conditions: 0 passes, 1 skips ---- */
uint32_t IFM_GetMainIfNameAndIndex(const char *subIfName, char *mainIfName /* 64 bytes */, uint32_t *subIfIndex,
                                   const TlmTaskInfo *cfg);
uint32_t IFM_DataFilterByCond(const char *mainIfName, uint32_t size, const uint32_t *subIfIndex,
                              const TlmTaskInfo *cfg);
uint32_t IFM_DealNameCondType(const char *pattern, uint16_t patternLen, const char *mainIfName, uint32_t size);

/* Length of a configuration text field: up to the first NUL or the end of the field. */
size_t IFM_CfgTextLen(const char *field, size_t capacity);
/* condNameLen bounded by the field's capacity. */
uint16_t IFM_CfgCondNameLen(const TlmTaskInfo *cfg);

#endif
