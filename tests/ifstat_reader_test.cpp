// Interface statistics reader: ring positions, step selector, estimate, column mapping and read
// order, 13044 handling, failure labels.
#include <string>

#include "store/store.h"
#include "support/fixture.h"

using standin::CountLog;
using standin::Logs;
using namespace standin::store;

namespace {
// Column c of step k holds (k + 1) * 1000 + c, c being the column's place in the store's list.
uint64_t V(uint32_t k, uint32_t c) { return (k + 1) * 1000ull + c; }

IfStatRow MakeRow(uint32_t intervalIndex)
{
    IfStatRow r{};
    r.ifindex = 7;
    r.interval_index = intervalIndex;
    r.statistics_enable = 1;
    r.vlanid = 12;
    r.tunnelid = 34;
    for (uint32_t k = 0; k < DB_IF_STATISTICS_STEP_COUNT; ++k) {
        uint32_t c = 0;
#define FILL(f) r.steps[k].f = V(k, c++);
        DB_IF_STATISTICS_STEP_FIELDS(FILL)
#undef FILL
    }
    return r;
}

// The record's twelve counters hold step k (the IPv6 group keeps packets before bytes).
void ExpectStep(const IfStatiData &d, uint32_t k, const char *what)
{
    const uint32_t column[12] = {0, 1, 2, 3, 4, 5, 6, 7, 10, 11, 8, 9};
    for (uint32_t i = 0; i < 12; ++i) {
        EXPECT_EQ((&d.inBytes)[i], V(k, column[i])) << what << ": counter " << i << " of step " << k;
    }
}

IfStatiData Input(uint32_t intervalIndex, int32_t selector)
{
    IfStatiData d{};
    d.ifIndex = 7;
    d.intervalIndex = intervalIndex;
    d.flowStatInterval = static_cast<uint32_t>(selector);
    d.timestampCollCur = 5;
    return d;
}

#define IVL "[IFMPlugin_MDTLM_GetIfStatByIfIndexAndIntervalIndex]"

using IfStatReaderTest = PlatformTest;
} // namespace

TEST_F(IfStatReaderTest, SelectorsOfTheCurrentAndTheIntervalRead)
{
    const struct {
        uint32_t interval;
        int32_t selector;
        uint32_t step;
    } cases[] = {{0, 0, 3}, {0, -1, 3}, {2, 0, 1}, {0, -2, 4}, {2, -3, 2}, {4, -3, 4}, {0, -4, 2}, {1, -4, 3}};
    for (const auto &c : cases) {
        PutIfStat(MakeRow(c.interval));
        // The current read takes the interval index from the row and also fills the row columns.
        IfStatiData cur = Input(99, c.selector);
        ASSERT_EQ(IFMPlugin_ReadIfStatiByIfIndex(&cur), 0u) << c.selector;
        ExpectStep(cur, c.step, "current");
        EXPECT_EQ(cur.timestampCollCur, V(c.step, 12));
        EXPECT_EQ(cur.intervalIndex, c.interval);
        EXPECT_EQ(cur.statisticsEnable + cur.vlanId + cur.tunnelId, 1u + 12u + 34u);
        // The interval read takes it from the caller and leaves the timestamp.
        IfStatiData ivl = Input(c.interval, c.selector);
        ASSERT_EQ(IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&ivl), 0u) << c.selector;
        ExpectStep(ivl, c.step, "interval");
        EXPECT_EQ(ivl.vlanId, 12u);
        EXPECT_EQ(ivl.timestampCollCur, 5u);
    }
}

TEST_F(IfStatReaderTest, EstimateSubtractsRateTimesSecondsAndClamps)
{
    IfStatRow r = MakeRow(1); // latest is step 0
    r.steps[0].in_bytes = 1000000;
    r.steps[4].in_bytes = 2000;
    r.steps[0].ipv6_in_packets = 1000;
    r.steps[4].ipv6_in_packets = 1001; // 1001 * 300 / 1000 truncates to 300
    PutIfStat(r);
    IfStatiData d = Input(1, 300);
    d.tunnelId = 9;
    ASSERT_EQ(IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&d), 0u);
    EXPECT_EQ(d.inBytes, 999400u);
    EXPECT_EQ(d.ipv6InPackets, 700u);
    EXPECT_EQ(d.outBytes, 0u) << "1001 - 5001 * 300 / 1000 clamps at 0";
    EXPECT_EQ(d.timestampCollCur, 0u);
    EXPECT_EQ(d.tunnelId, 9u);
}

TEST_F(IfStatReaderTest, MissingRowAndNullRecord)
{
    IfStatiData d = Input(0, -1);
    EXPECT_EQ(IFMPlugin_ReadIfStatiByIfIndex(&d), 15005u);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&d), 15005u);
    d = Input(0, 300);
    d.inBytes = 3;
    EXPECT_EQ(IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&d), 0u) << "a failed estimate is not reported";
    EXPECT_EQ(d.inBytes, 3u);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(nullptr), 1u);
    EXPECT_TRUE(Logs().empty());
    EXPECT_EQ(IFMPlugin_ReadIfStatiByIfIndex(nullptr), 1u);
    EXPECT_EQ(CountLog("[IFM_ReadIfStatiByIfIndex]Null pointer pstIfData.", 2), 1u);
}

TEST_F(IfStatReaderTest, ColumnFailuresInReadOrderAndTheirLabels)
{
    PutIfStat(MakeRow(0));
    IfStatiData d = Input(0, -1);
    InjectFault("db_get_if_statistics_steps_ipv6_in_packets", 7);
    EXPECT_EQ(IFMPlugin_ReadIfStatiByIfIndex(&d), 7u);
    // Read order: ipv4 packets, in/out bytes and packets, ipv6 bytes, ipv6 packets, ipv4 bytes, time.
    EXPECT_EQ(d.ipv4InPackets, V(3, 6));
    EXPECT_EQ(d.ipv6OutBytes, V(3, 9));
    EXPECT_EQ(d.ipv6InPackets + d.ipv4InBytes, 0u);
    EXPECT_EQ(d.timestampCollCur, 5u);
    ASSERT_EQ(Logs().size(), 3u);
    EXPECT_EQ(Logs()[0].text, DbErr("IFMPlugin_ReadIfStatiFromObj: db_get_if_statistics_steps_ipv6_in_packets", 7));
    EXPECT_EQ(Logs()[1].text, DbErr("[IFM_ReadIfStatiFromObj]IFMPlugin_ReadIfStatiFromObj_Helper", 7));
    EXPECT_EQ(Logs()[2].text, DbErr("[IFM_ReadIfStatiByIfIndex]IFM_ReadIfStatiFromObj", 7));

    d = Input(0, -1);
    d.ipv6InBytes = 42;
    InjectFault("db_get_if_statistics_steps_ipv6_in_bytes", 13044);
    ASSERT_EQ(IFMPlugin_ReadIfStatiByIfIndex(&d), 0u) << "13044 keeps the caller's value";
    EXPECT_EQ(d.ipv6InBytes, 42u);
    EXPECT_EQ(d.ipv6OutBytes, V(3, 9));

    d = Input(0, -1);
    InjectFault("db_get_if_statistics_steps_in_packets", 6);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&d), 6u);
    EXPECT_EQ(d.outBytes, V(3, 1));
    EXPECT_EQ(d.outPackets, 0u);
    EXPECT_EQ(CountLog(DbErr(IVL " db_get_if_statistics_steps_in_packets: ", 6), 2), 1u);
    EXPECT_EQ(CountLog(DbErr(IVL " Helper", 6), 2), 1u);

    InjectFault("db_read_obj", 13044);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadIfStatiByIfIndexWithInterVal(&d), 13044u) << "only 0 is a successful row read";
    EXPECT_EQ(CountLog(DbErr(IVL "read object", 13044), 2), 1u);
}
