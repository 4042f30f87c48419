// mib-statistics and common-statistics sensors end to end on a top-of-rack board: registration,
// task callbacks, rounds over the stand-in store, encoding and upload. GPB is decoded with the
// message description and compared with the JSON of an identical round.
#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "sensors/mibstat/mibstat.h"
#include "support/sensor_harness.h"

namespace {

using standin::store::IfRow;

constexpr uint64_t kL = 1700000000000000ull; // latest snapshot (µs)

// One-second snapshots with bases 4b, 3b, 2b, b (counter k = k * base) ending at kL, and a rate
// step whose counter k loses 300 * k over 300 s.
void PutPort(uint32_t ifIndex, uint64_t b, const std::string &name, uint32_t ifType = 1)
{
    standin::store::PortStatRow row{};
    row.ifindex = ifIndex;
    row.interval_index = 5; // latest at step 4
    for (uint64_t i = 0; i <= 4; ++i) {
        auto &s = row.steps[i == 4 ? 10 : (14 - i) % 10];
        uint64_t k = 0;
        const uint64_t base = i == 4 ? 1000 : (4 - i) * b;
#define STEP_FIELD(f) s.f = base * ++k;
        DB_PORT_STATISTICS_STEP_FIELDS(STEP_FIELD)
#undef STEP_FIELD
        s.timestamp_coll_cur = i == 4 ? 0 : kL - i * 1000000;
    }
    standin::store::PutPortStat(row);
    standin::store::PutIf(IfRow{ifIndex, 1, ifType, 1000, name});
}

void PutVlanif(uint32_t ifIndex, uint8_t enabled, const std::string &name)
{
    standin::store::IfStatRow row{};
    row.stat_type = 0x100;
    row.ifindex = ifIndex;
    row.interval_index = 1;
    row.flow_stat_interval = 300;
    row.statistics_enable = enabled;
    row.steps[0] = {600000, 300000, 6000, 3000, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    row.steps[4] = {1000000, 0, 10000, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}; // 300,000 bytes, 3000 packets in 300 s
    standin::store::PutIfStat(row);
    standin::store::PutIf(IfRow{ifIndex, 1, 1, 1000, name});
}

const char kMib[] = "ZOR_IFM_MIBIFSTAT";
const char kCommon[] = "ZOR_IFM_COMMONIFSTAT";

class MibE2eTest : public SensorTest {
protected:
    void SetUp() override
    {
        SensorTest::SetUp();
        Start(6, kMib);
        standin::SetClockUs(kL + 1500000); // two seconds back lies halfway between pre1s and latest

        PutPort(1, 1000, "GE1/0/1");
        PutPort(2, 2000, "GE1/0/2");
        PutPort(3, 1000, "GE1/0/3", 34); // no management logical interface: never reported
        PutPort(4, 1000, "GE1/0/4", 34); // reported under its logical interface's name
        standin::store::AddIfMgnt({0x4000, 4, 0});
        standin::store::PutIf(IfRow{0x4000, 1, 1, 1000, "MEth0/0/0"});
        standin::store::AddTrunk(100);
        standin::store::SetTrunkMembers(100, {1, 9, 2}); // 9 cannot be read: left out of the sums
        standin::store::PutIf(IfRow{100, IFM_FWD_TYPE_TRUNK, 1, 2000, "Eth-Trunk1"});
        standin::store::AddTrunk(101); // no member list: dropped
        PutVlanif(200, 1, "Vlanif10");
        PutVlanif(201, 0, "Vlanif20"); // statistics off
    }

    Reported Mib(uint32_t taskId, const TlmTaskInfo &cfg) { return TickIfm(kMib, "mib-statistics", taskId, cfg); }
    Reported Common(uint32_t taskId, const TlmTaskInfo &cfg)
    {
        return TickIfm(kCommon, "common-statistics", taskId, cfg);
    }

    static std::vector<std::string> Names(const Reported &r)
    {
        std::vector<std::string> names;
        for (const auto &kv : r) {
            names.push_back(kv.first);
        }
        return names;
    }
};

const std::vector<std::string> kReported = {"Eth-Trunk1", "GE1/0/1", "GE1/0/2", "MEth0/0/0", "Vlanif10"};

TEST_F(MibE2eTest, MibRoundInBothEncodings)
{
    const Reported gpb = Mib(11, Cfg(0));
    EXPECT_EQ(uploads_.size(), 3u); // if_statistics rows, physical ports, trunks
    EXPECT_EQ(Names(gpb), kReported);
    // Ports at base 3.5 b: packets 3 x, bytes 1 x plus 20 per packet; the trunk sums its members.
    EXPECT_EQ(gpb.at("GE1/0/1").at("receive-packet"), "10500");
    EXPECT_EQ(gpb.at("GE1/0/1").at("receive-byte"), std::to_string(3500 + 20 * 10500));
    EXPECT_EQ(gpb.at("GE1/0/2").at("send-drop-packet"), "70000");
    EXPECT_EQ(gpb.at("Eth-Trunk1").at("send-byte"), std::to_string(82 * 10500));
    EXPECT_EQ(standin::CountLog("read mib ifm port stat error, ifIndex:9", 2), 1u);
    EXPECT_EQ(standin::CountLog("[ReadMibTrunkIfmPortStat]get memberIfindexes fail, ifIndex:101", 2), 1u);
    EXPECT_EQ(gpb.at("Vlanif10").at("receive-byte"), "600000"); // latest, no overhead
    EXPECT_EQ(gpb.at("Vlanif10").at("send-packet"), "3000");
    EXPECT_EQ(gpb.at("Vlanif10").at("receive-unicast-packet"), "0");
    EXPECT_EQ(Mib(12, Cfg(1)), gpb);
}

TEST_F(MibE2eTest, CommonRoundInBothEncodings)
{
    const Reported gpb = Common(21, Cfg(0));
    EXPECT_EQ(uploads_.size(), 3u); // physical ports, if_statistics rows, trunks
    EXPECT_EQ(Names(gpb), kReported);
    const Members p1 = gpb.at("GE1/0/1"), trunk = gpb.at("Eth-Trunk1"), vlanif = gpb.at("Vlanif10");
    EXPECT_EQ(p1.at("receive-byte"), std::to_string(4000 + 20 * 12000));
    EXPECT_EQ(p1.at("in-packet-rate"), "3");  // 900 / 300
    EXPECT_EQ(p1.at("in-bit-rate"), "488");   // (300 / 300 + 20 * 3) * 8
    EXPECT_EQ(p1.at("out-bit-rate"), "656");  // (600 / 300 + 20 * 4) * 8
    EXPECT_EQ(p1.at("in-use-rate"), "48.80%"); // of 1000 bit/s
    EXPECT_EQ(p1.at("out-use-rate"), "65.60%");
    EXPECT_EQ(trunk.at("in-bit-rate"), "976"); // (600 / 300 + 20 * 6) * 8
    EXPECT_EQ(trunk.at("in-use-rate"), "48.80%");
    EXPECT_EQ(standin::CountLog("read commmon ifm port stat error, ifIndex:9", 2), 1u);
    EXPECT_EQ(vlanif.at("in-bit-rate"), "8000"); // no overhead, no use rates
    EXPECT_EQ(vlanif.at("in-use-rate"), "0.00%");
    EXPECT_EQ(Common(22, Cfg(1)), gpb);
}

TEST_F(MibE2eTest, UnchangedCountersAreSuppressedEvenWhenUseRatesMove)
{
    const TlmTaskInfo cfg = Cfg(0, 1);
    EXPECT_EQ(Common(31, cfg).size(), 5u);
    standin::store::FindIf(1)->speed = 500; // use rates double, counters stay
    EXPECT_EQ(Common(31, cfg).size(), 0u);
    EXPECT_EQ(uploads_.size(), 0u);
    standin::store::FindPortStat(1)->steps[4].in_packets += 1;
    EXPECT_EQ(Names(Common(31, cfg)), (std::vector<std::string>{"Eth-Trunk1", "GE1/0/1"}));

    EXPECT_EQ(Mib(32, cfg).size(), 5u); // its own nodes
    EXPECT_EQ(Mib(32, cfg).size(), 0u);
    EXPECT_NE(plugin_state::CacheNode(31, 1), nullptr);
    Stop(31);
    Stop(32);
    EXPECT_EQ(plugin_state::CacheNode(31, 1), nullptr);
}

TEST_F(MibE2eTest, FiftyInterfacesPerMessage)
{
    for (uint32_t i = 0; i < 120; ++i) {
        PutPort(1000 + i, 10, "10GE1/0/" + std::to_string(i));
    }
    EXPECT_EQ(Mib(41, Cfg(1)).size(), 125u);
    ASSERT_EQ(uploads_.size(), 5u); // Vlanif10; 123 ports as 50, 50 and 23; Eth-Trunk1
    EXPECT_EQ(std::count(uploads_[3].data.begin(), uploads_[3].data.end(), '{'), 3 + 2 * 23);
}

} // namespace
