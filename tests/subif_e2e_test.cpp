// Subinterface counters sensor end to end: the registered task callback runs rounds over the
// stand-in store; the uploaded envelopes are decoded (GPB with the protobuf library, JSON with
// cJSON) and compared with what the store holds.
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include <cjson/cJSON.h>

#include "oc_interfaces.pb.h"
#include "sensors/subif/subif.h"
#include "support/sensor_harness.h"

namespace {

constexpr uint64_t k4G = 1ull << 32;

// Main name, number, in-octets, in-unicast-pkts, out-octets, out-unicast-pkts.
using Sub = std::tuple<std::string, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t>;

// Subinterfaces of one message in record order; *groups gets the number of interface elements.
std::vector<Sub> Decode(const std::string &data, size_t *groups = nullptr)
{
    std::vector<Sub> out;
    if (data[0] == '{') {
        cJSON *root = cJSON_Parse(data.c_str());
        cJSON *ifs = cJSON_GetObjectItem(cJSON_GetObjectItem(root, "interfaces"), "interface");
        cJSON *el = nullptr;
        cJSON *sub = nullptr;
        cJSON_ArrayForEach(el, ifs)
        {
            cJSON_ArrayForEach(sub, cJSON_GetObjectItem(cJSON_GetObjectItem(el, "subinterfaces"), "subinterface"))
            {
                cJSON *c = cJSON_GetObjectItem(cJSON_GetObjectItem(sub, "state"), "counters");
                auto n = [c](const char *m) { return strtoull(cJSON_GetObjectItem(c, m)->valuestring, nullptr, 10); };
                out.emplace_back(cJSON_GetObjectItem(el, "name")->valuestring,
                                 cJSON_GetObjectItem(sub, "index")->valuedouble, n("in-octets"),
                                 n("in-unicast-pkts"), n("out-octets"), n("out-unicast-pkts"));
            }
        }
        if (groups != nullptr) *groups = cJSON_GetArraySize(ifs);
        cJSON_Delete(root);
        return out;
    }
    zor::oc::Interfaces msg;
    EXPECT_TRUE(msg.ParseFromString(data));
    for (const auto &i : msg.interface()) {
        for (const auto &s : i.subinterfaces().subinterface()) {
            const auto &c = s.state().counters();
            EXPECT_EQ(s.state().index_size(), 2);
            out.emplace_back(i.name(), s.index(), c.in_octets(), c.in_unicast_pkts(), c.out_octets(),
                             c.out_unicast_pkts());
        }
    }
    if (groups != nullptr) *groups = msg.interface_size();
    return out;
}

const char kSensor[] = "ZOR_IFM_SUBIFSTAT";

class SubifE2eTest : public SensorTest {
protected:
    void Start(uint32_t boardType) { SensorTest::Start(boardType, kSensor); }

    void AddSubif(uint32_t ifIndex, const std::string &name, uint64_t inB, uint64_t inP = 0, uint64_t outB = 0,
                  uint64_t outP = 0, uint32_t statType = 0x1)
    {
        standin::store::PutIf({ifIndex, 0, 0, 0, name});
        standin::store::IfStatRow row{};
        row.stat_type = statType;
        row.ifindex = ifIndex;
        row.interval_index = 1; // latest snapshot in step 0
        row.flow_stat_interval = 300;
        row.steps[0] = {inB, outB, inP, outP, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        standin::store::PutIfStat(row);
    }

    // The numbers of the subinterfaces one tick sent, in upload order.
    std::vector<uint64_t> Sent(uint32_t taskId, const TlmTaskInfo &cfg)
    {
        std::vector<uint64_t> numbers;
        for (const Upload &u : Tick(kSensor, taskId, cfg)) {
            for (const Sub &s : Decode(u.data)) {
                numbers.push_back(std::get<1>(s));
            }
        }
        return numbers;
    }
};

TEST_F(SubifE2eTest, GpbAndJsonReportTheStore)
{
    Start(6);
    AddSubif(10, ".7", 1, 1, 1, 1); // empty main name: an element of its own in JSON
    AddSubif(11, "GE1/0/1.100", 5 * k4G + 1, 10, 20, 30);
    AddSubif(12, "GE1/0/1.200", 1, 2, 3, 4);
    AddSubif(13, "GE1/0/2.100", 7, 8, 9, 10);
    AddSubif(14, "GE1/0/3", 1);                  // no dot: not a subinterface
    AddSubif(15, "GE1/0/4.7", 1, 0, 0, 0, 0x10); // another row type
    AddSubif(16, "Eth-Trunk1.5", UINT64_MAX, 1, 1, 1);
    const std::vector<Sub> expected = {{"", 7, 1, 1, 1, 1},          {"GE1/0/1", 100, 5 * k4G + 1, 10, 20, 30},
                                       {"GE1/0/1", 200, 1, 2, 3, 4}, {"GE1/0/2", 100, 7, 8, 9, 10},
                                       {"Eth-Trunk1", 5, UINT64_MAX, 1, 1, 1}};
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    for (uint32_t encodeType : {0u, 1u}) {
        cfg.encodeType = encodeType;
        const auto &ups = Tick(kSensor, 100 + encodeType, cfg, 0xC00C1E);
        ASSERT_EQ(ups.size(), 1u);
        EXPECT_EQ(ups[0].header.frmCookie, 0xC00C1Eu);
        EXPECT_EQ(ups[0].header.taskId, 100 + encodeType);
        size_t groups = 0;
        EXPECT_EQ(Decode(ups[0].data, &groups), expected);
        EXPECT_EQ(groups, encodeType == 0 ? 5u : 4u); // JSON groups the two GE1/0/1 subinterfaces
    }

    // The pattern is upper-cased by the callback before the round.
    EXPECT_EQ(Sent(100, plugin_state::NameCondition(1, "ge1/0/1*")), std::vector<uint64_t>({100, 200}));
    EXPECT_EQ(Sent(100, plugin_state::NameCondition(2, "GE1/0/2", "100")), std::vector<uint64_t>({100}));
}

TEST_F(SubifE2eTest, Thresholds)
{
    Start(6);
    AddSubif(1, "GE1/0/1.1", 1000, 5, 0, 7);
    AddSubif(2, "GE1/0/1.2", 1001, 6, 0, 0);
    AddSubif(3, "GE1/0/1.3", 5 * k4G, 7, k4G, 7);
    AddSubif(4, "GE1/0/1.4", UINT64_MAX, 8, 0, 0);

    struct Cond {
        const char *counter;
        uint8_t op;
        uint64_t value;
    };
    const Cond none = {"", 0, 0};
    const struct {
        uint32_t num, relation;
        Cond c[2];
        std::vector<uint64_t> sent;
    } cases[] = {
        {0, 0, {none, none}, {1, 2, 3, 4}},
        {1, 0, {{"in_octets", 1, 1000}, none}, {2, 3, 4}},       // t < v
        {1, 0, {{"in_octets", 2, 1001}, none}, {2, 3, 4}},       // t <= v
        {1, 0, {{"in_octets", 3, 1001}, none}, {1}},             // t > v
        {1, 0, {{"in_octets", 4, 1001}, none}, {1, 2}},          // t >= v
        {1, 0, {{"in_octets", 0, UINT64_MAX}, none}, {4}},       // t = v at the u64 maximum
        {1, 0, {{"in_octets", 3, k4G + 5}, none}, {1, 2}},       // compared in full 64 bits
        {1, 0, {{"in_octets", 2, 4 * k4G}, none}, {3, 4}},
        {1, 0, {{"out_unicast", 0, k4G}, none}, {3}},            // out_unicast selects bytes sent
        {1, 0, {{"in_unicast_pkts", 2, 0}, none}, {1, 2, 3, 4}}, // threshold 0
        {1, 0, {{"out_octets", 0, 0}, none}, {1, 2, 3, 4}},      // unknown name: v = 0
        {1, 0, {{"in_octets", 5, 0}, none}, {}},                 // unknown op never holds
        {2, 1, {{"in_octets", 1, 999}, {"out_unicast_pkts", 0, 7}}, {1, 3}},
        {2, 2, {{"in_octets", 9, 0}, {"in_unicast_pkts", 4, 6}}, {1, 2}}, // the second alone
        {2, 3, {{"in_octets", 2, 0}, {"in_octets", 2, 0}}, {}},
    };
    for (const auto &c : cases) {
        TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
        cfg.thresholdNum = c.num;
        cfg.thresholdRelation = c.relation;
        for (int i = 0; i < 2; ++i) {
            strcpy(cfg.threshold[i].counterName, c.c[i].counter);
            cfg.threshold[i].thresholdOp = c.c[i].op;
            cfg.threshold[i].thresholdValue = c.c[i].value;
        }
        EXPECT_EQ(Sent(1, cfg), c.sent) << c.c[0].counter << " op " << int(c.c[0].op) << " " << c.c[0].value;
    }
    // A counter name filling its field without a terminator is no known name: v = 0 = t.
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    cfg.thresholdNum = 1;
    memset(cfg.threshold[0].counterName, 'x', TLM_COUNTER_NAME_LEN);
    EXPECT_EQ(Sent(1, cfg).size(), 4u);
}

// The period arithmetic is the cache's (cache_test); here: what counts as a change, that the
// task's period reaches the cache and that thresholds are ignored while suppressing.
TEST_F(SubifE2eTest, SuppressionOverRounds)
{
    Start(6);
    standin::SetClockUs(1000ull * 1000000);
    for (uint32_t i = 1; i <= 3; ++i) {
        AddSubif(i, "GE1/0/1." + std::to_string(i), 10 * i);
    }
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    cfg.suppressRedundant = 1;
    cfg.reportPeriod = 60;
    cfg.thresholdNum = 1; // would drop every subinterface
    cfg.threshold[0].thresholdValue = 12345;
    EXPECT_EQ(Sent(5, cfg), std::vector<uint64_t>({1, 2, 3}));
    standin::AdvanceClockUs(30000000);
    standin::store::FindIfStat(2)->steps[0].out_packets = 1;
    EXPECT_EQ(Sent(5, cfg), std::vector<uint64_t>({2}));
    standin::AdvanceClockUs(30000000); // 60 s after the first report of 1 and 3
    EXPECT_EQ(Sent(5, cfg), std::vector<uint64_t>({1, 3}));

    cfg.reportPeriod = 0; // reported once, then only on change
    EXPECT_EQ(Sent(6, cfg).size(), 3u);
    standin::AdvanceClockUs(100000ull * 1000000);
    EXPECT_TRUE(Tick(kSensor, 6, cfg).empty());
    standin::store::FindIfStat(3)->steps[0].in_bytes = 31;
    EXPECT_EQ(Sent(6, cfg), std::vector<uint64_t>({3}));
}

TEST_F(SubifE2eTest, EnvelopesOfFiftyRecords)
{
    Start(2);
    for (uint32_t i = 0; i < 101; ++i) {
        AddSubif(1000 + i, "GE1/0/" + std::to_string(i / 10) + "." + std::to_string(i), i);
    }
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    for (uint32_t encodeType : {0u, 1u}) {
        cfg.encodeType = encodeType;
        const auto &ups = Tick(kSensor, 9, cfg);
        ASSERT_EQ(ups.size(), 3u);
        uint64_t next = 0;
        for (size_t k = 0; k < 3; ++k) {
            std::vector<Sub> subs = Decode(ups[k].data);
            ASSERT_EQ(subs.size(), k < 2 ? 50u : 1u);
            for (const Sub &sub : subs) {
                EXPECT_EQ(std::get<1>(sub), next);
                EXPECT_EQ(std::get<2>(sub), next++);
            }
        }
    }
}

} // namespace
