/* mib-statistics and common-statistics records of physical ports and trunks, read from the
 * ifm_port_statistics rows. Every byte count and bit rate filled here includes a line overhead of
 * MIB_LINE_OVERHEAD_BYTES per packet. */
#include <cmath>
#include <cstdint>
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
    (void)gettimeofday(&tv, nullptr);
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

} // namespace

const IfmPortStatEntry g_ZorIfmPortStat[4] = {
    {TLM_TYPE_MIB_PORT, IFMPlugin_MDTLM_ReadMibPhyIfmPortStat},
    {TLM_TYPE_MIB_TRUNK, IFMPlugin_MDTLM_ReadMibTrunkIfmPortStat},
    {TLM_TYPE_COMMON_PORT, IFMPlugin_MDTLM_ReadCommonPhyIfmPortStat},
    {TLM_TYPE_COMMON_TRUNK, IFMPlugin_MDTLM_ReadCommonTrunkIfmPortStat},
};

uint32_t IFMPlugin_MDTLM_ReadIfmPortStatByType(IfmTlmMibIfStatData *record, uint32_t type)
{
    for (const IfmPortStatEntry &entry : g_ZorIfmPortStat) {
        if (entry.type == type) {
            return entry.fill(record);
        }
    }
    return 0;
}

/* ---- mib-statistics, physical port ---- */

void IFMPlugin_MDTLM_FillPhyIfmPortStatLatestData(const PortIfStatiData *latest, IfmTlmMibIfStatData *record)
{
    if (latest == nullptr || record == nullptr) {
        return;
    }
    IfmMibView &m = record->mib;
    m.receivePackets = latest->inPackets;
    m.sendPackets = latest->outPackets;
    m.receiveBytes = latest->inBytes + MIB_LINE_OVERHEAD_BYTES * latest->inPackets;
    m.sendBytes = latest->outBytes + MIB_LINE_OVERHEAD_BYTES * latest->outPackets;
    m.receiveUnicastPackets = latest->inUcastPackets;
    m.receiveMulticastPackets = latest->inMcastPackets;
    m.receiveBoardPackets = latest->inBcastPackets;
    m.sendUnicastPackets = latest->outUcastPackets;
    m.sendMulticastPackets = latest->outMcastPackets;
    m.sendBoardPackets = latest->outBcastPackets;
    m.receiveErrorPackets = latest->inErrors;
    m.receiveDropPackets = latest->inDiscardPkts;
    m.sendErrorPackets = latest->outErrors;
    m.sendDropPackets = latest->outDiscardPkts;
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
    m.receivePackets = IFM_Interpolate(ratio, a->inPackets, b->inPackets);
    m.sendPackets = IFM_Interpolate(ratio, a->outPackets, b->outPackets);
    m.receiveBytes = IFM_Interpolate(ratio, a->inBytes, b->inBytes) + MIB_LINE_OVERHEAD_BYTES * m.receivePackets;
    m.sendBytes = IFM_Interpolate(ratio, a->outBytes, b->outBytes) + MIB_LINE_OVERHEAD_BYTES * m.sendPackets;
    m.receiveUnicastPackets = IFM_Interpolate(ratio, a->inUcastPackets, b->inUcastPackets);
    m.receiveMulticastPackets = IFM_Interpolate(ratio, a->inMcastPackets, b->inMcastPackets);
    m.receiveBoardPackets = IFM_Interpolate(ratio, a->inBcastPackets, b->inBcastPackets);
    m.sendUnicastPackets = IFM_Interpolate(ratio, a->outUcastPackets, b->outUcastPackets);
    m.sendMulticastPackets = IFM_Interpolate(ratio, a->outMcastPackets, b->outMcastPackets);
    m.sendBoardPackets = IFM_Interpolate(ratio, a->outBcastPackets, b->outBcastPackets);
    m.receiveErrorPackets = IFM_Interpolate(ratio, a->inErrors, b->inErrors);
    m.receiveDropPackets = IFM_Interpolate(ratio, a->inDiscardPkts, b->inDiscardPkts);
    m.sendErrorPackets = IFM_Interpolate(ratio, a->outErrors, b->outErrors);
    m.sendDropPackets = IFM_Interpolate(ratio, a->outDiscardPkts, b->outDiscardPkts);

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
    dst->receiveBytes += src->receiveBytes;
    dst->sendBytes += src->sendBytes;
    dst->receivePackets += src->receivePackets;
    dst->sendPackets += src->sendPackets;
    dst->receiveUnicastPackets += src->receiveUnicastPackets;
    dst->receiveMulticastPackets += src->receiveMulticastPackets;
    dst->receiveBoardPackets += src->receiveBoardPackets;
    dst->sendUnicastPackets += src->sendUnicastPackets;
    dst->sendMulticastPackets += src->sendMulticastPackets;
    dst->sendBoardPackets += src->sendBoardPackets;
    dst->receiveErrorPackets += src->receiveErrorPackets;
    dst->receiveDropPackets += src->receiveDropPackets;
    dst->sendErrorPackets += src->sendErrorPackets;
    dst->sendDropPackets += src->sendDropPackets;
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
    c.sendBytes = cur->outBytes + MIB_LINE_OVERHEAD_BYTES * cur->outPackets;
    c.receiveBytes = cur->inBytes + MIB_LINE_OVERHEAD_BYTES * cur->inPackets;
    c.receivePackets = cur->inPackets;
    c.sendPackets = cur->outPackets;
    c.receiveMulticastPackets = cur->inMcastPackets;
    c.sendMulticastPackets = cur->outMcastPackets;
    c.receiveBoardPackets = cur->inBcastPackets;
    c.sendBoardPackets = cur->outBcastPackets;
    c.receiveUnicastPackets = cur->inUcastPackets;
    c.sendUnicastPackets = cur->outUcastPackets;
    c.sendDropPackets = cur->outDiscardPkts;
    c.receiveErrorPackets = cur->inErrors;
    c.receiveDropPackets = cur->inDiscardPkts;

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
    dst->inBytes += src->inBytes;
    dst->outBytes += src->outBytes;
    dst->inPackets += src->inPackets;
    dst->outPackets += src->outPackets;
    dst->inErrors += src->inErrors;
    dst->inDiscardPkts += src->inDiscardPkts;
    dst->outDiscardPkts += src->outDiscardPkts;
    dst->inBcastPackets += src->inBcastPackets;
    dst->outBcastPackets += src->outBcastPackets;
    dst->inUcastPackets += src->inUcastPackets;
    dst->outUcastPackets += src->outUcastPackets;
    dst->inMcastPackets += src->inMcastPackets;
    dst->outMcastPackets += src->outMcastPackets;
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
