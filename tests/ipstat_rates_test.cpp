// IP statistics rates: rate arithmetic, sums over trunk members, degraded reads.
#include <algorithm>
#include <cstring>
#include <vector>

#include "sensors/ipstat/ipstat.h"
#include "support/fixture.h"

namespace {

// A row whose latest snapshot (step 1, interval index 2) holds `latest` in every counter and whose
// rate step holds `rate`; the other snapshots hold decoys.
void PutRow(uint32_t ifIndex, uint64_t latest, uint64_t rate)
{
    standin::store::IfStatRow row{};
    row.ifindex = ifIndex;
    row.interval_index = 2;
    row.statistics_enable = 1;
    for (uint32_t s = 0; s < 5; ++s) {
        uint64_t words[13] = {};
        std::fill(words, words + 12, s == 1 ? latest : s == 4 ? rate : latest / 3);
        memcpy(&row.steps[s], words, sizeof(words));
    }
    standin::store::PutIfStat(row);
}

IfStatBaseInfo Base(uint32_t ifIndex, uint32_t interval = 300)
{
    IfStatBaseInfo b{};
    b.ifIndex = ifIndex;
    b.intervalIndex = 2;
    b.flowStatInterval = interval;
    b.statisticsEnable = 1;
    return b;
}

using IfStatRatesTest = PlatformTest;

TEST_F(IfStatRatesTest, RatesDivideBytesFirstAndNeverGoNegative)
{
    TlmIfStatData cur{}, before{}, rec{};
    before.flowStatInterval = 300;
    cur.total.inBytes = 3000010;
    before.total.inBytes = 10;
    cur.ipv4.inBytes = 5000;
    before.ipv4.inBytes = 4000;
    cur.ipv6.outBytes = 1; // cleared counter
    before.ipv6.outBytes = 900000;
    cur.total.outPackets = 1200;
    before.total.outPackets = 599;
    IFMPlugin_MDTLM_SubIfStatData(&rec, &cur, &before);
    EXPECT_EQ(rec.total.inBitRate, 80000u);
    EXPECT_EQ(rec.ipv4.inBitRate, 24u); // 1000 / 300 = 3, then × 8
    EXPECT_EQ(rec.ipv6.outBitRate, 0u);
    EXPECT_EQ(rec.total.outPacketRate, 2u);
    EXPECT_EQ(rec.ipv6.outBytes, 1u);

    before.flowStatInterval = 0;
    IFMPlugin_MDTLM_SubIfStatData(&rec, &cur, &before);
    EXPECT_EQ(rec.total.inBitRate, 0u);
}

TEST_F(IfStatRatesTest, MemberIntervalsThatDisagreeAreNotSummed)
{
    TlmIfStatData sum{}, add{};
    sum.flowStatInterval = add.flowStatInterval = 300;
    sum.ipv6.outBytes = add.ipv6.outBytes = 12;
    add.total.inBitRate = 77;
    IFMPlugin_MDTLM_AddTwoStatForIntval(&sum, &add);
    EXPECT_EQ(sum.ipv6.outBytes, 24u);
    EXPECT_EQ(sum.total.inBitRate, 0u) << "rates are not summed";
    add.flowStatInterval = 200; // shorter: ignored
    IFMPlugin_MDTLM_AddTwoStatForIntval(&sum, &add);
    EXPECT_EQ(sum.ipv6.outBytes, 24u);
    EXPECT_EQ(sum.flowStatInterval, 300u);
    add.flowStatInterval = 600; // longer: the interval is taken over, the counters stay
    IFMPlugin_MDTLM_AddTwoStatForIntval(&sum, &add);
    EXPECT_EQ(sum.ipv6.outBytes, 24u);
    EXPECT_EQ(sum.flowStatInterval, 600u);
}

TEST_F(IfStatRatesTest, TrunkAddsItsReadableMembersUpTo256)
{
    PutRow(100, 1000000, 2000); // 2000 × 300 / 1000 = 600 per counter over the interval
    std::vector<uint32_t> members = {999}; // listed, but without statistics
    for (uint32_t m = 101; m < 400; ++m) {
        PutRow(m, 500000, 1000); // 300 per counter
        members.push_back(m);
    }
    standin::store::PutIf({100, IFM_FWD_TYPE_TRUNK, 0, 0, "Eth-Trunk1"});
    standin::store::SetTrunkMembers(100, members); // 300 members: the first 256 are read
    const IfStatBaseInfo row = Base(100);
    TlmIfStatData rec{};
    ASSERT_EQ(IFMPlugin_MDTLM_GetIfStat(&row, &rec), 0u);
    EXPECT_EQ(rec.total.inBytes, 1000000u + 255u * 500000u);
    EXPECT_EQ(rec.ipv4.outBitRate, (600u + 255u * 300u) / 300u * 8u);
    EXPECT_EQ(rec.ipv6.inPacketRate, (600u + 255u * 300u) / 300u);

    // Without members, or when the forwarding type cannot be looked up, the trunk's own figures.
    standin::store::RemoveTrunkMembers(100);
    ASSERT_EQ(IFMPlugin_MDTLM_GetIfStat(&row, &rec), 0u);
    EXPECT_EQ(rec.total.inBytes, 1000000u);
    EXPECT_EQ(rec.total.inBitRate, 16u);
    standin::store::SetTrunkMembers(100, {101});
    standin::store::RemoveIf(100);
    ASSERT_EQ(IFMPlugin_MDTLM_GetIfStat(&row, &rec), 0u);
    EXPECT_EQ(rec.total.inBytes, 1000000u);

    // A trunk whose own row is gone yields nothing, however readable its members are.
    standin::store::PutIf({100, IFM_FWD_TYPE_TRUNK, 0, 0, "Eth-Trunk1"});
    standin::store::RemoveIfStat(100);
    EXPECT_NE(IFMPlugin_MDTLM_GetIfStat(&row, &rec), 0u);
}

TEST_F(IfStatRatesTest, RefusedAndDegradedReads)
{
    PutRow(10, 1000000, 2000);
    TlmIfStatData rec{};
    IfStatBaseInfo row = Base(10, 0);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfStat(&row, &rec), 1u);
    EXPECT_EQ(standin::CountLog("[IFMPlugin_MDTLM_GetIfStat]flowInterVal is zero.", 2), 1u);
    row = Base(11); // no such row
    EXPECT_NE(IFMPlugin_MDTLM_GetIfStat(&row, &rec), 0u);

    // The interval read on the step path fails (interval 0 reads the latest snapshot again).
    TlmIfStatData cur{}, before{};
    standin::store::InjectFault("db_read_obj", 77, 2);
    EXPECT_EQ(IFMPlugin_MDTLM_ReadIfStatForPort(10, 0, 2, &cur, &before), 77u);
    EXPECT_EQ(standin::CountLog("[IFMPlugin_MDTLM_ReadIfStatForPort]read 0s before ifstat fail, ret = 77.", 2), 1u);

    // A counter the store reports as absent stays 0, and the read succeeds.
    standin::store::InjectFault("db_get_if_statistics_steps_ipv4_in_bytes", DB_VALUE_ABSENT, 1, true);
    row = Base(10);
    ASSERT_EQ(IFMPlugin_MDTLM_GetIfStat(&row, &rec), 0u);
    EXPECT_EQ(rec.ipv4.inBytes, 0u);
    EXPECT_EQ(rec.ipv4.inBitRate, 0u);
    EXPECT_EQ(rec.ipv4.outBytes, 1000000u);
}

} // namespace
