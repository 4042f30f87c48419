/* IP statistics pipeline: the sensor procedure of "ZOR_IFM_IFSTAT". Rows are sampled in batches;
 * each enabled row yields a record (rates, name) that passes the task's name filter and the
 * last-sample cache before it is encoded and uploaded in chunks of 32. */
#include "core/frm_buffer.h"
#include "selection/selection.h"
#include "sensors/ipstat/ipstat.h"

namespace {

const uint32_t kIfStatSuppressOn = 1u;

uint32_t IfStatChunkEncoder(const void *records, uint32_t n, uint32_t encodeType, uint8_t **msg, uint32_t *msgLen,
                            uint32_t /* type */)
{
    return IFMPlugin_MDTLM_IfStatEncodeProc(static_cast<const TlmIfStatData *>(records), n, encodeType, msg, msgLen);
}

constexpr IfmEnvelopeTraits kIfStatEnvelope = {
    IFM_IPSTAT_CHUNK,
    sizeof(TlmIfStatData),
    IfStatChunkEncoder,
    "[IFMPlugin_MDTLM_IfStatEncodeDataProc] encode failed, ret=%u",
    "[IFMPlugin_MDTLM_IfStatEncodeDataProc]sampleData memory alloc failed.",
    "[IFMPlugin_MDTLM_IfStatEncodeDataProc]: sampleData memory copy failed, ret = %u",
};

uint32_t IfStatBatchBuilder(IfmTaskRound *round, const void *rows, uint32_t n, void *records, uint32_t *kept,
                            uint32_t /* type */)
{
    return IFMPlugin_MDTLM_GetIfStatData(round, static_cast<const IfStatBaseInfo *>(rows), n,
                                         static_cast<TlmIfStatData *>(records), kept);
}

uint32_t IfStatBatchSender(IfmTaskRound *round, const void *records, uint32_t kept, uint32_t /* type */)
{
    return IFMPlugin_MDTLM_IfStatEncodeDataProc(round, static_cast<const TlmIfStatData *>(records), kept);
}

constexpr IfmBatchTraits kIfStatBatch = {
    sizeof(IfStatBaseInfo),
    sizeof(TlmIfStatData),
    true,
    IfStatBatchBuilder,
    IfStatBatchSender,
    "[IFM_IfStatTlmProc]pointer is null or count is 0",
    "[IFM_IfStatTlmProc]ifStatData memory alloc failed.",
    "[IFM_IfStatTlmProc]Get ifstat failed, ret=%u, dealCount=%u.",
    "[IFM_IfStatTlmProc]send ifstat data failed, ret=%u, dealCount=%u.",
};

const IfmCacheKind kIfStatCacheKind = {
    IFM_IPSTAT_SAMPLE_SIZE,
    "[IFMPlugin_MDTLM_IsIfStatRedundant]del hash fail, taskId[%u], ifIndex[%u]",
    "ifstat LITE_HASH_NewData Failed",
    "malloc ifstat data Failed",
    "ifstat hash add new node fail",
};

uint32_t IfStatSampleEqual(const void *cached, const void *sample, uint32_t /* type */)
{
    return IFMPlugin_MDTLM_CompIfStatData(static_cast<const uint64_t *>(cached),
                                          static_cast<const uint64_t *>(sample));
}

/* The cached sample: the 24 words of the three parts, rates and counters alike. */
inline const uint64_t *IfStatSample(const TlmIfStatData *record) { return &record->total.inBitRate; }

} // namespace

uint32_t IFMPlugin_MDTLM_IfStatTlmProc(IfmTaskRound *round, IfStatBaseInfo *rows, uint32_t count)
{
    return IFM_BatchTlmProc(round, rows, count, TLM_TYPE_IPSTAT_1, kIfStatBatch);
}

uint32_t IFMPlugin_MDTLM_IfStatEncodeDataProc(IfmTaskRound *round, const TlmIfStatData *records, uint32_t count)
{
    return IFM_EnvelopeDataProc(round, records, count, TLM_TYPE_IPSTAT_1, kIfStatEnvelope);
}

uint32_t IFMPlugin_MDTLM_GetIfStatData(IfmTaskRound *round, const IfStatBaseInfo *rows, uint32_t n,
                                       TlmIfStatData *records, uint32_t *kept)
{
    if (rows == nullptr || records == nullptr || kept == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_GetIfStatData]pointer null or count is 0. count:%u", n);
        return 1;
    }
    const TlmTaskInfo *cfg = round != nullptr ? round->taskCfg : nullptr;
    uint32_t survivors = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const IfStatBaseInfo &row = rows[i];
        /* Built in its slot of the batch array, which the batch loop hands over zeroed: a kept
         * record needs no working copy, a skipped row's slot is zeroed again for the next row. */
        TlmIfStatData *work = &records[survivors];
        work->ifIndex = row.ifIndex;
        /* Order matters: only samples that pass the filter may enter the last-sample cache. */
        if (row.statisticsEnable == 0 || IFMPlugin_MDTLM_GetIfStat(&row, work) != 0 ||
            IFMPlugin_GetIfNamebyIfindex(row.ifIndex, work->ifName) != 0 ||
            IFMPlugin_MDTLM_IfStatFilter(work->ifName, cfg) != 0 ||
            IFMPlugin_MDTLM_IsIfStatRedundant(round, work) != 0) {
            (void)memset_s(work, sizeof(*work), 0, sizeof(*work));
            continue;
        }
        ++survivors;
    }
    *kept = survivors;
    return 0;
}

uint8_t IFMPlugin_MDTLM_IsIfStatRedundant(IfmTaskRound *round, const TlmIfStatData *record)
{
    if (round == nullptr || round->taskCfg == nullptr || record == nullptr) {
        return 1;
    }
    const TlmTaskInfo *cfg = round->taskCfg;
    if (cfg->suppressRedundant != kIfStatSuppressOn) {
        return 0;
    }
    return IFM_CacheCheckRedundant(round->taskId, record->ifIndex, IFM_NODE_IPSTAT, IfStatSample(record),
                                   cfg->reportPeriod, TLM_TYPE_IPSTAT_1, IfStatSampleEqual, kIfStatCacheKind) != 0
               ? 1
               : 0;
}

uint32_t IFMPlugin_MDTLM_CompIfStatData(const uint64_t *cached, const uint64_t *sample)
{
    if (cached == nullptr || sample == nullptr) {
        return 0;
    }
    for (uint32_t i = 0; i < IFM_IPSTAT_SAMPLE_SIZE / sizeof(uint64_t); ++i) {
        if (cached[i] != sample[i]) {
            return 0;
        }
    }
    return 1;
}
