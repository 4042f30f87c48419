/* Sampling procedure of the subinterface counters sensor: for each listed subinterface, split its
 * name and apply the task's name condition, read its counters, decide by the last-sample cache or
 * by the threshold conditions whether it is sent, and hand the kept records to the envelope. */
#include <cstring>

#include "selection/selection.h"
#include "sensors/subif/subif.h"

namespace {

uint32_t L2subifChunkEncoder(const void *records, uint32_t n, uint32_t encodeType, uint8_t **msg, uint32_t *msgLen,
                             uint32_t /* type */)
{
    return IFM_L2subifEncodeProc(static_cast<const L2subifData *>(records), n, encodeType, msg, msgLen);
}

constexpr IfmEnvelopeTraits kL2subifEnvelope = {
    IFM_SUBIF_CHUNK,
    sizeof(L2subifData),
    L2subifChunkEncoder,
    "IFM_L2subifEncodeProc failed, ret=%u",
    "sampleData memory alloc failed.",
    "IFM_L2subifEncodeProc failed: sampleData memory copy failed, ret = %u",
};

uint32_t L2subifBuildBatch(IfmTaskRound *round, const void *rows, uint32_t n, void *records, uint32_t *kept,
                           uint32_t /* type */)
{
    return IFM_GetL2subifData(round, static_cast<const IfStatBaseInfo *>(rows), n,
                              static_cast<L2subifData *>(records), kept);
}

uint32_t L2subifSendBatch(IfmTaskRound *round, const void *records, uint32_t kept, uint32_t /* type */)
{
    return IFM_L2subifEncodeDataProc(round, static_cast<const L2subifData *>(records), kept);
}

constexpr IfmBatchTraits kL2subifBatch = {
    sizeof(IfStatBaseInfo),
    sizeof(L2subifData),
    true,
    L2subifBuildBatch,
    L2subifSendBatch,
    "L2subif tlm proc, pointer is null or count is 0",
    "l2subifData memory alloc failed.",
    "Get l2subif data failed, ret=%u, dealCount=%u.",
    "send l2subif data failed, ret=%u, dealCount=%u.",
};

/* The cached sample: inBytes, inPackets, outBytes, outPackets. */
struct L2subifSample {
    uint64_t inBytes;
    uint64_t inPackets;
    uint64_t outBytes;
    uint64_t outPackets;
};
static_assert(sizeof(L2subifSample) == IFM_SUBIF_SAMPLE_SIZE, "the cached sample is 32 bytes");

uint32_t L2subifSampleEqual(const void *cached, const void *sample, uint32_t /* type */)
{
    return memcmp(cached, sample, sizeof(L2subifSample)) == 0 ? 1 : 0;
}

constexpr IfmCacheKind kL2subifCache = {
    IFM_SUBIF_SAMPLE_SIZE,
    "[IFM_IsRedundantL2SubifStat]del hash fail, taskId[%u], ifIndex[%u]",
    "LITE_HASH_NewData Failed",
    "malloc l2subif data Failed",
    "hash add new node fail",
};

/* The counter that a threshold condition names; 0 for a name outside the four. */
uint64_t L2subifThresholdCounter(const TlmThreshold &cond, const IfStatiData *counters)
{
    struct Selector {
        const char *name;
        size_t len;
        uint64_t IfStatiData::*counter;
    };
    static constexpr Selector kSelectors[] = {
        {"in_octets", sizeof("in_octets") - 1, &IfStatiData::inBytes},
        {"in_unicast_pkts", sizeof("in_unicast_pkts") - 1, &IfStatiData::inPackets},
        {"out_unicast", sizeof("out_unicast") - 1, &IfStatiData::outBytes},
        {"out_unicast_pkts", sizeof("out_unicast_pkts") - 1, &IfStatiData::outPackets},
    };
    size_t len = IFM_CfgTextLen(cond.counterName, TLM_COUNTER_NAME_LEN);
    for (const Selector &s : kSelectors) {
        if (len == s.len && memcmp(cond.counterName, s.name, len) == 0) {
            return counters->*s.counter;
        }
    }
    return 0;
}

/* Whether a threshold condition holds: its value t against the selected counter v, in 64 bits. */
bool L2subifThresholdHolds(const TlmThreshold &cond, const IfStatiData *counters)
{
    uint64_t t = cond.thresholdValue;
    uint64_t v = L2subifThresholdCounter(cond, counters);
    switch (cond.thresholdOp) {
    case 0:
        return t == v;
    case 1:
        return t < v;
    case 2:
        return t <= v;
    case 3:
        return t > v;
    case 4:
        return t >= v;
    default:
        return false;
    }
}

} // namespace

uint32_t IFM_L2subifEncodeDataProc(IfmTaskRound *round, const L2subifData *records, uint32_t count)
{
    return IFM_EnvelopeDataProc(round, records, count, TLM_TYPE_SUBIF, kL2subifEnvelope);
}

uint32_t IFMPlugin_MDTLM_L2subifTlmProc(IfmTaskRound *round, IfStatBaseInfo *rows, uint32_t count)
{
    return IFM_BatchTlmProc(round, rows, count, TLM_TYPE_SUBIF, kL2subifBatch);
}

uint32_t IFM_GetL2subifData(IfmTaskRound *round, const IfStatBaseInfo *rows, uint32_t count, L2subifData *records,
                            uint32_t *kept)
{
    if (rows == nullptr || count == 0 || round == nullptr || round->taskCfg == nullptr || records == nullptr ||
        kept == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "pstIfStatis is null or count is 0. count:%u", count);
        return 1;
    }
    IfStatiData counters;
    (void)memset_s(&counters, sizeof(counters), 0, sizeof(counters));
    uint32_t n = 0;
    for (uint32_t i = 0; i < count; ++i) {
        char subIfName[IFM_IF_NAME_LEN] = {};
        uint32_t subIfIndex = 0;
        /* The main name goes straight into the record's slot of the batch array, which the batch
         * loop hands over zeroed; a skipped row's name is zeroed again for the next row. */
        L2subifData *r = &records[n];
        if (IFMPlugin_GetIfNamebyIfindex(rows[i].ifIndex, subIfName) != 0) {
            continue;
        }
        counters.ifIndex = rows[i].ifIndex;
        if (IFM_GetMainIfNameAndIndex(subIfName, r->ifName, &subIfIndex, round->taskCfg) != 0 ||
            IFMPlugin_ReadIfStatiByIfIndex(&counters) != 0 || IFM_IsNeedSendSubifStat(round, &counters) == 0) {
            (void)memset_s(r->ifName, sizeof(r->ifName), 0, sizeof(r->ifName));
            continue;
        }
        ++n;
        r->stateIndex = subIfIndex;
        r->subifIndex = subIfIndex;
        r->inOctets = counters.inBytes;
        r->inUnicastPkts = counters.inPackets;
        r->outOctets = counters.outBytes;
        r->outUnicastPkts = counters.outPackets;
        r->lastClear = 0;
    }
    *kept = n;
    return 0;
}

uint8_t IFM_IsNeedSendSubifStat(IfmTaskRound *round, const IfStatiData *counters)
{
    if (round == nullptr || round->taskCfg == nullptr || counters == nullptr) {
        return 0;
    }
    if (round->taskCfg->suppressRedundant == 1) {
        return IFM_IsRedundantL2SubifStat(round, counters) == 0 ? 1 : 0;
    }
    return IFM_IsThresholdSubifStat(round->taskCfg, counters) != 0 ? 1 : 0;
}

uint8_t IFM_IsRedundantL2SubifStat(IfmTaskRound *round, const IfStatiData *counters)
{
    if (round == nullptr || round->taskCfg == nullptr || counters == nullptr) {
        return 0;
    }
    L2subifSample sample = {counters->inBytes, counters->inPackets, counters->outBytes, counters->outPackets};
    return static_cast<uint8_t>(IFM_CacheCheckRedundant(round->taskId, counters->ifIndex, IFM_NODE_SUBIF, &sample,
                                                        round->taskCfg->reportPeriod, TLM_TYPE_SUBIF,
                                                        L2subifSampleEqual, kL2subifCache));
}

uint32_t IFM_IsThresholdSubifStat(const TlmTaskInfo *cfg, const IfStatiData *counters)
{
    if (cfg == nullptr || counters == nullptr) {
        return 0;
    }
    if (cfg->thresholdNum == 0) {
        return 1;
    }
    bool r1 = L2subifThresholdHolds(cfg->threshold[0], counters);
    if (cfg->thresholdNum == 1) {
        return r1 ? 1 : 0;
    }
    bool r2 = L2subifThresholdHolds(cfg->threshold[1], counters);
    switch (cfg->thresholdRelation) {
    case 1:
        return (r1 && r2) ? 1 : 0;
    case 2:
        return r2 ? 1 : 0;
    default:
        return 0;
    }
}
