// Statistics record enumeration against the stand-in store: counts and listings by row type, port
// and trunk sources, the flow-interval fallback, and store faults at every step.
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "store/store.h"
#include "support/fixture.h"

using standin::CountLog;
using namespace standin::store;

namespace {

class EnumerationTest : public PlatformTest {
protected:
    void SetUp() override
    {
        PlatformTest::SetUp();
        // Rows of type 0x10 with ifindex 1..3 between rows of another type.
        for (uint32_t i = 1; i <= 3; ++i) {
            PutIfStat(Row(0x10, i));
            PutIfStat(Row(0x100, 100 + i));
        }
    }
    // Every field differs, so that a field read into the wrong place shows.
    static IfStatRow Row(uint32_t type, uint32_t ifindex)
    {
        IfStatRow r{};
        r.stat_type = type;
        r.ifindex = ifindex;
        r.vrid = ifindex + 1;
        r.interval_index = ifindex + 2;
        r.isReportTraffic = ifindex + 3;
        r.tunnelid = ifindex + 4;
        r.flow_stat_interval = 30;
        r.vlanid = static_cast<uint16_t>(ifindex + 5);
        r.statistics_enable = 1;
        return r;
    }
    uint32_t Count(uint32_t type = 0x10)
    {
        uint32_t n = 1234;
        rc = IFMPlugin_MDTLM_GetIfStatCountByType(&n, type);
        return n;
    }
    uint32_t rc = 0;
};

} // namespace

TEST_F(EnumerationTest, CountsAndListsRowsOfOneType)
{
    EXPECT_EQ(Count(), 3u);
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(Count(0x1000), 0u);
    EXPECT_EQ(rc, 0u);

    // Two more records than rows: they stay zero. One fewer: the listing stops there.
    std::vector<IfStatBaseInfo> recs(5);
    ASSERT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(recs.data(), 0x10, 5), 0u);
    for (uint32_t i = 0; i < 3; ++i) {
        const IfStatBaseInfo &r = recs[i];
        const uint32_t got[] = {r.ifIndex, r.vrid, r.intervalIndex, r.isReportTraffic, r.tunnelId, r.vlanId};
        for (uint32_t f = 0; f < 6; ++f) {
            EXPECT_EQ(got[f], i + 1 + f) << "record " << i << " field " << f;
        }
        EXPECT_EQ(r.flowStatInterval + r.statisticsEnable, 31u);
    }
    EXPECT_EQ(recs[3].ifIndex + recs[4].flowStatInterval, 0u);
    std::vector<IfStatBaseInfo> two(2);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(two.data(), 0x10, 2), 0u);
    EXPECT_EQ(two[1].ifIndex, 2u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(two.data(), 0x10, 0), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(nullptr, 0x10, 2), 1u);
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(EnumerationTest, FlowIntervalFallsBackToTheSystemThen300)
{
    FindIfStat(1)->flow_stat_interval = 0;
    // {system record present, its interval, fault on the system read, expected}: the value read is
    // kept, 0 included; 300 only when the record cannot be read.
    const uint32_t cases[][4] = {{0, 0, 0, 300}, {1, 45, 0, 45}, {1, 0, 0, 0}, {1, 60, 9, 300}};
    for (const auto &c : cases) {
        if (c[0] != 0) {
            SetSysFlowInterval(c[1]);
        } else {
            RemoveSysFlowInterval();
        }
        if (c[2] != 0) {
            InjectFault("db_read_obj", c[2]);
        }
        IfStatBaseInfo rec{};
        ASSERT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(&rec, 0x10, 1), 0u);
        EXPECT_EQ(rec.flowStatInterval, c[3]) << c[0] << "/" << c[1] << "/" << c[2];
    }
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(EnumerationTest, FailuresAndTheirLabels)
{
    const std::pair<const char *, const char *> steps[] = {
        {"db_create_if_statistics_obj", "db_create_if_statistics_obj"},
        {"db_create_stmt", "Create stmt faield."},
        {"db_append_stmt_condition", "Append filter faield"},
        {"db_create_root_iter", "Create root iterator by filter failed."},
    };
    for (const auto &s : steps) {
        InjectFault(s.first, 7);
        EXPECT_EQ(Count(), 0u);
        EXPECT_EQ(rc, 7u);
        EXPECT_EQ(CountLog(DbErr(std::string("[IFMPlugin_MDTLM_GetIfStatCountByType]") + s.second, 7), 2), 1u);
    }
    IfStatBaseInfo rec{}; // end of rows while preparing is no failure
    InjectFault("db_create_root_iter", DB_END_OF_ROWS);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(&rec, 0x10, 1), 0u);
    EXPECT_EQ(CountLog(DbErr("[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]Create root iterator by filter failed.",
                             DB_END_OF_ROWS), 2), 1u);

    InjectFault("db_root_iterator_next", 5, 3);
    EXPECT_EQ(Count(), 2u); // rows counted before the failure
    EXPECT_EQ(rc, 1u);
    EXPECT_EQ(CountLog("[IFMPlugin_MDTLM_GetIfStatCountByType]Get next iterator failed, ret = 1 ", 2), 1u);
    std::vector<IfStatBaseInfo> recs(3);
    InjectFault("db_root_iterator_next", 5, 2);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(recs.data(), 0x10, 3), 1u);
    EXPECT_EQ(CountLog("[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]Get next iterator failed, ret = 1", 2), 1u);
    EXPECT_EQ(recs[0].ifIndex, 1u);
    InjectFault("db_get_if_statistics_tunnelid", 8, 2);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(recs.data(), 0x10, 3), 8u);
    EXPECT_EQ(CountLog(DbErr("[read_if_statistics_from_obj_db]get_if_statistics_tunnelid", 8), 2), 1u);
    EXPECT_EQ(CountLog(DbErr("[IFMPlugin_MDTLM_GetIfStatBaseInfoByType]IFM_read_if_from_obj", 8), 2), 1u);
}

TEST_F(EnumerationTest, ValueAbsentIsSuccessEverywhere)
{
    const char *getters[] = {"db_get_if_statistics_ifindex",       "db_get_if_statistics_isReportTraffic",
                             "db_get_if_statistics_vrid",          "db_get_if_statistics_statistics_enable",
                             "db_get_if_statistics_vlanid",        "db_get_if_statistics_flow_stat_interval",
                             "db_get_if_statistics_tunnelid",      "db_get_if_statistics_interval_index",
                             "db_get_ifm_port_statistics_ifindex", "db_get_ifm_port_statistics_vrid",
                             "db_get_trunk_trunk_if_index"};
    PutPortStat({20, 1, 2, {}});
    AddTrunk(30);
    for (const char *g : getters) {
        InjectFault(g, DB_VALUE_ABSENT, 1, true);
        std::vector<IfStatBaseInfo> recs(3);
        std::vector<IfmPortStatBaseInfo> ports(1);
        EXPECT_EQ(IFMPlugin_MDTLM_GetIfStatBaseInfoByType(recs.data(), 0x10, 3), 0u) << g;
        EXPECT_EQ(IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(ports.data(), 1, TLM_TYPE_MIB_PORT), 0u) << g;
        EXPECT_EQ(IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(ports.data(), 1, TLM_TYPE_COMMON_TRUNK), 0u) << g;
        EXPECT_EQ(recs[2].ifIndex, std::string(g) == "db_get_if_statistics_ifindex" ? 0u : 3u) << g;
        ClearFaults();
    }
    uint32_t trunks = 55; // the store leaves the destination as it was
    InjectFault("db_get_table_record_count", DB_VALUE_ABSENT);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfmPortStatCount(&trunks, TLM_TYPE_MIB_TRUNK), 0u);
    EXPECT_EQ(trunks, 55u);
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(EnumerationTest, PortsAndTrunks)
{
    PutPortStat({20, 4, 5, {}});
    PutPortStat({21, 6, 7, {}});
    for (uint32_t t : {40u, 41u, 42u}) {
        AddTrunk(t);
    }
    // {type, count}: 8 and 14 count trunks, the others physical ports.
    const uint32_t counts[][2] = {{TLM_TYPE_MIB_PORT, 2}, {TLM_TYPE_COMMON_PORT, 2}, {TLM_TYPE_MIB_TRUNK, 3},
                                  {TLM_TYPE_COMMON_TRUNK, 3}};
    for (const auto &c : counts) {
        uint32_t n = 0;
        EXPECT_EQ(IFMPlugin_MDTLM_GetIfmPortStatCount(&n, c[0]), 0u);
        EXPECT_EQ(n, c[1]) << "type " << c[0];
    }
    std::vector<IfmPortStatBaseInfo> recs(4);
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(recs.data(), 4, TLM_TYPE_COMMON_PORT), 0u);
    EXPECT_TRUE(recs[1].ifIndex == 21 && recs[1].intervalIndex == 6 && recs[1].vrid == 7);
    EXPECT_EQ(recs[2].ifIndex, 0u);
    recs.assign(4, IfmPortStatBaseInfo{});
    EXPECT_EQ(IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(recs.data(), 2, TLM_TYPE_MIB_TRUNK), 0u);
    EXPECT_EQ(recs[1].ifIndex, 41u);
    EXPECT_EQ(recs[2].ifIndex, 0u);

    // Failures: phys count keeps what it counted, trunk count keeps the caller's value, the
    // trunk listing never fails.
    uint32_t n = 0;
    InjectFault("db_root_iterator_next", 5, 2);
    EXPECT_EQ(IFMPlugin_MDTLM_GetPhyPortStatCount(&n), 1u);
    EXPECT_EQ(n, 1u);
    InjectFault("db_get_table_record_count", 6);
    EXPECT_EQ(IFMPlugin_MDTLM_GetTrunkStatCount(&n), 6u);
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(CountLog(DbErr("[GetTrunkStatCount]db_get_table_record_count", 6), 2), 1u);
    InjectFault("db_get_trunk_trunk_if_index", 4, 2);
    EXPECT_EQ(IFMPlugin_MDTLM_GetTrunkBaseInfo(recs.data(), 3), 0u);
    EXPECT_EQ(CountLog(DbErr("[GetTrunkBaseInfo] db_get_trunk_trunk_if_index", 4), 2), 1u);
    InjectFault("db_get_ifm_port_statistics_vrid", 3);
    EXPECT_EQ(IFMPlugin_MDTLM_GetPhyPortStatBaseInfo(recs.data(), 2), 3u);
    EXPECT_EQ(CountLog(DbErr("IFM_read_ifm_port_statistics_from_obj", 3), 2), 1u);
    EXPECT_EQ(CountLog(DbErr("[IFMPlugin_MDTLM_GetIfmPortStatisFormObj]get_ifm_port_statistics_vrid", 3), 2), 1u);
}

TEST_F(EnumerationTest, EveryStoreCallFailingReleasesTheObjects)
{
    PutPortStat({20, 4, 5, {}});
    AddTrunk(40);
    SetSysFlowInterval(60);
    FindIfStat(2)->flow_stat_interval = 0;
    const char *fns[] = {"db_create_if_statistics_obj", "db_create_ifm_port_statistics_obj", "db_create_trunk_obj",
                         "db_create_sys_statistics_interval_obj", "db_create_stmt", "db_append_stmt_condition",
                         "db_create_root_iter", "db_root_iterator_next", "db_read_obj", "db_get_table_record_count",
                         "db_get_if_statistics_flow_stat_interval", "db_get_sys_statistics_interval_flow_stat_interval"};
    for (const char *fn : fns) {
        for (uint64_t nth = 1; nth <= 4; ++nth) {
            InjectFault(fn, 2, nth);
            uint32_t n = 0;
            std::vector<IfStatBaseInfo> recs(3);
            std::vector<IfmPortStatBaseInfo> ports(1);
            (void)IFMPlugin_MDTLM_GetIfStatCountByType(&n, 0x10);
            (void)IFMPlugin_MDTLM_GetIfStatBaseInfoByType(recs.data(), 0x10, 3);
            for (uint32_t type : {TLM_TYPE_MIB_PORT, TLM_TYPE_MIB_TRUNK}) {
                (void)IFMPlugin_MDTLM_GetIfmPortStatCount(&n, type);
                (void)IFMPlugin_MDTLM_GetIfmPortStatBaseInfo(ports.data(), 1, type);
            }
            EXPECT_EQ(LiveObjects(), 0u) << fn << " #" << nth;
            ClearFaults();
        }
    }
}
