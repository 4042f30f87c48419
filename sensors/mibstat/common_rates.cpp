/* common-statistics records of interfaces with if_statistics rows: current totals and packet and
 * bit rates over the row's flow interval, a trunk's figures being its own row's plus its members'.
 * No line overhead and no use rates on this path. */
#include <cstdint>

#include "sensors/mibstat/mibstat.h"

namespace {

/* The interface type whose five extra counters are copied from the row's ipv4/ipv6 columns. */
constexpr uint32_t IFM_IFTYPE_COMMON_EXTRAS = 14u;

} // namespace

uint32_t IFMPlugin_MDTLM_ReadCommonIfStatForPortHelper(uint32_t ifIndex, IfmTlmMibIfStatData *record,
                                                       const IfStatiData *sample)
{
    if (record == nullptr || sample == nullptr) {
        return 1;
    }
    uint32_t ifType = 0;
    const uint32_t ret = IFMPlugin_GetIftypeByIfindex(ifIndex, &ifType);
    if (ret != 0) {
        return ret;
    }
    IfmCommonView &c = record->common;
    c.receiveBytes = sample->inBytes;
    c.receivePackets = sample->inPackets;
    c.sendBytes = sample->outBytes;
    c.sendPackets = sample->outPackets;
    if (ifType == IFM_IFTYPE_COMMON_EXTRAS) {
        c.receiveErrorPackets = sample->ipv4InBytes;
        c.receiveUnicastPackets = sample->ipv4InPackets;
        c.sendUnicastPackets = sample->ipv4OutPackets;
        c.receiveMulticastPackets = sample->ipv6InBytes;
        c.sendMulticastPackets = sample->ipv6OutBytes;
    }
    record->flowStatInterval = sample->flowStatInterval;
    return 0;
}

uint32_t IFMPlugin_MDTLM_ReadCommonIfStatForPort(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                                 IfmTlmMibIfStatData *cur, IfmTlmMibIfStatData *before)
{
    if (cur == nullptr || before == nullptr) {
        return 1;
    }
    IfStatiData sample{};
    sample.ifIndex = ifIndex;
    sample.flowStatInterval = IFM_IFSTAT_SEL_LATEST;
    if (IFMPlugin_ReadIfStatiByIfIndex(&sample) != 0) {
        return 1;
    }
    (void)IFMPlugin_MDTLM_ReadCommonIfStatForPortHelper(ifIndex, cur, &sample);

    sample = IfStatiData{};
    sample.intervalIndex = intervalIndex;
    sample.flowStatInterval = interval;
    sample.ifIndex = ifIndex;
    const uint32_t ret = IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&sample);
    if (ret != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[ReadCommonIfStatForPort]read %us before ifstat fail,                       ret = %u.",
                       interval, ret);
        return ret;
    }
    (void)IFMPlugin_MDTLM_ReadCommonIfStatForPortHelper(ifIndex, before, &sample);
    return 0;
}

void IFMPlugin_MDTLM_AddTwoCommonStatForCur(IfmTlmMibIfStatData *dst, const IfmTlmMibIfStatData *src)
{
    if (dst == nullptr || src == nullptr) {
        return;
    }
    for (const IfmPortSlot<IfmCommonView> &s : g_ifmCommonSlots) {
        dst->common.*s.slot += src->common.*s.slot;
    }
}

void IFMPlugin_MDTLM_AddTwoCommonStatForIntval(IfmTlmMibIfStatData *dst, const IfmTlmMibIfStatData *src)
{
    if (dst == nullptr || src == nullptr) {
        return;
    }
    /* Interval-ago figures over different intervals cannot be summed; the longer interval wins. */
    if (dst->flowStatInterval == src->flowStatInterval) {
        IFMPlugin_MDTLM_AddTwoCommonStatForCur(dst, src);
    } else if (src->flowStatInterval > dst->flowStatInterval) {
        dst->flowStatInterval = src->flowStatInterval;
    }
}

uint32_t IFMPlugin_MDTLM_ReadCommonIfStatForTrunk(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                                  IfmTlmMibIfStatData *cur, IfmTlmMibIfStatData *before)
{
    if (cur == nullptr || before == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_ReadIfStatForTrunk]pointer null.");
        return 1;
    }
    const uint32_t ret = IFMPlugin_MDTLM_ReadCommonIfStatForPort(ifIndex, interval, intervalIndex, cur, before);
    if (ret != 0) {
        return ret;
    }
    uint32_t members[IFM_TRUNK_MEMBER_CAPACITY] = {};
    uint32_t count = 0;
    if (IFMPlugin_MDTLM_GetMemIfindexbyIfindex(ifIndex, members, &count) != 0 || count == 0) {
        return 0;
    }
    for (uint32_t i = 0; i < count; ++i) {
        IfmTlmMibIfStatData memberCur{};
        IfmTlmMibIfStatData memberBefore{};
        if (IFMPlugin_MDTLM_ReadCommonIfStatForPort(members[i], interval, intervalIndex, &memberCur,
                                                    &memberBefore) != 0) {
            continue;
        }
        IFMPlugin_MDTLM_AddTwoCommonStatForCur(cur, &memberCur);
        IFMPlugin_MDTLM_AddTwoCommonStatForIntval(before, &memberBefore);
    }
    return 0;
}

void IFMPlugin_MDTLM_SubCommonIfStatData(IfmTlmMibIfStatData *record, const IfmTlmMibIfStatData *cur,
                                         const IfmTlmMibIfStatData *before)
{
    if (record == nullptr || cur == nullptr || before == nullptr) {
        return;
    }
    IfmCommonView &r = record->common;
    const IfmCommonView &c = cur->common;
    const IfmCommonView &b = before->common;
    for (const IfmPortSlot<IfmCommonView> &s : g_ifmCommonSlots) {
        r.*s.slot = c.*s.slot;
    }

    const uint64_t interval = before->flowStatInterval;
    if (interval == 0) {
        return; /* rejected by the caller; kept here so a division by zero can never happen */
    }
    r.inBitRate = (IFM_SatSub(c.receiveBytes, b.receiveBytes) / interval) * 8u;
    r.inPacketRate = IFM_SatSub(c.receivePackets, b.receivePackets) / interval;
    r.outBitRate = (IFM_SatSub(c.sendBytes, b.sendBytes) / interval) * 8u;
    r.outPacketRate = IFM_SatSub(c.sendPackets, b.sendPackets) / interval;
}

uint32_t IFMPlugin_MDTLM_GetCommonIfStat(const IfStatBaseInfo *base, IfmTlmMibIfStatData *record)
{
    IfmTlmMibIfStatData cur{};
    IfmTlmMibIfStatData before{};
    if (base == nullptr || record == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_GetIfStat]pointer null.");
        return 1;
    }
    uint32_t fwdType = 0;
    const bool isTrunk = IFMPLUGIN_MDTLM_GetFwdIfType(base->ifIndex, &fwdType) == 0 && fwdType == IFM_FWD_TYPE_TRUNK;
    const uint32_t ret =
        isTrunk ? IFMPlugin_MDTLM_ReadCommonIfStatForTrunk(base->ifIndex, base->flowStatInterval, base->intervalIndex,
                                                           &cur, &before)
                : IFMPlugin_MDTLM_ReadCommonIfStatForPort(base->ifIndex, base->flowStatInterval, base->intervalIndex,
                                                          &cur, &before);
    if (ret != 0) {
        return ret;
    }
    if (before.flowStatInterval == 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_GetIfStat]flowInterVal is zero.");
        return 1;
    }
    IFMPlugin_MDTLM_SubCommonIfStatData(record, &cur, &before);
    return 0;
}
