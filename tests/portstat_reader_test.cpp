// Port statistics reader: ten-second ring and selector table, baseline subtraction, the OR of the
// step accessors, and the estimate with its timestamp.
#include <string>

#include "store/store.h"
#include "support/fixture.h"

using standin::CountLog;
using standin::Logs;
using namespace standin::store;

namespace {
// Column c (0..22, timestamp last) of step k holds (k + 1) * 1000 + c.
uint64_t V(uint32_t k, uint32_t c) { return (k + 1) * 1000ull + c; }

PortStatRow MakeRow(uint32_t intervalIndex)
{
    PortStatRow r{};
    r.ifindex = 4;
    r.interval_index = intervalIndex;
    for (uint32_t k = 0; k < DB_PORT_STATISTICS_STEP_COUNT; ++k) {
        uint32_t c = 0;
#define FILL(f) r.steps[k].f = V(k, c++);
        DB_PORT_STATISTICS_STEP_FIELDS(FILL)
#undef FILL
    }
    return r;
}

PortIfStatiData Input(int32_t selector)
{
    PortIfStatiData d{};
    d.ifIndex = 4;
    d.flowStatInterval = static_cast<uint32_t>(selector);
    return d;
}

using PortStatReaderTest = PlatformTest;
} // namespace

TEST_F(PortStatReaderTest, SelectorTable)
{
    const struct {
        uint32_t interval;
        int32_t selector;
        uint32_t step;
    } cases[] = {{0, 0, 9},  {0, -1, 9},  {5, -1, 4},   {0, -3, 8},   {0, -8, 7},
                 {0, -9, 6}, {3, -9, 9},  {0, -4, 10},  {3, -5, 3},   {11, -5, 11}, {0, -15, 12}};
    for (const auto &c : cases) {
        PutPortStat(MakeRow(c.interval));
        PortIfStatiData d = Input(c.selector);
        ASSERT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&d), 0u) << c.selector;
        for (uint32_t i = 0; i <= IFM_PORT_COUNTERS; ++i) {
            EXPECT_EQ((&d.inBytes)[i], V(c.step, i)) << "selector " << c.selector << " column " << i;
        }
        EXPECT_EQ(d.intervalIndex, c.interval);
    }

    PortIfStatiData d = Input(-2);
    d.inBytes = 17;
    EXPECT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&d), 0u) << "-2 reads nothing";
    EXPECT_EQ(d.inBytes, 17u);
    EXPECT_EQ(d.outPausePackets, 0u);
}

TEST_F(PortStatReaderTest, SensorReadSubtractsBaseline)
{
    PortStatRow r = MakeRow(0);
    r.steps[12] = r.steps[0];
    r.steps[12].out_bytes = 5000000; // larger than the sample
    PutPortStat(r);
    PortIfStatiData d = Input(-1);
    ASSERT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(&d), 0u);
    EXPECT_EQ(d.inBytes, 9000u);
    EXPECT_EQ(d.outPausePackets, 9000u);
    EXPECT_EQ(d.outBytes, 0u);
    EXPECT_EQ(d.timestampCollCur, V(9, 22)) << "the timestamp is the sample's";

    d = Input(-1);
    InjectFault("db_read_obj", 21, 2);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(&d), 21u);
    EXPECT_EQ(d.inBytes, V(9, 0)) << "unreduced sample after a failed baseline read";

    d.ifIndex = 5;
    EXPECT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndexForMib(&d), 15005u);
    EXPECT_EQ(CountLog(DbErr("[ReadPortIfStatiByIfIndex]db_read_obj", 15005), 2), 1u) << "a missing row is logged";
}

TEST_F(PortStatReaderTest, AccessorResultsAreOred)
{
    PutPortStat(MakeRow(0));
    PortIfStatiData d = Input(-1);
    d.inErrors = 3;
    InjectFault("db_get_ifm_port_statistics_steps_in_errors", 13044);
    InjectFault("db_get_ifm_port_statistics_steps_timestamp_coll_cur", 13044);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&d), 0u) << "13044 alone is success";
    EXPECT_EQ(d.inErrors, 3u);
    EXPECT_EQ(d.outErrors, V(9, 5));

    d = Input(-1);
    InjectFault("db_get_ifm_port_statistics_steps_in_bytes", 13044);
    InjectFault("db_get_ifm_port_statistics_steps_out_qlen", 1);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&d), 13045u);
    EXPECT_EQ(d.timestampCollCur, V(9, 22)) << "every accessor is called";
    ASSERT_EQ(Logs().size(), 2u);
    EXPECT_EQ(Logs()[0].text, DbErr("[ReadPortIfStatiByInterval]ReadPortIfStatiByInterval failed!", 13045));
    EXPECT_EQ(Logs()[1].text, DbErr("[ReadPortIfStatiByIfIndex]ReadPortIfStatiFromObj", 13045));
}

TEST_F(PortStatReaderTest, EstimateCountersAndTimestamp)
{
    PortStatRow r = MakeRow(3); // latest is step 2
    r.steps[2].in_bytes = 1000000;
    r.steps[10].in_bytes = 2000;
    r.steps[2].timestamp_coll_cur = 500000000;
    PutPortStat(r);
    PortIfStatiData d = Input(300);
    ASSERT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&d), 0u);
    EXPECT_EQ(d.inBytes, 999400u);
    EXPECT_EQ(d.outBytes, 0u) << "3001 - 11001 * 300 / 1000 clamps at 0";
    EXPECT_EQ(d.timestampCollCur, 200000000u);
    r.steps[2].timestamp_coll_cur = 299999999; // 300 s back lies before the epoch
    PutPortStat(r);
    d = Input(300);
    ASSERT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&d), 0u);
    EXPECT_EQ(d.timestampCollCur, 0u);

    d = Input(-6); // not in the table: an estimate, whose failed rate read leaves the record
    d.inBytes = 8;
    InjectFault("db_child_get", 2, 2);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadPortIfStatiByIfIndex(&d), 0u);
    EXPECT_EQ(d.inBytes, 8u);

    PortIfStatiData latest{}, rates{}, out{};
    latest.timestampCollCur = 6000000000ull;
    out.flowStatInterval = 5000; // 5e9 us needs 64 bits
    IFMPlugin_MDTLM_GetPortIfStatBeforeInterval(&latest, &rates, &out);
    EXPECT_EQ(out.timestampCollCur, 1000000000ull);
}
