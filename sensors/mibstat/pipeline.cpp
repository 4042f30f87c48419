/* Sampling-round procedures of the mib-statistics and common-statistics sensors: batches of rows
 * become records (rates of ports, trunks and if_statistics rows), filtered by name and by the
 * last-sample cache, then encoded and uploaded 50 records at a time. */
#include <cstdint>
#include <cstring>

#include "selection/selection.h"
#include "sensors/mibstat/mibstat.h"

namespace {

/* Interface type of ports that are reported only when they have a management logical interface. */
constexpr uint32_t IFM_IFTYPE_NEEDS_MGNT = 34u;

const IfmCacheKind g_ifmMibStatCacheKind = {
    IFM_MIBSTAT_SAMPLE_SIZE,
    "del hash fail, taskId[%u], ifIndex[%u]",
    "mibifstat LITE_HASH_NewData Failed",
    "malloc mibifstat data Failed",
    "mibifstat hash add new node fail",
};

inline uint32_t IFM_MibNodeType(uint32_t type) { return IFM_IsMibType(type) ? IFM_NODE_MIBSTAT : IFM_NODE_COMMONSTAT; }

/* The cached and compared sample: 17 counter slots and the two use rates. */
inline const void *IFM_MibSample(const IfmTlmMibIfStatData *record) { return record->slots; }

/* Records are built in their slot of the batch array, which the batch loop hands over zeroed, so
 * that a kept record needs no working copy; a skipped row's slot is zeroed again for the next row.
 * A record whose read failed (`readRc` non-zero) is dropped; otherwise name, name filter and
 * last-sample cache decide. True when the record is kept. */
bool IFM_MibKeepRecord(IfmTaskRound *round, IfmTlmMibIfStatData *record, uint32_t type, uint32_t readRc)
{
    if (readRc == 0 && IFMPlugin_GetIfNamebyIfindex(record->ifIndex, record->ifName) == 0 &&
        IFMPlugin_MDTLM_IfStatFilter(record->ifName, round->taskCfg) == 0 &&
        !IFMPlugin_MDTLM_IsMibIfStatRedundant(round, record, type)) {
        return true;
    }
    *record = IfmTlmMibIfStatData{};
    return false;
}

uint32_t IFM_MibStatRowsBuilder(IfmTaskRound *round, const void *rows, uint32_t n, void *records, uint32_t *kept,
                                uint32_t type)
{
    return IFMPlugin_MDTLM_GetMibIfStatData(round, static_cast<const IfStatBaseInfo *>(rows), n,
                                            static_cast<IfmTlmMibIfStatData *>(records), kept, type);
}

uint32_t IFM_MibPortRowsBuilder(IfmTaskRound *round, const void *rows, uint32_t n, void *records, uint32_t *kept,
                                uint32_t type)
{
    return IFMPlugin_MDTLM_GetMibIfmPortStatData(round, static_cast<const IfmPortStatBaseInfo *>(rows), n,
                                                 static_cast<IfmTlmMibIfStatData *>(records), kept, type);
}

uint32_t IFM_MibStatSender(IfmTaskRound *round, const void *records, uint32_t kept, uint32_t type)
{
    return IFMPlugin_MDTLM_MibIfStatEncodeDataProc(round, static_cast<const IfmTlmMibIfStatData *>(records), kept,
                                                   type);
}

uint32_t IFM_MibStatChunkEncoder(const void *records, uint32_t n, uint32_t encodeType, uint8_t **msg,
                                 uint32_t *msgLen, uint32_t type)
{
    return IFMPlugin_MDTLM_MibIfStatEncodeProc(static_cast<const IfmTlmMibIfStatData *>(records), n, encodeType, msg,
                                               msgLen, type);
}

const IfmBatchTraits g_ifmMibStatRowsBatch = {
    sizeof(IfStatBaseInfo),
    sizeof(IfmTlmMibIfStatData),
    true,
    IFM_MibStatRowsBuilder,
    IFM_MibStatSender,
    "[IFM_MibIfStatTlmProc]pointer is null or count is 0",
    "[IFM_MibIfStatTlmProc]ifStatData memory alloc failed.",
    "[IFM_MibIfStatTlmProc]Get ifstat failed, ret=%u, dealCount=%u.",
    nullptr,
};

const IfmBatchTraits g_ifmMibPortRowsBatch = {
    sizeof(IfmPortStatBaseInfo),
    sizeof(IfmTlmMibIfStatData),
    true,
    IFM_MibPortRowsBuilder,
    IFM_MibStatSender,
    "pointer is null or count is 0",
    "IfmTlmMibIfStatData memory alloc failed.",
    "Get ifstat failed, ret=%u, dealCount=%u.",
    nullptr,
};

/* The envelope of this sensor family logs none of its chunk failures. */
const IfmEnvelopeTraits g_ifmMibStatEnvelope = {
    IFM_MIBSTAT_CHUNK, sizeof(IfmTlmMibIfStatData), IFM_MibStatChunkEncoder, nullptr, nullptr, nullptr,
};

} // namespace

uint32_t IFMPlugin_MDTLM_MibIfStatTlmProc(IfmTaskRound *round, IfStatBaseInfo *rows, uint32_t count, uint32_t type)
{
    return IFM_BatchTlmProc(round, rows, count, type, g_ifmMibStatRowsBatch);
}

uint32_t IFMPlugin_MDTLM_MibIfmPortStatTlmProc(IfmTaskRound *round, IfmPortStatBaseInfo *rows, uint32_t count,
                                               uint32_t type)
{
    return IFM_BatchTlmProc(round, rows, count, type, g_ifmMibPortRowsBatch);
}

uint32_t IFMPlugin_MDTLM_MibIfStatEncodeDataProc(IfmTaskRound *round, const IfmTlmMibIfStatData *records,
                                                 uint32_t count, uint32_t type)
{
    return IFM_EnvelopeDataProc(round, records, count, type, g_ifmMibStatEnvelope);
}

uint32_t IFMPlugin_MDTLM_GetMibIfStat(const IfStatBaseInfo *base, IfmTlmMibIfStatData *record)
{
    if (base == nullptr || record == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_GetMibIfStat]pointer null.");
        return 1;
    }
    IfStatiData sample{};
    sample.ifIndex = base->ifIndex; /* selector 0: the latest step */
    if (IFMPlugin_ReadIfStatiByIfIndex(&sample) != 0) {
        return 1;
    }
    /* if_statistics rows carry no per-packet line overhead and no per-cast counters. */
    record->mib.receiveBytes = sample.inBytes;
    record->mib.sendBytes = sample.outBytes;
    record->mib.receivePackets = sample.inPackets;
    record->mib.sendPackets = sample.outPackets;
    return 0;
}

uint32_t IFMPlugin_MDTLM_GetMibIfStatData(IfmTaskRound *round, const IfStatBaseInfo *rows, uint32_t count,
                                          IfmTlmMibIfStatData *records, uint32_t *kept, uint32_t type)
{
    uint32_t n = 0;
    if (round != nullptr && rows != nullptr && records != nullptr) {
        for (uint32_t i = 0; i < count; ++i) {
            if (rows[i].statisticsEnable == 0) {
                continue;
            }
            IfmTlmMibIfStatData *work = &records[n];
            work->ifIndex = rows[i].ifIndex;
            /* Only the two mib types of if_statistics rows read plain counters; every other type
             * (the common ones) computes rates. */
            const bool mibRow = type == TLM_TYPE_MIB_IF_1 || type == TLM_TYPE_MIB_IF_2;
            const uint32_t ret = mibRow ? IFMPlugin_MDTLM_GetMibIfStat(&rows[i], work)
                                        : IFMPlugin_MDTLM_GetCommonIfStat(&rows[i], work);
            if (IFM_MibKeepRecord(round, work, type, ret)) {
                ++n;
            }
        }
    }
    if (kept != nullptr) {
        *kept = n;
    }
    return 0;
}

uint32_t IFMPlugin_MDTLM_GetMibIfmPortStatData(IfmTaskRound *round, const IfmPortStatBaseInfo *rows,
                                               uint32_t count, IfmTlmMibIfStatData *records, uint32_t *kept,
                                               uint32_t type)
{
    if (count == 0 || round == nullptr || rows == nullptr || records == nullptr || kept == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "pointer null or count is 0. count:%u", count);
        return 1;
    }
    uint32_t n = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t ifIndex = rows[i].ifIndex;
        uint32_t ifType = UINT32_MAX;
        (void)IFMPlugin_GetIftypeByIfindex(ifIndex, &ifType);
        if (ifType == IFM_IFTYPE_NEEDS_MGNT) {
            uint32_t mgntIfIndex = ifIndex;
            if (IFMPlugin_GetMethLogIfindexByActIfindex(&mgntIfIndex) != 0) {
                continue;
            }
        }
        IfmTlmMibIfStatData *work = &records[n];
        work->ifIndex = ifIndex;
        if (IFM_MibKeepRecord(round, work, type, IFMPlugin_MDTLM_ReadIfmPortStatByType(work, type))) {
            ++n;
        }
    }
    *kept = n;
    return 0;
}

uint32_t IFMPlugin_MDTLM_CompMibIfStatData(const void *cached, const void *slots, uint32_t type)
{
    if (cached == nullptr || slots == nullptr) {
        return 0;
    }
    /* Only the counter slots of the model are compared; use rates never make a sample differ. */
    const size_t compared = (IFM_IsMibType(type) ? 14u : 17u) * sizeof(uint64_t);
    return memcmp(cached, slots, compared) == 0 ? 1u : 0u;
}

uint8_t IFMPlugin_MDTLM_IsMibIfStatRedundant(IfmTaskRound *round, const IfmTlmMibIfStatData *record, uint32_t type)
{
    if (round == nullptr || round->taskCfg == nullptr || record == nullptr ||
        round->taskCfg->suppressRedundant != 1) {
        return 0;
    }
    return IFM_CacheCheckRedundant(round->taskId, record->ifIndex, IFM_MibNodeType(type), IFM_MibSample(record),
                                   round->taskCfg->reportPeriod, type, IFMPlugin_MDTLM_CompMibIfStatData,
                                   g_ifmMibStatCacheKind) != 0
               ? 1
               : 0;
}

void IFMPlugin_MDTLM_MibIfStatAddYangNode(uint64_t key, uint32_t now, const IfmTlmMibIfStatData *record,
                                          uint32_t nodeType)
{
    if (record == nullptr) {
        return;
    }
    IFM_CacheAddNode(key, now, nodeType, IFM_MibSample(record), g_ifmMibStatCacheKind);
}
