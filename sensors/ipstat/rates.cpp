/* IP statistics rates: the current and interval-ago samples of an interface or a trunk (the trunk's
 * own counters plus those of its members) and the per-second rates derived from them. */
#include "sensors/ipstat/ipstat.h"

namespace {

inline void ZeroSample(TlmIfStatData *sample) { (void)memset_s(sample, sizeof(*sample), 0, sizeof(*sample)); }

/* The twelve counters of a sample, part by part. */
inline void AddPartCounters(TlmIpStatPart &sum, const TlmIpStatPart &addend)
{
    sum.inPackets += addend.inPackets;
    sum.inBytes += addend.inBytes;
    sum.outPackets += addend.outPackets;
    sum.outBytes += addend.outBytes;
}

inline void AddCounters(TlmIfStatData *sum, const TlmIfStatData *addend)
{
    AddPartCounters(sum->total, addend->total);
    AddPartCounters(sum->ipv4, addend->ipv4);
    AddPartCounters(sum->ipv6, addend->ipv6);
}

void RatesOfPart(TlmIpStatPart &out, const TlmIpStatPart &cur, const TlmIpStatPart &before, uint64_t seconds)
{
    if (seconds != 0) {
        /* Bytes are divided first, so a bit rate is always a whole number of bytes times 8. */
        out.inBitRate = IFM_SatSub(cur.inBytes, before.inBytes) / seconds * 8u;
        out.inPacketRate = IFM_SatSub(cur.inPackets, before.inPackets) / seconds;
        out.outBitRate = IFM_SatSub(cur.outBytes, before.outBytes) / seconds * 8u;
        out.outPacketRate = IFM_SatSub(cur.outPackets, before.outPackets) / seconds;
    } else {
        out.inBitRate = 0;
        out.inPacketRate = 0;
        out.outBitRate = 0;
        out.outPacketRate = 0;
    }
    out.inPackets = cur.inPackets;
    out.inBytes = cur.inBytes;
    out.outPackets = cur.outPackets;
    out.outBytes = cur.outBytes;
}

} // namespace

void IFMPlugin_MDTLM_FillTlmIfStatData(TlmIfStatData *sample, const IfStatiData *counters)
{
    if (sample == nullptr || counters == nullptr) {
        return;
    }
    sample->ifIndex = counters->ifIndex;
    sample->flowStatInterval = counters->flowStatInterval;

    sample->total.inPackets = counters->inPackets;
    sample->total.inBytes = counters->inBytes;
    sample->total.outPackets = counters->outPackets;
    sample->total.outBytes = counters->outBytes;

    sample->ipv4.inPackets = counters->ipv4InPackets;
    sample->ipv4.inBytes = counters->ipv4InBytes;
    sample->ipv4.outPackets = counters->ipv4OutPackets;
    sample->ipv4.outBytes = counters->ipv4OutBytes;

    sample->ipv6.inPackets = counters->ipv6InPackets;
    sample->ipv6.inBytes = counters->ipv6InBytes;
    sample->ipv6.outPackets = counters->ipv6OutPackets;
    sample->ipv6.outBytes = counters->ipv6OutBytes;
}

void IFMPlugin_MDTLM_AddTwoStatForCur(TlmIfStatData *sum, const TlmIfStatData *addend)
{
    if (sum == nullptr || addend == nullptr) {
        return;
    }
    AddCounters(sum, addend);
}

void IFMPlugin_MDTLM_AddTwoStatForIntval(TlmIfStatData *sum, const TlmIfStatData *addend)
{
    if (sum == nullptr || addend == nullptr) {
        return;
    }
    if (sum->flowStatInterval == addend->flowStatInterval) {
        AddCounters(sum, addend);
    } else if (addend->flowStatInterval > sum->flowStatInterval) {
        /* Samples over different intervals cannot be summed: the longer interval is kept. */
        sum->flowStatInterval = addend->flowStatInterval;
    }
}

void IFMPlugin_MDTLM_SubIfStatData(TlmIfStatData *record, const TlmIfStatData *cur, const TlmIfStatData *before)
{
    if (record == nullptr || cur == nullptr || before == nullptr) {
        return;
    }
    const uint64_t seconds = before->flowStatInterval;
    RatesOfPart(record->total, cur->total, before->total, seconds);
    RatesOfPart(record->ipv4, cur->ipv4, before->ipv4, seconds);
    RatesOfPart(record->ipv6, cur->ipv6, before->ipv6, seconds);
}

uint32_t IFMPlugin_MDTLM_ReadIfStatForPort(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                           TlmIfStatData *cur, TlmIfStatData *before)
{
    IfStatiData counters;
    (void)memset_s(&counters, sizeof(counters), 0, sizeof(counters));
    counters.ifIndex = ifIndex;
    counters.flowStatInterval = IFM_IFSTAT_SEL_LATEST;
    if (IFMPlugin_ReadIfStatiByIfIndex(&counters) != 0) {
        return 1;
    }
    IFMPlugin_MDTLM_FillTlmIfStatData(cur, &counters);

    /* The interval index is the row's as listed, so that a trunk's members are read against the
     * same snapshot position as the trunk. */
    (void)memset_s(&counters, sizeof(counters), 0, sizeof(counters));
    counters.ifIndex = ifIndex;
    counters.intervalIndex = intervalIndex;
    counters.flowStatInterval = interval;
    const uint32_t rc = IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&counters);
    if (rc != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_ReadIfStatForPort]read %us before ifstat fail, ret = %u.",
                       interval, rc);
        return rc;
    }
    IFMPlugin_MDTLM_FillTlmIfStatData(before, &counters);
    return 0;
}

uint32_t IFMPlugin_MDTLM_ReadIfStatForTrunk(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                            TlmIfStatData *cur, TlmIfStatData *before)
{
    if (cur == nullptr || before == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_ReadIfStatForTrunk]pointer null.");
        return 1;
    }
    const uint32_t rc = IFMPlugin_MDTLM_ReadIfStatForPort(ifIndex, interval, intervalIndex, cur, before);
    if (rc != 0) {
        return rc;
    }

    uint32_t members[IFM_TRUNK_MEMBER_CAPACITY];
    (void)memset_s(members, sizeof(members), 0, sizeof(members));
    uint32_t memberCount = 0;
    if (IFMPlugin_MDTLM_GetMemIfindexbyIfindex(ifIndex, members, &memberCount) != 0 || memberCount == 0) {
        return 0; /* the trunk's own figures stand */
    }

    TlmIfStatData memberCur;
    TlmIfStatData memberBefore;
    for (uint32_t i = 0; i < memberCount; ++i) {
        ZeroSample(&memberCur);
        ZeroSample(&memberBefore);
        if (IFMPlugin_MDTLM_ReadIfStatForPort(members[i], interval, intervalIndex, &memberCur, &memberBefore) != 0) {
            continue; /* an unreadable member leaves the sum of the others */
        }
        IFMPlugin_MDTLM_AddTwoStatForCur(cur, &memberCur);
        IFMPlugin_MDTLM_AddTwoStatForIntval(before, &memberBefore);
    }
    return 0;
}

uint32_t IFMPlugin_MDTLM_GetIfStat(const IfStatBaseInfo *row, TlmIfStatData *record)
{
    TlmIfStatData cur;
    TlmIfStatData before;
    ZeroSample(&cur);
    ZeroSample(&before);
    if (row == nullptr || record == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_GetIfStat]pointer null.");
        return 1;
    }

    /* A failed type lookup reads the interface as a plain port. */
    uint32_t fwdType = 0;
    const bool isTrunk = IFMPLUGIN_MDTLM_GetFwdIfType(row->ifIndex, &fwdType) == 0 && fwdType == IFM_FWD_TYPE_TRUNK;
    const uint32_t rc =
        isTrunk ? IFMPlugin_MDTLM_ReadIfStatForTrunk(row->ifIndex, row->flowStatInterval, row->intervalIndex, &cur,
                                                     &before)
                : IFMPlugin_MDTLM_ReadIfStatForPort(row->ifIndex, row->flowStatInterval, row->intervalIndex, &cur,
                                                    &before);
    if (rc != 0) {
        return rc;
    }
    if (before.flowStatInterval == 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_GetIfStat]flowInterVal is zero.");
        return 1;
    }
    IFMPlugin_MDTLM_SubIfStatData(record, &cur, &before);
    return 0;
}
