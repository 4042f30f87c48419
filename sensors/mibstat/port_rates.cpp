/* mib-statistics and common-statistics records of physical ports and trunks, read from the
 * ifm_port_statistics rows. Every byte count and bit rate filled here includes a line overhead of
 * MIB_LINE_OVERHEAD_BYTES per packet. */
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <sys/time.h>

#include "sensors/mibstat/mibstat.h"

namespace {

using ull = unsigned long long;

constexpr double IFM_USE_RATE_CEILING = 100.0;
/* 2^64 as a double: the first value that no longer fits a u64. */
constexpr double IFM_U64_LIMIT = 18446744073709551616.0;

/* Double to u64, truncating toward zero; 0 for negative values and NaN, UINT64_MAX when too large. */
uint64_t IFM_DoubleToU64(double value)
{
    if (!(value > 0.0)) {
        return 0;
    }
    if (value >= IFM_U64_LIMIT) {
        return UINT64_MAX;
    }
    return static_cast<uint64_t>(value);
}

/* Wall clock in microseconds. A failing clock reads as 0: the target then lies outside every
 * bracket and the latest sample is reported. */
uint64_t IFM_NowUs()
{
    struct timeval tv {};
    if (gettimeofday(&tv, nullptr) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "ReadIfmPortStat gettimeofday failed, the latest sample is reported.");
        return 0;
    }
    return static_cast<uint64_t>(tv.tv_sec) * 1000000ull + static_cast<uint64_t>(tv.tv_usec);
}

/* Reads one sample of `ifIndex` with the given step selector into a zeroed record. */
uint32_t IFM_ReadPortSample(uint32_t ifIndex, uint32_t selector, PortIfStatiData *sample)
{
    *sample = PortIfStatiData{};
    sample->ifIndex = ifIndex;
    sample->flowStatInterval = selector;
    return IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(sample);
}

/* Interpolated value of one counter between samples A and B. */
inline uint64_t IFM_Interpolate(double ratio, uint64_t a, uint64_t b)
{
    return a + IFM_DoubleToU64(ratio * static_cast<double>(b - a));
}

/* The 14 mib-statistics slots, in view order. */
constexpr IfmPortSlot<IfmMibView> kMibSlots[] = {
    {&IfmMibView::receiveBytes, &PortIfStatiData::inBytes},
    {&IfmMibView::sendBytes, &PortIfStatiData::outBytes},
    {&IfmMibView::receivePackets, &PortIfStatiData::inPackets},
    {&IfmMibView::sendPackets, &PortIfStatiData::outPackets},
    {&IfmMibView::receiveUnicastPackets, &PortIfStatiData::inUcastPackets},
    {&IfmMibView::receiveMulticastPackets, &PortIfStatiData::inMcastPackets},
    {&IfmMibView::receiveBoardPackets, &PortIfStatiData::inBcastPackets},
    {&IfmMibView::sendUnicastPackets, &PortIfStatiData::outUcastPackets},
    {&IfmMibView::sendMulticastPackets, &PortIfStatiData::outMcastPackets},
    {&IfmMibView::sendBoardPackets, &PortIfStatiData::outBcastPackets},
    {&IfmMibView::receiveErrorPackets, &PortIfStatiData::inErrors},
    {&IfmMibView::receiveDropPackets, &PortIfStatiData::inDiscardPkts},
    {&IfmMibView::sendErrorPackets, &PortIfStatiData::outErrors},
    {&IfmMibView::sendDropPackets, &PortIfStatiData::outDiscardPkts},
};

/* Byte counts include the line overhead of every packet counted beside them. */
template <typename View> void IFM_AddLineOverhead(View &v)
{
    v.receiveBytes += MIB_LINE_OVERHEAD_BYTES * v.receivePackets;
    v.sendBytes += MIB_LINE_OVERHEAD_BYTES * v.sendPackets;
}

} // namespace

const IfmPortStatEntry g_ZorIfmPortStat[4] = {
    {TLM_TYPE_MIB_PORT, IFMPlugin_MDTLM_ReadMibPhyIfmPortStat},
    {TLM_TYPE_MIB_TRUNK, IFMPlugin_MDTLM_ReadMibTrunkIfmPortStat},
    {TLM_TYPE_COMMON_PORT, IFMPlugin_MDTLM_ReadCommonPhyIfmPortStat},
    {TLM_TYPE_COMMON_TRUNK, IFMPlugin_MDTLM_ReadCommonTrunkIfmPortStat},
};

uint32_t IFMPlugin_MDTLM_ReadIfmPortStatByType(IfmTlmMibIfStatData *record, uint32_t type)
{
    const IfmPortStatEntry *entry =
        std::find_if(std::begin(g_ZorIfmPortStat), std::end(g_ZorIfmPortStat),
                     [type](const IfmPortStatEntry &e) { return e.type == type; });
    return entry != std::end(g_ZorIfmPortStat) ? entry->fill(record) : 0;
}

/* ---- mib-statistics, physical port ---- */

void IFMPlugin_MDTLM_FillPhyIfmPortStatLatestData(const PortIfStatiData *latest, IfmTlmMibIfStatData *record)
{
    if (latest == nullptr || record == nullptr) {
        return;
    }
    for (const IfmPortSlot<IfmMibView> &s : kMibSlots) {
        record->mib.*s.slot = latest->*s.port;
    }
    IFM_AddLineOverhead(record->mib);
}

void IFMPlugin_MDTLM_Delay2sCalPhyIfmPortStat(uint64_t target, const PortIfStatiData *a, const PortIfStatiData *b,
                                              const PortIfStatiData *latest, IfmTlmMibIfStatData *record)
{
    if (a == nullptr || b == nullptr || latest == nullptr || record == nullptr) {
        return;
    }
    /* Equal bracketing timestamps give 0/0 = NaN, which converts to 0: every counter takes A's value. */
    const double ratio =
        static_cast<double>(target - a->timestampCollCur) / static_cast<double>(b->timestampCollCur - a->timestampCollCur);

    IfmMibView &m = record->mib;
    for (const IfmPortSlot<IfmMibView> &s : kMibSlots) {
        m.*s.slot = IFM_Interpolate(ratio, a->*s.port, b->*s.port);
    }
    IFM_AddLineOverhead(m);

    MDTLM_WriteLog(IFM_LOG_INFO,
                   "Delay2sCalPhyIfmPortStat ifIndex:%u, ratio:%lf,inPkts(%llu:%llu:%llu:%llu) "
                   "outPkts(%llu:%llu:%llu:%llu)inByts(%llu:%llu:%llu:%llu) outBytes(%llu:%llu:%llu:%llu).",
                   record->ifIndex, ratio, (ull)a->inPackets, (ull)b->inPackets, (ull)m.receivePackets,
                   (ull)latest->inPackets, (ull)a->outPackets, (ull)b->outPackets, (ull)m.sendPackets,
                   (ull)latest->outPackets, (ull)a->inBytes, (ull)b->inBytes, (ull)m.receiveBytes,
                   (ull)latest->inBytes, (ull)a->outBytes, (ull)b->outBytes, (ull)m.sendBytes,
                   (ull)latest->outBytes);
}

uint32_t IFMPlugin_MDTLM_ReadMibPhyIfmPortStat(IfmTlmMibIfStatData *record)
{
    if (record == nullptr) {
        return 1;
    }
    const uint64_t now = IFM_NowUs();

    /* Latest, one, two and three seconds before it; the first failing read ends the record. */
    static const struct {
        uint32_t selector;
        const char *failMsg;
    } reads[4] = {
        {IFM_PORT_SEL_LATEST, "ReadPortStat last data fail ifindex:%u ret:%u."},
        {IFM_PORT_SEL_PRE1S, "ReadPortStat pre data fail ifindex:%u ret:%u."},
        {IFM_PORT_SEL_PRE2S, "ReadPortStat pre2s data fail ifindex:%u ret:%u."},
        {IFM_PORT_SEL_PRE3S, "ReadPortStat pre3s data fail ifindex:%u ret:%u."},
    };
    PortIfStatiData samples[4];
    for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t ret = IFM_ReadPortSample(record->ifIndex, reads[i].selector, &samples[i]);
        if (ret != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, reads[i].failMsg, record->ifIndex, ret);
            return 1;
        }
    }
    const PortIfStatiData &latest = samples[0];
    const PortIfStatiData &pre1s = samples[1];
    const PortIfStatiData &pre2s = samples[2];
    const PortIfStatiData &pre3s = samples[3];

    const uint64_t target = now - REPORT_DELAY_US;
    MDTLM_WriteLog(IFM_LOG_INFO, "ReadIfmPortStat time:%llu -2s:%llu latest:%llu pre1s:%llu pre2s:%llu pre3s:%llu.",
                   (ull)now, (ull)target, (ull)latest.timestampCollCur, (ull)pre1s.timestampCollCur,
                   (ull)pre2s.timestampCollCur, (ull)pre3s.timestampCollCur);

    /* The first pair whose (inclusive) bounds hold the target brackets it. */
    const PortIfStatiData *a = nullptr;
    const PortIfStatiData *b = nullptr;
    for (uint32_t i = 1; i < 4; ++i) {
        if (samples[i].timestampCollCur <= target && target <= samples[i - 1].timestampCollCur) {
            a = &samples[i];
            b = &samples[i - 1];
            break;
        }
    }
    if (a == nullptr) {
        IFMPlugin_MDTLM_FillPhyIfmPortStatLatestData(&latest, record);
        return 0;
    }

    IFMPlugin_MDTLM_Delay2sCalPhyIfmPortStat(target, a, b, &latest, record);

    /* An estimate above what the port has counted so far is not plausible: report the latest sample. */
    if (record->mib.receivePackets > latest.inPackets || record->mib.sendPackets > latest.outPackets) {
        IFMPlugin_MDTLM_FillPhyIfmPortStatLatestData(&latest, record);
        MDTLM_WriteLog(IFM_LOG_INFO, "CalPhyIfmPortStat check ifIndex:%u last_inpkts:%llu report_inpkts:%llu.",
                       record->ifIndex, (ull)latest.inPackets, (ull)record->mib.receivePackets);
    }
    return 0;
}

/* ---- mib-statistics, trunk ---- */

void IFMPlugin_MDTLM_AddTwoMibIfStat(IfmMibView *dst, const IfmMibView *src)
{
    if (dst == nullptr || src == nullptr) {
        return;
    }
    for (const IfmPortSlot<IfmMibView> &s : kMibSlots) {
        dst->*s.slot += src->*s.slot;
    }
}

uint32_t IFMPlugin_MDTLM_ReadMibTrunkIfmPortStat(IfmTlmMibIfStatData *record)
{
    if (record == nullptr) {
        return 1;
    }
    uint32_t members[IFM_TRUNK_MEMBER_CAPACITY] = {};
    uint32_t count = 0;
    if (IFMPlugin_MDTLM_GetMemIfindexbyIfindex(record->ifIndex, members, &count) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[ReadMibTrunkIfmPortStat]get memberIfindexes fail, ifIndex:%u",
                       record->ifIndex);
        return 1;
    }
    if (count == 0) {
        return 0;
    }
    for (uint32_t i = 0; i < count; ++i) {
        IfmTlmMibIfStatData member{};
        member.ifIndex = members[i];
        if (IFMPlugin_MDTLM_ReadMibPhyIfmPortStat(&member) != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "read mib ifm port stat error, ifIndex:%u", members[i]);
            continue;
        }
        IFMPlugin_MDTLM_AddTwoMibIfStat(&record->mib, &member.mib);
    }
    const IfmMibView &m = record->mib;
    MDTLM_WriteLog(IFM_LOG_INFO,
                   "ifIndex:%u, receivePackets:%llu, sendPackets:%llu, receiveBytes:%llu, sendBytes:%llu, "
                   "receiveUnicastPackets:%llu, receiveMulticastPackets:%llu, receiveBoardPackets:%llu, "
                   "sendUnicastPackets:%llu, sendMulticastPackets:%llu, sendBoardPackets:%llu, "
                   "receiveErrorPackets:%llu, receiveDropPackets:%llu, sendErrorPackets:%llu, sendDropPackets:%llu",
                   record->ifIndex, (ull)m.receivePackets, (ull)m.sendPackets, (ull)m.receiveBytes,
                   (ull)m.sendBytes, (ull)m.receiveUnicastPackets, (ull)m.receiveMulticastPackets,
                   (ull)m.receiveBoardPackets, (ull)m.sendUnicastPackets, (ull)m.sendMulticastPackets,
                   (ull)m.sendBoardPackets, (ull)m.receiveErrorPackets, (ull)m.receiveDropPackets,
                   (ull)m.sendErrorPackets, (ull)m.sendDropPackets);
    return 0;
}

/* ---- common-statistics, physical port and trunk ---- */

uint32_t IFMPlugin_MDTLM_SubCommonIfmPortStatData(IfmTlmMibIfStatData *record, const PortIfStatiData *cur,
                                                  const PortIfStatiData *before)
{
    if (record == nullptr || cur == nullptr || before == nullptr) {
        return 1;
    }
    IfmCommonView &c = record->common;
    for (const IfmPortSlot<IfmCommonView> &s : g_ifmCommonSlots) {
        c.*s.slot = cur->*s.port;
    }
    IFM_AddLineOverhead(c);

    const uint64_t interval = before->flowStatInterval;
    if (interval != 0) {
        c.inPacketRate = IFM_SatSub(cur->inPackets, before->inPackets) / interval;
        c.outPacketRate = IFM_SatSub(cur->outPackets, before->outPackets) / interval;
        c.inBitRate =
            (IFM_SatSub(cur->inBytes, before->inBytes) / interval + MIB_LINE_OVERHEAD_BYTES * c.inPacketRate) * 8u;
        c.outBitRate =
            (IFM_SatSub(cur->outBytes, before->outBytes) / interval + MIB_LINE_OVERHEAD_BYTES * c.outPacketRate) * 8u;
    }
    MDTLM_WriteLog(IFM_LOG_INFO,
                   "ifIndex:%u, cur->inPackets:%llu, before->inPackets:%llu, before->flowStatInterval:%u, "
                   "cur->outPackets:%llu, before->outPackets:%llu, cur->inBytes:%llu, before->inBytes:%llu, "
                   "cur->outBytes:%llu, before->outBytes:%llu",
                   record->ifIndex, (ull)cur->inPackets, (ull)before->inPackets, before->flowStatInterval,
                   (ull)cur->outPackets, (ull)before->outPackets, (ull)cur->inBytes, (ull)before->inBytes,
                   (ull)cur->outBytes, (ull)before->outBytes);

    /* Use rates need the link speed (bits per second); without it they stay 0. */
    uint64_t speed = 0;
    if (IFMPlugin_MDTLM_GetSpeed(record->ifIndex, &speed) != 0 || speed == 0) {
        return 0;
    }
    const double in = static_cast<double>(c.inBitRate) * 100.0 / static_cast<double>(speed);
    const double out = static_cast<double>(c.outBitRate) * 100.0 / static_cast<double>(speed);
    record->inUseRate = std::fmin(in, IFM_USE_RATE_CEILING);
    record->outUseRate = std::fmin(out, IFM_USE_RATE_CEILING);
    MDTLM_WriteLog(IFM_LOG_INFO,
                   "ifIndex:%u, IfStat.inPacketRate:%llu, IfStat.outPacketRate:%llu, IfStat.inBitRate:%llu, "
                   "IfStat.outBitRate:%llu, IfStat.inUseRate:%f, IfStat.outUseRate:%f",
                   record->ifIndex, (ull)c.inPacketRate, (ull)c.outPacketRate, (ull)c.inBitRate, (ull)c.outBitRate,
                   record->inUseRate, record->outUseRate);
    return 0;
}

uint32_t IFMPlugin_MDTLM_ReadCommonPhyIfmPortStat(IfmTlmMibIfStatData *record)
{
    if (record == nullptr) {
        return 1;
    }
    PortIfStatiData cur;
    const uint32_t ret = IFM_ReadPortSample(record->ifIndex, IFM_PORT_SEL_LATEST, &cur);
    if (ret != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[ReadCommonPhyIfmPortStat] read statistics fail, ifIndex:%u", record->ifIndex);
        return ret;
    }
    if (record->flowStatInterval == 0) {
        record->flowStatInterval = COMMON_DEFAULT_INTERVAL_S;
    }
    PortIfStatiData before;
    if (IFM_ReadPortSample(record->ifIndex, record->flowStatInterval, &before) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[ReadCommonPhyIfmPortStat] read interval statistics fail, ifIndex:%u",
                       record->ifIndex);
        return 1;
    }
    (void)IFMPlugin_MDTLM_SubCommonIfmPortStatData(record, &cur, &before);
    return 0;
}

void IFMPlugin_MDTLM_AddTwoIfmPortStat(PortIfStatiData *dst, const PortIfStatiData *src)
{
    if (dst == nullptr || src == nullptr) {
        return;
    }
    for (const IfmPortSlot<IfmCommonView> &s : g_ifmCommonSlots) {
        dst->*s.port += src->*s.port;
    }
}

uint32_t IFMPlugin_MDTLM_ReadTrunkIfmPortStatCore(PortIfStatiData *cur, PortIfStatiData *before)
{
    if (cur == nullptr || before == nullptr) {
        return 1;
    }
    const uint32_t ret = IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(cur);
    if (ret != 0) {
        return ret;
    }
    if (before->flowStatInterval == 0) {
        before->flowStatInterval = COMMON_DEFAULT_INTERVAL_S;
    }
    return IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(before);
}

uint32_t IFMPlugin_MDTLM_ReadCommonTrunkIfmPortStat(IfmTlmMibIfStatData *record)
{
    if (record == nullptr) {
        return 1;
    }
    uint32_t members[IFM_TRUNK_MEMBER_CAPACITY] = {};
    uint32_t count = 0;
    if (IFMPlugin_MDTLM_GetMemIfindexbyIfindex(record->ifIndex, members, &count) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "get memberIfindexes fail, ifIndex:%u", record->ifIndex);
        return 1;
    }
    if (count == 0) {
        return 0;
    }
    PortIfStatiData sumCur{};
    PortIfStatiData sumBefore{};
    sumBefore.flowStatInterval = COMMON_DEFAULT_INTERVAL_S;
    for (uint32_t i = 0; i < count; ++i) {
        PortIfStatiData cur{};
        cur.ifIndex = members[i];
        cur.flowStatInterval = IFM_PORT_SEL_LATEST;
        PortIfStatiData before{};
        before.ifIndex = members[i];
        before.flowStatInterval = COMMON_DEFAULT_INTERVAL_S;
        if (IFMPlugin_MDTLM_ReadTrunkIfmPortStatCore(&cur, &before) != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "read commmon ifm port stat error, ifIndex:%u", members[i]);
            continue;
        }
        IFMPlugin_MDTLM_AddTwoIfmPortStat(&sumCur, &cur);
        IFMPlugin_MDTLM_AddTwoIfmPortStat(&sumBefore, &before);
    }
    (void)IFMPlugin_MDTLM_SubCommonIfmPortStatData(record, &sumCur, &sumBefore);
    return 0;
}
