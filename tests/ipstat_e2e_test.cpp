// The "ZOR_IFM_IFSTAT" sensor end to end: start-up on a main board, task callbacks on the stand-in
// clock, uploads decoded with the reference protobuf library and with cJSON, checked against rates
// computed by hand from the rows stored.
#include <cjson/cJSON.h>

#include <array>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "ifm.pb.h"
#include "sensors/ipstat/ipstat.h"
#include "support/plugin_state.h"

namespace {

using standin::store::IfStatRow;
using standin::store::IfStatStep;

using Counters = std::array<uint64_t, 12>; // in the store's step order
using Figures = std::array<uint64_t, 24>;  // GPB fields 1..24
using Report = std::map<std::string, Figures>;

const uint64_t kT0Us = 1700000000ull * 1000000ull;

Counters Ramp(uint64_t base, uint64_t step)
{
    Counters c{};
    for (size_t j = 0; j < c.size(); ++j) {
        c[j] = base + step * j;
    }
    return c;
}

void SetStep(IfStatStep &step, const Counters &c)
{
    uint64_t words[13] = {};
    std::copy(c.begin(), c.end(), words);
    static_assert(sizeof(IfStatStep) == sizeof(words), "twelve counters and a timestamp");
    memcpy(&step, words, sizeof(words));
}

struct Stored {
    Counters latest;
    Counters rate;
};

// Figures of an interface over rows (its own and its members') read with interval t: the
// counters one interval back are estimated as latest - rate * t / 1000.
Figures Expected(const std::vector<Stored> &rows, uint64_t t)
{
    Counters cur{}, delta{};
    for (const Stored &r : rows) {
        for (size_t j = 0; j < 12; ++j) {
            cur[j] += r.latest[j];
            const uint64_t back = r.rate[j] * t / 1000;
            delta[j] += back > r.latest[j] ? r.latest[j] : back;
        }
    }
    Figures f{};
    for (size_t p = 0; p < 3; ++p) {
        for (size_t k = 0; k < 4; ++k) {
            f[8 * p + k] = cur[4 * p + k];
        }
        f[8 * p + 4] = delta[4 * p] / t * 8;
        f[8 * p + 5] = delta[4 * p + 1] / t * 8;
        f[8 * p + 6] = delta[4 * p + 2] / t;
        f[8 * p + 7] = delta[4 * p + 3] / t;
    }
    return f;
}

struct Upload {
    SampleData header;
    std::string data; // the message behind the header
};

class IfStatE2ETest : public PluginTest {
protected:
    void SetUp() override
    {
        PluginTest::SetUp();
        standin::SetRegHandler([this](uint32_t, const char *path, const TlmSensorReg *reg) {
            if (strcmp(reg->sensorName, "ZOR_IFM_IFSTAT") == 0) {
                path_ = path;
                taskProc_ = reg->taskProc;
                stopProc_ = reg->stopProc;
            }
            return 0u;
        });
        standin::SetUploadHandler([this](uint32_t, const SampleData *s) {
            uploads_.push_back({*s, std::string(reinterpret_cast<const char *>(s) + sizeof(SampleData), s->dataLen)});
            return 0u;
        });
        standin::SetClockUs(kT0Us);
        standin::SetBoardType(1);
        ASSERT_EQ(IFMPlugin_MDTLM_Init(42), 0u);
        ASSERT_NE(taskProc_, nullptr);
        EXPECT_EQ(path_, "vexalo-ifm:ifm/interfaces/interface/vexalo-ifm-ip-statistics:ip-statistics");
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

    uint32_t Run(uint32_t taskId, TlmTaskInfo &cfg, uint32_t cookie = 0xC001)
    {
        uploads_.clear();
        return taskProc_(cookie, taskId, &cfg);
    }

    void Stop(uint32_t taskId) { EXPECT_EQ(stopProc_(0, taskId), 0u); }

    void CheckEnvelopes(uint32_t taskId, uint32_t cookie)
    {
        for (const Upload &u : uploads_) {
            EXPECT_EQ(u.header.taskId, taskId);
            EXPECT_EQ(u.header.frmCookie, cookie);
            EXPECT_EQ(u.header.timestampMs, u.header.timestampMs2);
            EXPECT_EQ(u.header.timestampMs / 1000, standin::NowUs() / 1000000);
        }
    }

    // Figures by interface name from the uploads of the last round, GPB or JSON. Under injected
    // faults a name can be absent or a row listed twice: then names need not be unique.
    Report Decode(bool unique = true)
    {
        Report r;
        const google::protobuf::Descriptor *d = zor::ifm::IpStatistics::descriptor();
        for (const Upload &u : uploads_) {
            Figures f{};
            if (u.data[0] != '{') {
                zor::ifm::Ifm msg;
                EXPECT_TRUE(msg.ParseFromString(u.data));
                for (const auto &e : msg.interfaces()) {
                    const auto &ip = e.interface().ip_statistics();
                    for (int n = 1; n <= 24; ++n) {
                        f[n - 1] = ip.GetReflection()->GetUInt64(ip, d->FindFieldByNumber(n));
                    }
                    EXPECT_TRUE(r.emplace(e.interface().name(), f).second || !unique) << e.interface().name();
                }
                continue;
            }
            cJSON *root = cJSON_Parse(u.data.c_str());
            cJSON *itf = nullptr;
            cJSON_ArrayForEach(itf, cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(root, "ifm"),
                                                                             "interfaces"), "interface"))
            {
                size_t n = 0;
                cJSON *m = nullptr;
                cJSON_ArrayForEach(m, cJSON_GetObjectItem(itf, "ip-statistics"))
                {
                    f[n++ % 24] = std::stoull(cJSON_GetStringValue(m));
                }
                EXPECT_EQ(n, 24u);
                EXPECT_TRUE(r.emplace(cJSON_GetStringValue(itf->child), f).second);
            }
            cJSON_Delete(root);
        }
        return r;
    }

    TlmTaskInfo Cfg(uint32_t encodeType)
    {
        TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
        cfg.encodeType = encodeType;
        return cfg;
    }

    std::string path_;
    TlmTaskProc taskProc_ = nullptr;
    TlmStopProc stopProc_ = nullptr;
    std::vector<Upload> uploads_;
    Report expected_;
};

TEST_F(IfStatE2ETest, GpbAndJsonReportTheSameHandComputedFigures)
{
    TlmTaskInfo gpb = Cfg(0);
    ASSERT_EQ(Run(1, gpb, 0xAB), 0u);
    EXPECT_EQ(uploads_.size(), 4u) << "one envelope per row type";
    CheckEnvelopes(1, 0xAB);
    const Report fromGpb = Decode();

    standin::AdvanceClockUs(1500000);
    TlmTaskInfo json = Cfg(1);
    ASSERT_EQ(Run(2, json, 0xCD), 0u);
    CheckEnvelopes(2, 0xCD);
    const Report fromJson = Decode();

    EXPECT_EQ(fromGpb, expected_);
    EXPECT_EQ(fromJson, expected_);
    EXPECT_EQ(standin::CountLog("[IFMPlugin_GetIfNamebyIfindex] Memory copy failed", 2), 2u);
    Stop(1);
    Stop(2);
}

TEST_F(IfStatE2ETest, NameFilterKeepsMatchingInterfacesOnly)
{
    TlmTaskInfo cfg = Cfg(0);
    cfg.condType = 1;
    memcpy(cfg.condKey, "name", 4);
    const char pattern[] = "eth-trunk*";
    cfg.condNameLen = sizeof(pattern) - 1;
    memcpy(cfg.condName, pattern, cfg.condNameLen);
    cfg.suppressRedundant = 1;
    ASSERT_EQ(Run(3, cfg), 0u);
    const Report r = Decode();
    // An empty name is a prefix of everything, so it passes a pattern ending in "*".
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r.count("Eth-Trunk1"), 1u);
    EXPECT_EQ(r.count(""), 1u);
    // Filtered interfaces never reach the cache.
    EXPECT_EQ(plugin_state::CacheNode(3, 10), nullptr);
    EXPECT_NE(plugin_state::CacheNode(3, 20), nullptr);
    Stop(3);
}

TEST_F(IfStatE2ETest, UnchangedSamplesAreSuppressedUntilThePeriodEnds)
{
    TlmTaskInfo cfg = Cfg(0);
    cfg.suppressRedundant = 1;
    cfg.reportPeriod = 60;
    ASSERT_EQ(Run(4, cfg), 0u);
    EXPECT_EQ(Decode().size(), expected_.size());

    standin::AdvanceClockUs(59000000);
    ASSERT_EQ(Run(4, cfg), 0u);
    EXPECT_TRUE(uploads_.empty());

    standin::AdvanceClockUs(1000000);
    ASSERT_EQ(Run(4, cfg), 0u);
    EXPECT_EQ(Decode().size(), expected_.size());

    // A changed counter of one port is reported at once; the others stay quiet.
    standin::AdvanceClockUs(5000000);
    IfStatRow *row = standin::store::FindIfStat(10);
    ASSERT_NE(row, nullptr);
    row->steps[0].in_bytes += 300;
    ASSERT_EQ(Run(4, cfg), 0u);
    const Report r = Decode();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r.begin()->first, "GE1/0/1");
    EXPECT_EQ(r.begin()->second[0], expected_["GE1/0/1"][0] + 300);

    Stop(4);
    EXPECT_EQ(plugin_state::CacheNode(4, 10), nullptr);
}

TEST_F(IfStatE2ETest, StoreFaultsAndAllocationFailuresNeverLeak)
{
    TlmTaskInfo cfg = Cfg(0);
    ASSERT_EQ(Run(5, cfg), 0u);
    const uint64_t base = standin::Alloc().outstandingBuffers; // the task's interface list

    const char *functions[] = {"db_create_if_statistics_obj", "db_read_obj", "db_root_iterator_next",
                               "db_create_child_node", "db_child_get", "db_child_count",
                               "db_get_if_statistics_steps_ipv6_in_packets", "db_get_if_statistics_interval_index",
                               "db_get_if_name", "db_get_if_forwardType", "db_get_if_mgnt_sp_rootsup",
                               "db_get_trunk_member_member_member_ifindex", "db_get_table_record_count"};
    for (const char *fn : functions) {
        for (uint64_t nth = 1; nth <= 24; ++nth) {
            for (uint32_t code : {99u, DB_VALUE_ABSENT, DB_NO_RECORD}) {
                standin::store::InjectFault(fn, code, nth);
                Run(5, cfg);
                standin::store::ClearFaults();
                Decode(false);
                ASSERT_EQ(standin::store::LiveObjects(), 0u) << fn << " #" << nth;
                ASSERT_EQ(standin::Alloc().outstandingBuffers, base) << fn << " #" << nth;
            }
        }
    }
    for (uint64_t nth = 1; nth <= 40; ++nth) {
        standin::FailAllocAt(nth);
        Run(5, cfg);
        standin::ClearAllocFaults();
        Decode(false);
        ASSERT_EQ(standin::Alloc().outstandingBuffers, base) << "allocation #" << nth;
    }
    Stop(5);
}

} // namespace
