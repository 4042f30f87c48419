// Port rates (two-second-delayed mib counters, trunk sums, common and use rates) and common rates
// from if_statistics rows, on the stand-in store.
#include <string>
#include <utility>

#include "sensors/mibstat/mibstat.h"
#include "support/fixture.h"

namespace {

using standin::store::IfRow;
using standin::store::PortStatStep;

constexpr uint64_t kL = 1700000000000000ull; // collection time of the latest snapshot (µs)
constexpr uint64_t kSec = 1000000ull;

// A snapshot whose k-th counter (1-based, store order) is k * base.
PortStatStep Step(uint64_t ts, uint64_t base)
{
    PortStatStep s{};
    uint64_t k = 0;
#define STEP_FIELD(f) s.f = base * ++k;
    DB_PORT_STATISTICS_STEP_FIELDS(STEP_FIELD)
#undef STEP_FIELD
    s.timestamp_coll_cur = ts;
    return s;
}

// Latest, pre1s, pre2s, pre3s; interval index 3 makes the ring wrap (latest at 2, pre3s at 9).
void PutPort(uint32_t ifIndex, const uint64_t base[4], uint64_t baseline = 0, uint64_t pre1sTs = kL - kSec)
{
    standin::store::PortStatRow row{};
    row.ifindex = ifIndex;
    row.interval_index = 3;
    const uint64_t ts[4] = {kL, pre1sTs, kL - 2 * kSec, kL - 3 * kSec};
    for (uint32_t i = 0; i < 4; ++i) {
        row.steps[(12 - i) % 10] = Step(ts[i], base[i]);
    }
    row.steps[12] = Step(0, baseline);
    standin::store::PutPortStat(row);
}

// The mib view of Step(base): bytes include 20 per packet (in_bytes + 20 * in_packets = 61 * base).
void ExpectMibBase(const IfmTlmMibIfStatData &rec, uint64_t base)
{
    const uint64_t perBase[17] = {61, 82, 3, 4, 16, 18, 14, 17, 19, 15, 5, 9, 6, 10, 0, 0, 0};
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(rec.slots[i], perBase[i] * base) << "slot " << i + 1;
    }
}

IfmTlmMibIfStatData Record(uint32_t ifIndex, uint32_t interval = 0)
{
    IfmTlmMibIfStatData r{};
    r.ifIndex = ifIndex;
    r.flowStatInterval = interval;
    return r;
}

const uint64_t kRising[4] = {4000, 3000, 2000, 1000};

struct Bracket {
    int64_t nowOffsetUs; // clock relative to the latest snapshot; the target is 2 s earlier
    uint64_t expectedBase;
    const char *pairLog; // "inPkts(A:B:value:latest)" of the pair used; null = latest sample reported
};

class MibBracketTest : public PlatformTest, public ::testing::WithParamInterface<Bracket> {};

TEST_P(MibBracketTest, CountersAsOfTwoSecondsAgo)
{
    PutPort(7, kRising);
    standin::SetClockUs(kL + GetParam().nowOffsetUs);
    IfmTlmMibIfStatData rec = Record(7);
    ASSERT_EQ(IFMPlugin_MDTLM_ReadIfmPortStatByType(&rec, TLM_TYPE_MIB_PORT), 0u);
    ExpectMibBase(rec, GetParam().expectedBase);
    const char *log = GetParam().pairLog;
    EXPECT_EQ(standin::CountLogContaining(log ? log : "Delay2sCalPhyIfmPortStat"), log ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Targets, MibBracketTest,
    ::testing::Values(Bracket{1500000, 3500, "inPkts(9000:12000:10500:12000)"},
                      Bracket{250000, 2250, "inPkts(6000:9000:6750:12000)"},
                      Bracket{-500000, 1500, "inPkts(3000:6000:4500:12000)"},
                      // On a timestamp: the first pair (pre1s-latest, pre2s-pre1s, pre3s-pre2s) holding it.
                      Bracket{2000000, 4000, "inPkts(9000:12000:12000:12000)"},
                      Bracket{1000000, 3000, "inPkts(9000:12000:9000:12000)"},
                      Bracket{0, 2000, "inPkts(6000:9000:6000:12000)"},
                      Bracket{-1000000, 1000, "inPkts(3000:6000:3000:12000)"},
                      Bracket{2000001, 4000, nullptr}, Bracket{-1000001, 4000, nullptr}));

class PortRatesTest : public PlatformTest {};

TEST_F(PortRatesTest, MibEdgeSamples)
{
    PutPort(7, kRising);
    standin::SetClockUs(kL + 2 * kSec - 1); // ratio 0.999999: values truncate
    IfmTlmMibIfStatData rec = Record(7);
    ASSERT_EQ(IFMPlugin_MDTLM_ReadMibPhyIfmPortStat(&rec), 0u);
    EXPECT_EQ(rec.mib.receivePackets, 11999u);            // 9000 + 2999.997
    EXPECT_EQ(rec.mib.receiveBytes, 3999u + 20u * 11999u); // 3000 + 999.999

    const uint64_t reset[4] = {1000, 3000, 2000, 1000}; // counters went down: the estimate overshoots
    const struct {
        const uint64_t *bases;
        uint64_t baseline, pre1sTs, nowOffset, expectedBase;
    } cases[] = {
        {kRising, 500, kL - kSec, 1500000, 3000}, // every sample is reduced by the baseline
        {kRising, 0, kL, 2 * kSec, 3000},         // pre1s and latest at the target: ratio is NaN, A's values
        {reset, 0, kL - kSec, 1500000, 1000},
    };
    for (const auto &c : cases) {
        PutPort(7, c.bases, c.baseline, c.pre1sTs);
        standin::SetClockUs(kL + c.nowOffset);
        rec = Record(7);
        ASSERT_EQ(IFMPlugin_MDTLM_ReadMibPhyIfmPortStat(&rec), 0u);
        ExpectMibBase(rec, c.expectedBase);
    }
    EXPECT_EQ(standin::CountLog("CalPhyIfmPortStat check ifIndex:7 last_inpkts:3000 report_inpkts:3000.", 1), 1u);

    // Only the sent packets went down since pre1s: that estimate alone is implausible enough.
    PutPort(7, kRising);
    standin::store::FindPortStat(7)->steps[2].out_packets = 5;
    standin::SetClockUs(kL + 1500000);
    rec = Record(7);
    ASSERT_EQ(IFMPlugin_MDTLM_ReadMibPhyIfmPortStat(&rec), 0u);
    EXPECT_EQ(rec.mib.sendPackets, 5u);
    EXPECT_EQ(rec.mib.receivePackets, 12000u);
}

TEST_F(PortRatesTest, MibFailingSampleReadFailsTheRecord)
{
    PutPort(7, kRising);
    // Each sample costs two row reads (sample and baseline).
    const std::pair<uint64_t, const char *> cases[] = {{1, "last"}, {3, "pre"}, {5, "pre2s"}, {8, "pre3s"}};
    for (const auto &c : cases) {
        standin::store::InjectFault("db_read_obj", 77, c.first);
        IfmTlmMibIfStatData rec = Record(7);
        EXPECT_EQ(IFMPlugin_MDTLM_ReadMibPhyIfmPortStat(&rec), 1u);
        EXPECT_EQ(standin::CountLog(std::string("ReadPortStat ") + c.second + " data fail ifindex:7 ret:77.", 2), 1u);
    }
}

// 300 s back: 1000 packets and 1,500,000 bytes received, 3000 packets and 6,000,000 bytes sent.
void PutCommonPort(uint32_t ifIndex, uint64_t speed)
{
    standin::store::PortStatRow row{};
    row.ifindex = ifIndex;
    PortStatStep &latest = row.steps[9] = Step(kL, 1); // interval index 0: latest at step 9
    latest.in_bytes = 2000000;
    latest.out_bytes = 9000000;
    latest.in_packets = 11000;
    latest.out_packets = 20000;
    PortStatStep &rate = row.steps[10]; // rate * 300 / 1000: 1,500,000, 6,000,000, 1000, 3000
    rate.in_bytes = 5000000;
    rate.out_bytes = 20000000;
    rate.in_packets = 3334;
    rate.out_packets = 10000;
    standin::store::PutPortStat(row);
    standin::store::PutIf(IfRow{ifIndex, 1, 1, speed, "GE1/0/" + std::to_string(ifIndex)});
}

TEST_F(PortRatesTest, CommonPortRatesAndUseRates)
{
    PutCommonPort(1, 80960);
    IfmTlmMibIfStatData rec = Record(1);
    ASSERT_EQ(IFMPlugin_MDTLM_ReadIfmPortStatByType(&rec, TLM_TYPE_COMMON_PORT), 0u);
    const IfmCommonView &c = rec.common;
    EXPECT_EQ(rec.flowStatInterval, 300u);
    EXPECT_EQ(c.inPacketRate, 3u);    // 1000 / 300
    EXPECT_EQ(c.inBitRate, 40480u);   // (5000 + 20 * 3) * 8
    EXPECT_EQ(c.outBitRate, 161600u); // (20000 + 20 * 10) * 8
    EXPECT_EQ(c.receiveBytes, 2000000u + 20u * 11000u);
    EXPECT_EQ(c.sendBytes, 9000000u + 20u * 20000u);
    // Step(1) gives counter k the value k: errors 5, discards 9/10, bcast 14/15, ucast 16/17, mcast 18/19.
    const uint64_t rest[11] = {11000, 20000, 3, 10, 18, 19, 14, 15, 16, 17, 10};
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(rec.slots[4 + i], rest[i]) << "slot " << i + 5;
    }
    EXPECT_EQ(c.receiveErrorPackets, 5u);
    EXPECT_EQ(c.receiveDropPackets, 9u);
    EXPECT_DOUBLE_EQ(rec.inUseRate, 50.0);
    EXPECT_EQ(rec.outUseRate, 100.0); // 199.6 % capped

    standin::store::FindIf(1)->speed = 0;
    rec = Record(1, 600); // a given interval is kept
    ASSERT_EQ(IFMPlugin_MDTLM_ReadCommonPhyIfmPortStat(&rec), 0u);
    EXPECT_EQ(rec.common.inPacketRate, 3u); // 2000 / 600
    EXPECT_EQ(rec.inUseRate + rec.outUseRate, 0.0);

    standin::store::InjectFault("db_read_obj", 9, 3); // the interval-ago sample
    EXPECT_EQ(IFMPlugin_MDTLM_ReadCommonPhyIfmPortStat(&rec), 1u);
    EXPECT_EQ(standin::CountLog("[ReadCommonPhyIfmPortStat] read interval statistics fail, ifIndex:1", 2), 1u);
}

TEST_F(PortRatesTest, CommonRatesNeverGoNegativeAndTrunkIntervalsTakeTheLonger)
{
    // Each counter goes down (1200 now, 1201 an interval ago) in one of the two rounds.
    for (const bool inDown : {true, false}) {
        IfmTlmMibIfStatData cur = Record(1), before = Record(1, 300), rec = Record(1);
        cur.common.receiveBytes = cur.common.sendBytes = cur.common.receivePackets = cur.common.sendPackets = 1200;
        before.common.receiveBytes = before.common.sendPackets = inDown ? 1201 : 600;
        before.common.sendBytes = before.common.receivePackets = inDown ? 600 : 1201;
        IFMPlugin_MDTLM_SubCommonIfStatData(&rec, &cur, &before);
        const IfmCommonView &c = rec.common;
        EXPECT_EQ(inDown ? c.inBitRate + c.outPacketRate : c.outBitRate + c.inPacketRate, 0u);
        EXPECT_EQ(inDown ? c.outBitRate : c.inBitRate, 16u); // 600 / 300 * 8
        EXPECT_EQ(inDown ? c.inPacketRate : c.outPacketRate, 2u);
    }

    // A member's interval-ago figures add only over the same interval; a longer one is taken over.
    IfmTlmMibIfStatData sum = Record(1, 300), member = Record(2, 300);
    sum.common.receiveBytes = member.common.receiveBytes = 600;
    IFMPlugin_MDTLM_AddTwoCommonStatForIntval(&sum, &member);
    EXPECT_EQ(sum.common.receiveBytes, 1200u);
    for (const auto &[interval, kept] : {std::pair{200u, 300u}, {600u, 600u}, {300u, 600u}}) {
        member.flowStatInterval = interval;
        IFMPlugin_MDTLM_AddTwoCommonStatForIntval(&sum, &member);
        EXPECT_EQ(sum.common.receiveBytes, 1200u);
        EXPECT_EQ(sum.flowStatInterval, kept) << interval;
    }
}

// if_statistics row (latest at step 0) losing, 300 s back, 600,000 bytes and 3000 packets received
// and 3000 packets sent (more than its 500).
void PutIfStat(uint32_t ifIndex, uint32_t ifType, uint32_t fwdType)
{
    standin::store::IfStatRow row{};
    row.stat_type = 0x100;
    row.ifindex = ifIndex;
    row.interval_index = 1;
    row.steps[0] = {3000000, 1000000, 10000, 500, 41, 0, 42, 43, 61, 62, 0, 0, 0};
    row.steps[4] = {2000000, 0, 10000, 10000, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    standin::store::PutIfStat(row);
    standin::store::PutIf(IfRow{ifIndex, fwdType, ifType, 1000, "Vlanif" + std::to_string(ifIndex)});
}

uint32_t CommonIf(uint32_t ifIndex, uint32_t interval, IfmTlmMibIfStatData &rec)
{
    IfStatBaseInfo base{};
    base.ifIndex = ifIndex;
    base.intervalIndex = 1;
    base.flowStatInterval = interval;
    rec = Record(ifIndex);
    return IFMPlugin_MDTLM_GetCommonIfStat(&base, &rec);
}

TEST_F(PortRatesTest, CommonFromIfStatisticsRows)
{
    PutIfStat(200, 14, 1);
    PutIfStat(201, 1, 1);
    IfmTlmMibIfStatData rec;
    ASSERT_EQ(CommonIf(200, 300, rec), 0u);
    // out, in bit rate; send, receive bytes; packets; in, out packet rate; then the type-14 extras.
    const uint64_t type14[17] = {0, 16000, 1000000, 3000000, 10000, 500, 10, 1, 61, 62, 0, 0, 42, 43, 0, 41, 0};
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(rec.slots[i], type14[i]) << "slot " << i + 1;
    }
    ASSERT_EQ(CommonIf(201, 300, rec), 0u);
    EXPECT_EQ(rec.common.inBitRate, 16000u);
    EXPECT_EQ(rec.common.receiveUnicastPackets + rec.common.receiveMulticastPackets, 0u);

    PutIfStat(300, 1, IFM_FWD_TYPE_TRUNK); // its own row plus readable members
    standin::store::SetTrunkMembers(300, {200, 399, 201});
    ASSERT_EQ(CommonIf(300, 300, rec), 0u);
    EXPECT_EQ(rec.common.receiveBytes, 9000000u);
    EXPECT_EQ(rec.common.inBitRate, 48000u);

    EXPECT_EQ(CommonIf(200, 0, rec), 1u);
    EXPECT_EQ(standin::CountLog("[IFMPlugin_MDTLM_GetIfStat]flowInterVal is zero.", 2), 1u);
    standin::store::InjectFault("db_child_get", 9, 2); // the interval read of the rate step (-2)
    EXPECT_EQ(CommonIf(200, 0xFFFFFFFEu, rec), 9u);
    EXPECT_EQ(standin::CountLog("[ReadCommonIfStatForPort]read 4294967294s before ifstat fail,"
                                "                       ret = 9.",
                                2),
              1u);
}

} // namespace
