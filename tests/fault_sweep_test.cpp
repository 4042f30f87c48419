// Complete fault sweeps: for every sensor, both encodings and two task configurations, one
// fault-free tick counts the calls of each platform function; then, for every function and every
// position N up to its count, the Nth call fails once, and again from the Nth on. After each
// faulted tick: no store object open, no framework buffer leaked, every upload well-formed and
// strictly decodable, and every record reported either the fault-free one of its interface or
// what a documented fallback of that failure gives. The fault-free tick that follows reports
// exactly what a fault-free run reports.
//
// Fallbacks are not recomputed here: each is the fault-free tick of a device that really is in
// the state the fallback assumes (no system flow interval: 300 s; interval reads that fail:
// counters of zero one interval back; a clock that fails: the latest port sample), so the
// plugin's arithmetic is checked against itself only on healthy data. A failed store read or
// clock may also leave contributions out or mix the fallbacks (a trunk member, a speed, one
// member's clock): such a record stays, member by member, within the highest of the fault-free
// and fallback records of its interface. A management port whose logical index cannot be looked
// up is named after its actual index; an interface whose name copy fails has an empty name.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "store/store.h"
#include "support/sensor_harness.h"

namespace {

namespace st = standin::store;


constexpr uint64_t kNowUs = 1700000000500000ull;
constexpr uint32_t kSysInterval = 60;

// ---- The device: every path of every sensor, each interface reported once per sensor ----------

// A device the way a fallback assumes it: a state of the store, or a clock.
struct Tweak {
    bool noSysInterval = false; // the sys_statistics_interval row is gone
    bool clockAhead = false;    // the clock stands 10 s after the latest port sample
    bool zeroAgo = false;       // every row's counters one interval back are 0
};

uint64_t Counter(uint32_t ifIndex, uint32_t k) { return 1000000ull * (ifIndex & 0xFFF) + 7919ull * (k + 1); }

// if_statistics row: ring of four with the latest in step 2, rate step 4.
void PutIfStat(const Tweak &t, uint32_t ifIndex, uint32_t statType, uint32_t interval, uint8_t enable = 1)
{
    st::IfStatRow row{};
    row.stat_type = statType;
    row.ifindex = ifIndex;
    row.interval_index = 3;
    row.flow_stat_interval = interval;
    row.statistics_enable = enable;
    const uint32_t seconds = interval != 0 ? interval : t.noSysInterval ? 300 : kSysInterval;
    uint64_t *latest = &row.steps[2].in_bytes;
    uint64_t *rate = &row.steps[4].in_bytes;
    for (uint32_t k = 0; k < 12; ++k) {
        latest[k] = Counter(ifIndex, k);
        rate[k] = t.zeroAgo ? (latest[k] * 1000 + seconds - 1) / seconds : 37 * (k + 1) + ifIndex % 13;
        (&row.steps[1].in_bytes)[k] = latest[k] / 2; // an older snapshot the reader must not take
    }
    row.steps[2].timestamp_coll_cur = kNowUs - 1000000;
    st::PutIfStat(row);
}

// ifm_port_statistics row: one-second ring ending half a second before now, rate step, baseline.
void PutPortStat(const Tweak &t, uint32_t ifIndex)
{
    st::PortStatRow row{};
    row.ifindex = ifIndex;
    row.interval_index = 4; // latest in step 3
    for (uint32_t back = 0; back < 10; ++back) {
        uint64_t *c = &row.steps[(13 - back) % 10].in_bytes;
        for (uint32_t k = 0; k < 22; ++k) {
            c[k] = Counter(ifIndex, k) - back * (500 + 11 * k);
        }
        c[22] = kNowUs - 500000 - back * 1000000ull;
    }
    uint64_t *rate = &row.steps[10].in_bytes;
    uint64_t *base = &row.steps[12].in_bytes;
    const uint64_t *latest = &row.steps[3].in_bytes;
    for (uint32_t k = 0; k < 22; ++k) {
        rate[k] = t.zeroAgo ? (latest[k] * 1000 + 299) / 300 : 1500 + 7 * k;
        base[k] = 1000 * (k + 1);
    }
    st::PutPortStat(row);
}

void PutIf(uint32_t ifIndex, const std::string &name, uint32_t fwd = 1, uint32_t ifType = 6, uint64_t speed = 10000000000ull)
{
    st::PutIf({ifIndex, fwd, ifType, speed, name});
}

void BuildDevice(const Tweak &t)
{
    st::Reset();
    standin::SetClockUs(t.clockAhead ? kNowUs + 10000000 : kNowUs);
    if (!t.noSysInterval) {
        st::SetSysFlowInterval(kSysInterval);
    }
    // Physical ports: ipstat rows of type 0x10 (one on the system's interval), mib/common port rows.
    for (uint32_t i = 1; i <= 3; ++i) {
        PutIf(0x1000 + i, "GE1/0/" + std::to_string(i));
        PutPortStat(t, 0x1000 + i);
        PutIfStat(t, 0x1000 + i, 0x10, i == 1 ? 0 : 300);
    }
    // Eth-Trunk1: trunk table (mib/common port path) and an ipstat row of type 0x100000; its third
    // member has no rows at all.
    PutIf(0x2001, "Eth-Trunk1", IFM_FWD_TYPE_TRUNK, 6, 20000000000ull);
    st::AddTrunk(0x2001);
    st::SetTrunkMembers(0x2001, {0x1002, 0x1003, 0x1009});
    PutIfStat(t, 0x2001, 0x100000, 300);
    // Eth-Trunk2: only if_statistics rows (type 0x100: ipstat, mib and common), members of its own,
    // one of interface type 14.
    PutIf(0x2002, "Eth-Trunk2", IFM_FWD_TYPE_TRUNK);
    PutIfStat(t, 0x2002, 0x100, 300);
    st::SetTrunkMembers(0x2002, {0x1011, 0x1012, 0x1013});
    PutIf(0x1011, "GE1/0/11", 1, 14);
    PutIfStat(t, 0x1011, 0x100, 300);
    PutIf(0x1012, "GE1/0/12");
    PutIfStat(t, 0x1012, 0x100, 300);
    // Management port: port row and ipstat row under the actual index, named after the logical one.
    PutIf(0x5001, "MEth0/0/0", 1, 34, 1000000000ull);
    PutIf(0x5101, "MEth-actual", 1, 34, 1000000000ull);
    PutPortStat(t, 0x5101);
    PutIfStat(t, 0x5101, 0x10, 300);
    st::AddIfMgnt({0x5002, 0x5102, 0});
    st::AddIfMgnt({0x5001, 0x5101, 0});
    // Routed interfaces: type 0x1000 on the system's interval, one switched off, type 0x10000, and
    // a row without an interface.
    PutIf(0x4001, "Vlanif10");
    PutIfStat(t, 0x4001, 0x1000, 0);
    PutIf(0x4002, "Vlanif20");
    PutIfStat(t, 0x4002, 0x1000, 300, 0);
    PutIf(0x4003, "Tunnel0/0/1");
    PutIfStat(t, 0x4003, 0x10000, 300);
    PutIfStat(t, 0x4004, 0x10, 300);
    // Subinterfaces (type 0x1), a name without a number and one that is not a subinterface.
    const char *subs[] = {"GE1/0/1.100", "GE1/0/1.200", "Eth-Trunk1.5", "GE1/0/3.x", "Vlanif99"};
    for (uint32_t i = 0; i < 5; ++i) {
        PutIf(0x3001 + i, subs[i]);
        PutIfStat(t, 0x3001 + i, 0x1, 300);
    }
}

// ---- What a failure may change ---------------------------------------------------------------

enum class Effect {
    None,  // records and their presence unchanged (memset_s still fills, clocks and cache only stamp)
    Clock, // the latest port sample instead of the interpolation; nothing left out
    Store, // store fallbacks, lower records, left-out interfaces
    Other, // left-out interfaces and chunks; memcpy_s also an interface without its name
};

Effect EffectOf(const std::string &fn)
{
    if (fn == "memset_s" || fn.rfind("KAL_", 0) == 0 || fn.rfind("LITE_HASH_", 0) == 0) {
        return Effect::None;
    }
    if (fn == "gettimeofday") {
        return Effect::Clock;
    }
    return fn.rfind("db_", 0) == 0 ? Effect::Store : Effect::Other;
}

double Number(const std::string &text)
{
    return std::strtod(text.c_str(), nullptr); // "41.68%" reads as 41.68
}

std::string Show(const Record &r)
{
    std::ostringstream s;
    s << '"' << r.first << "\" {";
    for (const auto &kv : r.second) {
        s << kv.first << '=' << kv.second << ' ';
    }
    return s.str() + "}";
}

struct SensorCase {
    const char *sensor;
    const char *node; // statistics node of the "ifm" message; null for subinterface counters
    const char *pattern; // the name condition of the second configuration
};

const SensorCase kSensors[] = {
    {"ZOR_IFM_SUBIFSTAT", nullptr, "GE1/0/*"},
    {"ZOR_IFM_IFSTAT", "ip-statistics", "*"},
    {"ZOR_IFM_MIBIFSTAT", "mib-statistics", "*"},
    {"ZOR_IFM_COMMONIFSTAT", "common-statistics", "*"},
};

// Sensor, encoding (0 GPB, 1 JSON), configuration (0: plain; 1: name condition and suppression).
class FaultSweepTest : public SensorTest, public ::testing::WithParamInterface<std::tuple<int, int, int>> {
protected:
    void SetUp() override
    {
        SensorTest::SetUp();
        standin::SetLogCapture(false);
        sensor_ = kSensors[std::get<0>(GetParam())];
        const int config = std::get<2>(GetParam());
        cfg_ = config == 0 ? plugin_state::ZeroTaskInfo() : plugin_state::NameCondition(1, sensor_.pattern);
        cfg_.encodeType = static_cast<uint32_t>(std::get<1>(GetParam()));
        if (config == 0 && sensor_.node == nullptr) {
            // Thresholds decide for subinterfaces when nothing is suppressed.
            cfg_.thresholdNum = 2;
            cfg_.thresholdRelation = 1;
            std::strcpy(cfg_.threshold[0].counterName, "in_octets");
            cfg_.threshold[0].thresholdOp = 2; // t <= v
            std::strcpy(cfg_.threshold[1].counterName, "out_unicast_pkts");
            cfg_.threshold[1].thresholdOp = 4; // t >= v
            cfg_.threshold[1].thresholdValue = UINT64_MAX;
        }
        cfg_.suppressRedundant = config;
        cfg_.reportPeriod = 60;
        Start(6, sensor_.sensor);
    }

    // One tick, under a fault when `faulted` (the callback may then refuse); false (with the
    // reason) when an upload is malformed.
    bool Run(uint32_t taskId, Records &out, std::string &why, bool faulted = false, bool clockFault = false)
    {
        uploads_.clear();
        running_.insert(taskId);
        TlmTaskInfo cfg = cfg_;
        const uint32_t rc = sensors_.at(sensor_.sensor).taskProc(0xC0C0 + taskId, taskId, &cfg);
        if (rc != 0 && !faulted) {
            why = "the callback refused a fault-free tick";
            return false;
        }
        for (const Upload &u : uploads_) {
            const SampleData &h = u.header;
            const bool zeroReserved =
                std::all_of(h.reserved, h.reserved + sizeof(h.reserved), [](uint8_t b) { return b == 0; });
            const bool stamped = h.timestampMs == standin::NowUs() / 1000 || (clockFault && h.timestampMs == 0);
            if (h.taskId != taskId || h.frmCookie != 0xC0C0 + taskId || h.timestampMs2 != h.timestampMs || !stamped ||
                !zeroReserved) {
                why = "envelope header";
                return false;
            }
            if (!DecodeUpload(u.data, sensor_.node, out)) {
                why = "message does not decode: " + u.data.substr(0, 200);
                return false;
            }
        }
        return true;
    }

    // Records of a fault-free tick of a fresh task on a device in the given state, nothing suppressed.
    Records Healthy(const Tweak &t)
    {
        BuildDevice(t);
        TlmTaskInfo keep = cfg_;
        cfg_.suppressRedundant = 0;
        Records r;
        std::string why;
        EXPECT_TRUE(Run(900, r, why)) << why;
        Stop(900);
        cfg_ = keep;
        return r;
    }

    SensorCase sensor_{};
    TlmTaskInfo cfg_{};
};

TEST_P(FaultSweepTest, EveryCallOfATickFailsOnceAndFromThenOn)
{
    // The fault-free records, and those of the fallbacks (Effect::Store unless noted).
    const Records healthy = Healthy(Tweak{});
    std::vector<std::pair<Effect, Records>> fallbacks;
    Tweak t;
    t.noSysInterval = true;
    fallbacks.emplace_back(Effect::Store, Healthy(t));
    t = Tweak{};
    t.clockAhead = true;
    fallbacks.emplace_back(Effect::Clock, Healthy(t));
    t = Tweak{};
    t.zeroAgo = true;
    fallbacks.emplace_back(Effect::Store, Healthy(t));
    BuildDevice(Tweak{});
    ASSERT_GE(healthy.size(), 2u);

    const bool suppress = cfg_.suppressRedundant != 0;
    std::map<std::string, Members> expected(healthy.begin(), healthy.end());
    ASSERT_EQ(expected.size(), healthy.size()) << "an interface reported twice";
    const uint32_t taskId = 7;
    Records scratch;
    std::string why;
    if (!suppress) {
        ASSERT_TRUE(Run(taskId, scratch, why)) << why; // the task's first tick; the sweep faults later ones
    }
    const uint64_t buffers = standin::Alloc().outstandingBuffers;
    const uint64_t elements = standin::LiveHashElements();

    standin::ResetAllCallCounts();
    scratch.clear();
    ASSERT_TRUE(Run(taskId, scratch, why)) << why;
    const auto counts = standin::CallCounts();
    if (suppress) {
        Stop(taskId);
    }

    uint64_t positions = 0;
    for (const auto &fc : counts) {
        const std::string &fn = fc.first;
        const Effect effect = EffectOf(fn);
        // Records this failure may leave, by name.
        std::multimap<std::string, Members> allowed(healthy.begin(), healthy.end());
        for (const auto &f : fallbacks) {
            if (f.first == effect) {
                allowed.insert(f.second.begin(), f.second.end());
            }
        }
        if (effect == Effect::Store || effect == Effect::Other) {
            // Without the management table (not read, or its copy not allocated) a management port
            // is named after its actual index.
            const auto meth = allowed.equal_range("MEth0/0/0");
            for (const auto &kv : std::multimap<std::string, Members>(meth.first, meth.second)) {
                allowed.emplace("MEth-actual", kv.second);
            }
        }
        if (fn == "memcpy_s") { // a name copy that fails leaves the name empty
            for (const auto &kv : std::multimap<std::string, Members>(allowed)) {
                const size_t dot = kv.first.rfind('.');
                allowed.emplace(sensor_.node == nullptr ? kv.first.substr(dot) : "", kv.second);
            }
        }
        auto explained = [&](const Record &r) {
            const auto range = allowed.equal_range(r.first);
            bool lower = (effect == Effect::Store || effect == Effect::Clock) && range.first != range.second;
            for (auto it = range.first; it != range.second; ++it) {
                if (it->second == r.second) {
                    return true;
                }
            }
            for (const auto &m : r.second) { // below the highest allowed value, member by member
                double top = -1;
                for (auto it = range.first; it != range.second; ++it) {
                    const auto v = it->second.find(m.first);
                    top = std::max(top, v == it->second.end() ? -1 : Number(v->second));
                }
                lower = lower && Number(m.second) <= top;
            }
            return lower;
        };

        for (bool every : {false, true}) {
            for (uint64_t nth = 1; nth <= fc.second; ++nth, ++positions) {
                const std::string what = fn + (every ? " from call " : " at call ") + std::to_string(nth);
                Records got;
                standin::FailCall(fn, nth, every);
                const bool wellFormed = Run(taskId, got, why, true, effect == Effect::None);
                standin::ClearCallFaults();
                ASSERT_TRUE(wellFormed) << what << ": " << why;
                ASSERT_EQ(st::LiveObjects(), 0u) << what;

                std::set<std::string> seen;
                for (const Record &r : got) {
                    ASSERT_TRUE(seen.insert(r.first).second || r.first.empty() || r.first[0] == '.')
                        << what << ": reported twice: " << r.first;
                    ASSERT_TRUE(effect == Effect::None ? expected.count(r.first) && expected.at(r.first) == r.second
                                                       : explained(r))
                        << what << ": unexplained record " << Show(r);
                }
                if (effect == Effect::None || effect == Effect::Clock) {
                    ASSERT_EQ(got.size(), healthy.size()) << what << ": an interface left out";
                }

                // Recovery: the next fault-free tick reports what a fault-free run reports.
                Records next;
                ASSERT_TRUE(Run(taskId, next, why)) << what << " (next tick): " << why;
                if (!suppress) {
                    ASSERT_EQ((std::map<std::string, Members>(next.begin(), next.end())), expected)
                        << what << ": the next tick differs";
                    ASSERT_EQ(standin::Alloc().outstandingBuffers, buffers) << what;
                    continue;
                }
                for (const Record &r : next) {
                    ASSERT_TRUE(expected.count(r.first) && expected.at(r.first) == r.second)
                        << what << ": next tick, " << Show(r);
                }
                next.clear();
                ASSERT_TRUE(Run(taskId, next, why)) << why;
                ASSERT_TRUE(next.empty()) << what << ": unchanged samples reported again, e.g. " << Show(next[0]);
                Stop(taskId);
                ASSERT_EQ(standin::Alloc().outstandingBuffers, buffers) << what;
                ASSERT_EQ(standin::LiveHashElements(), elements) << what;
            }
        }
    }
    ASSERT_GT(positions, 0u);
    std::printf("[ sweep    ] %s %s config %d: %llu positions over %zu functions\n", sensor_.sensor,
                cfg_.encodeType == 0 ? "GPB" : "JSON", std::get<2>(GetParam()),
                static_cast<unsigned long long>(positions), counts.size());
}

std::string CaseName(const ::testing::TestParamInfo<std::tuple<int, int, int>> &info)
{
    static const char *const names[] = {"Subif", "IpStat", "Mib", "Common"};
    return std::string(names[std::get<0>(info.param)]) + (std::get<1>(info.param) == 0 ? "Gpb" : "Json") +
           (std::get<2>(info.param) == 0 ? "Plain" : "FilteredSuppressed");
}

INSTANTIATE_TEST_SUITE_P(AllSensors, FaultSweepTest,
                         ::testing::Combine(::testing::Range(0, 4), ::testing::Range(0, 2), ::testing::Range(0, 2)),
                         CaseName);

} // namespace
