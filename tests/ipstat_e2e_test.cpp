// The "ZOR_IFM_IFSTAT" sensor end to end on a main board: uploads decoded with the reference
// protobuf library and with cJSON, checked against rates computed by hand from the rows stored.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "ifm.pb.h"
#include "sensors/ipstat/ipstat.h"
#include "support/sensor_harness.h"

namespace {

using standin::store::IfStatRow;
using Counters = std::array<uint64_t, 13>; // a step: twelve counters in the store's order, time 0

const char kSensor[] = "ZOR_IFM_IFSTAT";
const char kNode[] = "ip-statistics";

Counters Ramp(uint64_t base, uint64_t step)
{
    Counters c{};
    for (size_t j = 0; j < 12; ++j) {
        c[j] = base + step * j;
    }
    return c;
}

void SetStep(standin::store::IfStatStep &step, const Counters &c)
{
    static_assert(sizeof(step) == sizeof(c), "twelve counters and a timestamp");
    memcpy(&step, c.data(), sizeof(c));
}

struct Stored {
    Counters latest;
    Counters rate;
};

// Members of an interface over rows (its own and its members') read with interval t: the
// counters one interval back are estimated as latest - rate * t / 1000, never below 0.
Members Expected(const std::vector<Stored> &rows, uint64_t t)
{
    Counters cur{}, delta{};
    for (const Stored &r : rows) {
        for (size_t j = 0; j < 12; ++j) {
            cur[j] += r.latest[j];
            const uint64_t back = r.rate[j] * t / 1000;
            delta[j] += back > r.latest[j] ? r.latest[j] : back;
        }
    }
    uint64_t f[24] = {};
    for (size_t p = 0; p < 3; ++p) {
        for (size_t k = 0; k < 4; ++k) {
            f[8 * p + k] = cur[4 * p + k];
        }
        f[8 * p + 4] = delta[4 * p] / t * 8; // bytes divided first
        f[8 * p + 5] = delta[4 * p + 1] / t * 8;
        f[8 * p + 6] = delta[4 * p + 2] / t;
        f[8 * p + 7] = delta[4 * p + 3] / t;
    }
    Members m;
    const auto *d = zor::ifm::IpStatistics::descriptor();
    for (int n = 1; n <= 24; ++n) {
        std::string name = d->FindFieldByNumber(n)->name();
        std::replace(name.begin(), name.end(), '_', '-');
        m[name] = std::to_string(f[n - 1]);
    }
    return m;
}

class IfStatE2ETest : public SensorTest {
protected:
    void SetUp() override
    {
        SensorTest::SetUp();
        standin::SetClockUs(1700000000ull * 1000000ull);
        Start(1, kSensor);
        BuildDevice();
    }

    void PutRow(uint32_t ifIndex, uint32_t statType, const Stored &s, uint32_t intervalIndex, uint32_t interval = 300,
                uint8_t enable = 1)
    {
        IfStatRow row{};
        row.stat_type = statType;
        row.ifindex = ifIndex;
        row.interval_index = intervalIndex;
        row.flow_stat_interval = interval;
        row.statistics_enable = enable;
        for (uint32_t k = 0; k < 4; ++k) {
            SetStep(row.steps[k], Ramp(7, 1)); // older snapshots: decoys
        }
        SetStep(row.steps[(intervalIndex + 3) % 4], s.latest);
        SetStep(row.steps[4], s.rate);
        standin::store::PutIfStat(row);
    }

    // Ports of row types 1 to 4, a trunk with members, a management interface named through
    // if_mgnt, a disabled row, a row without a name and one whose name does not fit.
    void BuildDevice()
    {
        namespace st = standin::store;
        const Stored ge1{Ramp(10000000, 1000), Ramp(3000, 7)};
        const Stored ge2{Ramp(20000000, 10), Ramp(500000, 1)}; // rate term beyond the counters: clamped
        const Stored trunk{Ramp(1000000, 3), Ramp(2000, 11)};
        const Stored m1{Ramp(400000, 5), Ramp(1000, 3)};
        const Stored m2{Ramp(300000, 9), Ramp(4000, 13)};
        const Stored meth{Ramp(50000, 2), Ramp(600, 1)};
        const Stored loop{Ramp(90000, 4), Ramp(100, 2)};

        PutRow(10, 0x10, ge1, 1);
        st::PutIf({10, 1, 6, 0, "GE1/0/1"});
        PutRow(11, 0x100, ge2, 0, 0); // interval 0: the system's 60 s
        st::SetSysFlowInterval(60);
        st::PutIf({11, 1, 6, 0, "GE1/0/2"});
        PutRow(20, 0x10, trunk, 2);
        st::PutIf({20, IFM_FWD_TYPE_TRUNK, 6, 0, "Eth-Trunk1"});
        PutRow(21, 0, m1, 2);
        PutRow(22, 0, m2, 2);
        st::SetTrunkMembers(20, {21, 23, 22}); // 23 has no statistics
        PutRow(30, 0x1000, meth, 3);
        st::PutIf({30, 1, 34, 0, "not-this-name"});
        st::PutIf({31, 1, 34, 0, "MEth0/0/0"});
        st::AddIfMgnt({61, 60, 0});
        st::AddIfMgnt({31, 30, 0});
        PutRow(41, 0x100000, loop, 1);
        st::PutIf({41, 1, 6, 0, "LoopBack0"});
        PutRow(40, 0x10, ge1, 1, 300, 0);
        st::PutIf({40, 1, 6, 0, "GE1/0/9"});
        PutRow(42, 0x10, loop, 1);
        st::PutIf({42, 1, 6, 0, std::string(64, 'L')}); // refused by the name copy: reported unnamed
        PutRow(43, 0x10, loop, 1);                        // no interface row: skipped

        expected_ = {
            {"GE1/0/1", Expected({ge1}, 300)},     {"GE1/0/2", Expected({ge2}, 60)},
            {"Eth-Trunk1", Expected({trunk, m1, m2}, 300)}, {"MEth0/0/0", Expected({meth}, 300)},
            {"LoopBack0", Expected({loop}, 300)}, {"", Expected({loop}, 300)},
        };
    }

    Reported expected_;
};

TEST_F(IfStatE2ETest, GpbAndJsonReportTheSameHandComputedFigures)
{
    EXPECT_EQ(TickIfm(kSensor, kNode, 1, Cfg(0)), expected_);
    EXPECT_EQ(uploads_.size(), 4u) << "one envelope per row type";
    EXPECT_EQ(uploads_[0].header.timestampMs / 1000, standin::NowUs() / 1000000);

    standin::AdvanceClockUs(1500000);
    EXPECT_EQ(TickIfm(kSensor, kNode, 2, Cfg(1)), expected_);
    EXPECT_EQ(standin::CountLog("[IFMPlugin_GetIfNamebyIfindex] Memory copy failed", 2), 2u);
}

TEST_F(IfStatE2ETest, NameFilterKeepsMatchingInterfacesOnly)
{
    TlmTaskInfo cfg = plugin_state::NameCondition(1, "eth-trunk*");
    cfg.suppressRedundant = 1; // the cache is kept for reported interfaces only
    const Reported r = TickIfm(kSensor, kNode, 3, cfg);
    // An empty name is a prefix of everything, so it passes a pattern ending in "*".
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r.count("Eth-Trunk1"), 1u);
    EXPECT_EQ(r.count(""), 1u);
    // Filtered interfaces never reach the cache.
    EXPECT_EQ(plugin_state::CacheNode(3, 10), nullptr);
    EXPECT_NE(plugin_state::CacheNode(3, 20), nullptr);
}

TEST_F(IfStatE2ETest, UnchangedSamplesAreSuppressedUntilThePeriodEnds)
{
    const TlmTaskInfo cfg = Cfg(0, 1, 60);
    EXPECT_EQ(TickIfm(kSensor, kNode, 4, cfg).size(), expected_.size());
    standin::AdvanceClockUs(59000000);
    EXPECT_TRUE(TickIfm(kSensor, kNode, 4, cfg).empty());
    EXPECT_TRUE(uploads_.empty());
    standin::AdvanceClockUs(1000000);
    EXPECT_EQ(TickIfm(kSensor, kNode, 4, cfg).size(), expected_.size());

    // Changed counters are reported at once; the others stay quiet. The unnamed interface comes
    // after quiet rows whose records were built and dropped: it keeps its empty name.
    standin::AdvanceClockUs(5000000);
    standin::store::FindIfStat(10)->steps[0].in_bytes += 300;
    standin::store::FindIfStat(42)->steps[0].in_bytes += 300;
    const Reported r = TickIfm(kSensor, kNode, 4, cfg);
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r.count(""), 1u);
    EXPECT_EQ(r.at("GE1/0/1").at("receive-ip-byte"),
              std::to_string(std::stoull(expected_["GE1/0/1"]["receive-ip-byte"]) + 300));

    Stop(4);
    EXPECT_EQ(plugin_state::CacheNode(4, 10), nullptr);
}

// A row with interval 0 takes the system's interval; when the system's interval reads 0 the
// interface is left out of both the ip-statistics and the common-statistics reports, each time
// with the zero-interval line, and comes back once the system's interval is set.
TEST_F(IfStatE2ETest, ZeroSystemIntervalLeavesTheInterfaceOut)
{
    const char kZero[] = "[IFMPlugin_MDTLM_GetIfStat]flowInterVal is zero.";
    standin::store::SetSysFlowInterval(0);
    Reported r = TickIfm(kSensor, kNode, 6, Cfg(0));
    EXPECT_EQ(r.count("GE1/0/2"), 0u);
    EXPECT_EQ(r.size(), expected_.size() - 1);
    EXPECT_EQ(standin::CountLog(kZero, 2), 1u);

    const char kCommon[] = "ZOR_IFM_COMMONIFSTAT";
    EXPECT_EQ(TickIfm(kCommon, "common-statistics", 7, Cfg(1)).count("GE1/0/2"), 0u);
    EXPECT_EQ(standin::CountLog(kZero, 2), 2u);

    standin::store::SetSysFlowInterval(60);
    EXPECT_EQ(TickIfm(kCommon, "common-statistics", 7, Cfg(1)).count("GE1/0/2"), 1u);
    EXPECT_EQ(TickIfm(kSensor, kNode, 6, Cfg(0)), expected_);
    EXPECT_EQ(standin::CountLog(kZero, 2), 2u);
}

TEST_F(IfStatE2ETest, ThirtyTwoInterfacesPerMessage)
{
    for (uint32_t i = 0; i < 30; ++i) {
        PutRow(100 + i, 0x10, {Ramp(i, 1), Ramp(0, 0)}, 1);
        standin::store::PutIf({100 + i, 1, 6, 0, "GE2/0/" + std::to_string(i)});
    }
    EXPECT_EQ(TickIfm(kSensor, kNode, 6, Cfg(0)).size(), expected_.size() + 30);
    ASSERT_EQ(uploads_.size(), 5u); // row type 0x10 as 32 and 1, then one per other row type
    for (size_t k = 0; k < 2; ++k) {
        Reported r;
        DecodeIfm(uploads_[k].data, kNode, r);
        EXPECT_EQ(r.size(), k == 0 ? 32u : 1u);
    }
}

} // namespace
