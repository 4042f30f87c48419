// Soak: the plugin on a churning device in simulated time. Every simulated second the device
// collects its counters; tasks of all four sensors (GPB and JSON, suppression on and off, name
// conditions, thresholds) tick on their intervals; interfaces come and go, trunks change members,
// counters are cleared or wrap at 2^64, flow intervals change, tasks are started, reconfigured and
// stopped, and about 1 % of the platform calls made during task callbacks fail at random. Checks:
// every upload decodes, no store object stays open, no framework buffer is owned by nobody
// (buffers <= task lists + cache nodes), buffers and cache nodes go back to zero whenever every task
// is stopped (every 10000 s), and the process RSS stays flat after the warm-up.
//
//   zor_soak [--ticks N] [--seed N] [--fault-rate P]     exit 0 when memory stayed flat
#include <cjson/cJSON.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ifm.pb.h"
#include "oc_interfaces.pb.h"
#include "platform/platform.h"
#include "standin/standin.h"

extern "C" uint32_t IFMPlugin_MDTLM_Init(uint32_t moduleId);

namespace {

namespace st = standin::store;

constexpr uint64_t kStartUs = 1704067200ull * 1000000ull;
constexpr uint32_t kTaskIds = 12;

const char *const kSensors[4] = {"ZOR_IFM_SUBIFSTAT", "ZOR_IFM_IFSTAT", "ZOR_IFM_MIBIFSTAT", "ZOR_IFM_COMMONIFSTAT"};

enum Kind { PORT, TRUNK, SUBIF, ROUTED, MGMT };

struct Iface {
    uint32_t ifIndex;
    Kind kind;
    std::string name;
    uint32_t statType; // if_statistics row type, 0 for none
    bool alive = true;
    uint64_t c[22] = {};
    uint64_t rate[22] = {};
};

class Soak {
public:
    Soak(uint64_t seed, double faultRate) : rng_(seed), seed_(seed), faultRate_(faultRate) {}

    int Run(uint64_t ticks);

private:
    uint64_t Rand(uint64_t n) { return n == 0 ? 0 : rng_() % n; }
    void BuildDevice();
    void WriteRows(Iface &f);
    void Collect(uint64_t second);
    void Churn(uint64_t second);
    TlmTaskInfo RandomConfig(uint32_t sensor);
    void StartTask(uint32_t id, uint32_t sensor);
    void StopTask(uint32_t id);
    void TickTasks(uint64_t second);
    bool Decode(uint32_t sensor, const SampleData *s) const;

    std::mt19937_64 rng_;
    uint64_t seed_;
    double faultRate_;
    std::vector<Iface> ifs_;
    uint32_t sysInterval_ = 30;
    std::map<std::string, TlmSensorReg> regs_;
    struct Task {
        bool running = false;
        uint32_t sensor = 0;
        uint32_t interval = 1;
        TlmTaskInfo cfg{};
    } tasks_[kTaskIds + 1];
    uint64_t callbacks_ = 0, starts_ = 0, stops_ = 0, reconfigs_ = 0, uploads_ = 0, malformed_ = 0;
    uint64_t faults_ = 0, peakBuffers_ = 0, peakNodes_ = 0, orphanBuffers_ = 0, openObjects_ = 0;
    std::vector<std::string> failures_;
};

void Soak::BuildDevice()
{
    const auto add = [this](uint32_t ifIndex, Kind kind, const std::string &name, uint32_t statType) {
        Iface f{ifIndex, kind, name, statType};
        for (uint32_t k = 0; k < 22; ++k) {
            f.rate[k] = (kind == TRUNK ? 0 : 1 + Rand(kind == PORT ? 2000000 : 20000)) >> (k % 4);
            // A few counters start just below 2^64 and wrap within minutes.
            f.c[k] = Rand(8) == 0 ? UINT64_MAX - 200 * f.rate[k] : Rand(1ull << 40);
        }
        ifs_.push_back(f);
    };
    for (uint32_t i = 1; i <= 24; ++i) {
        add(0x1000 + i, PORT, "GE1/0/" + std::to_string(i), i % 3 == 0 ? 0x100 : 0);
    }
    for (uint32_t i = 1; i <= 4; ++i) {
        add(0x2000 + i, TRUNK, "Eth-Trunk" + std::to_string(i), 0x100000);
    }
    for (uint32_t i = 1; i <= 16; ++i) {
        add(0x3000 + i, SUBIF, "GE1/0/" + std::to_string(1 + i % 4) + "." + std::to_string(100 * i), 0x1);
    }
    const uint32_t routedTypes[4] = {0x10, 0x100, 0x1000, 0x10000};
    for (uint32_t i = 1; i <= 8; ++i) {
        add(0x4000 + i, ROUTED, "Vlanif" + std::to_string(i), routedTypes[i % 4]);
    }
    add(0x5101, MGMT, "MEth0/0/0", 0x10);
    st::AddIfMgnt({0x5001, 0x5101, 0});
    st::SetSysFlowInterval(sysInterval_);
    for (Iface &f : ifs_) {
        WriteRows(f);
    }
}

// (Re)creates the rows of an interface with its counters as they stand.
void Soak::WriteRows(Iface &f)
{
    const bool port = f.kind == PORT || f.kind == MGMT;
    st::PutIf({f.ifIndex, f.kind == TRUNK ? 8u : 1u, f.kind == MGMT ? 34u : 6u, port ? 10000000000ull : 0, f.name});
    if (f.kind == MGMT) {
        st::PutIf({0x5001, 1, 34, 1000000000ull, f.name});
    }
    if (port) {
        st::PortStatRow row{};
        row.ifindex = f.ifIndex;
        st::PutPortStat(row);
    }
    if (f.kind == TRUNK) {
        st::AddTrunk(f.ifIndex);
    }
    if (f.statType != 0) {
        st::IfStatRow row{};
        row.ifindex = f.ifIndex;
        row.stat_type = f.statType;
        row.statistics_enable = Rand(16) != 0;
        row.flow_stat_interval = Rand(3) == 0 ? 0 : sysInterval_;
        st::PutIfStat(row);
    }
}

// One second of the device: counters move, port rings take a snapshot, if_statistics rows take
// one at every flow interval of their own.
void Soak::Collect(uint64_t second)
{
    const uint64_t nowUs = kStartUs + second * 1000000ull;
    for (Iface &f : ifs_) {
        if (!f.alive) {
            continue;
        }
        for (uint32_t k = 0; k < 22; ++k) {
            f.c[k] += f.rate[k]; // wraps at 2^64 like the device's counters
        }
        if (st::PortStatRow *p = st::FindPortStat(f.ifIndex)) {
            const uint32_t slot = static_cast<uint32_t>(second % 10);
            std::memcpy(&p->steps[slot], f.c, sizeof(f.c));
            p->steps[slot].timestamp_coll_cur = nowUs;
            for (uint32_t k = 0; k < 22; ++k) {
                (&p->steps[10].in_bytes)[k] = f.rate[k] * 1000;
            }
            p->interval_index = (slot + 1) % 10;
        }
        st::IfStatRow *r = st::FindIfStat(f.ifIndex);
        const uint32_t interval = r == nullptr ? 0 : r->flow_stat_interval != 0 ? r->flow_stat_interval : sysInterval_;
        if (r != nullptr && second % interval == 0) {
            const uint32_t slot = static_cast<uint32_t>((second / interval) % 4);
            std::memcpy(&r->steps[slot], f.c, 12 * sizeof(uint64_t));
            r->steps[slot].timestamp_coll_cur = nowUs;
            for (uint32_t k = 0; k < 12; ++k) {
                (&r->steps[4].in_bytes)[k] = f.rate[k] * 1000;
            }
            r->interval_index = (slot + 1) % 4;
        }
    }
}

void Soak::Churn(uint64_t second)
{
    Iface &f = ifs_[Rand(ifs_.size() - 1)]; // never the management port, the last one
    switch (Rand(40)) {
    case 0: // an interface goes away, or comes back with cleared counters
        f.alive = !f.alive;
        if (f.alive) {
            std::memset(f.c, 0, sizeof(f.c));
            WriteRows(f);
        } else {
            st::RemoveIf(f.ifIndex);
            st::RemovePortStat(f.ifIndex);
            st::RemoveIfStat(f.ifIndex);
            st::RemoveTrunk(f.ifIndex);
        }
        break;
    case 1: // counters cleared
        std::memset(f.c, 0, sizeof(f.c));
        break;
    case 2: { // a trunk's members change: none, a few ports (some gone), or more than 256
        const uint32_t trunk = 0x2001 + static_cast<uint32_t>(Rand(4));
        std::vector<uint32_t> members;
        const uint64_t n = Rand(10) == 0 ? 300 : Rand(6);
        for (uint64_t i = 0; i < n; ++i) {
            members.push_back(0x1001 + static_cast<uint32_t>(Rand(26)));
        }
        if (n == 0 && Rand(2) == 0) {
            st::RemoveTrunkMembers(trunk);
        } else {
            st::SetTrunkMembers(trunk, members);
        }
        break;
    }
    case 3: // flow intervals change
        if (second % 7 == 0) {
            const uint32_t choices[3] = {10, 30, 60};
            sysInterval_ = choices[Rand(3)];
            st::SetSysFlowInterval(sysInterval_);
            if (st::IfStatRow *r = st::FindIfStat(f.ifIndex)) {
                r->flow_stat_interval = Rand(2) == 0 ? 0 : choices[Rand(3)];
            }
        }
        break;
    default:
        break;
    }
}

TlmTaskInfo Soak::RandomConfig(uint32_t sensor)
{
    TlmTaskInfo cfg;
    std::memset(&cfg, 0, sizeof(cfg));
    cfg.encodeType = static_cast<uint32_t>(Rand(2));
    cfg.suppressRedundant = Rand(2) == 0 ? 1 : 0;
    cfg.reportPeriod = static_cast<uint32_t>(Rand(3) * 30);
    static const char *const patterns[] = {"GE1/0/*", "eth-trunk*", "*", "Vlanif3", "ge1/0/1*"};
    if (Rand(3) == 0) {
        const char *p = patterns[Rand(5)];
        cfg.condType = sensor == 0 && Rand(2) == 0 ? 2 : 1;
        std::strcpy(cfg.condKey, "name");
        cfg.condNameLen = static_cast<uint16_t>(std::strlen(p));
        std::memcpy(cfg.condName, p, cfg.condNameLen);
        std::strcpy(cfg.condIndex, "100");
    }
    if (sensor == 0 && Rand(2) == 0) {
        static const char *const counters[] = {"in_octets", "in_unicast_pkts", "out_unicast", "out_unicast_pkts"};
        cfg.thresholdNum = static_cast<uint32_t>(1 + Rand(2));
        cfg.thresholdRelation = static_cast<uint32_t>(1 + Rand(2));
        for (TlmThreshold &t : cfg.threshold) {
            std::strcpy(t.counterName, counters[Rand(4)]);
            t.thresholdOp = static_cast<uint8_t>(Rand(5));
            t.thresholdValue = Rand(1ull << 41);
        }
    }
    return cfg;
}

void Soak::StartTask(uint32_t id, uint32_t sensor)
{
    Task &t = tasks_[id];
    reconfigs_ += t.running ? 1 : 0;
    starts_ += t.running ? 0 : 1;
    t.running = true;
    t.sensor = sensor;
    t.interval = 1 + static_cast<uint32_t>(Rand(3)) * 2;
    t.cfg = RandomConfig(sensor);
}

// Stops run without injected faults: a failing lookup there ends the removal of the task's cache
// nodes, as documented, and leaves the rest behind.
void Soak::StopTask(uint32_t id)
{
    (void)regs_.at(kSensors[tasks_[id].sensor]).stopProc(0, id);
    tasks_[id].running = false;
    ++stops_;
}

void Soak::TickTasks(uint64_t second)
{
    for (uint32_t id = 1; id <= kTaskIds; ++id) {
        Task &t = tasks_[id];
        if (!t.running || second % t.interval != 0) {
            continue;
        }
        TlmTaskInfo cfg = t.cfg;
        standin::FailRandomly(faultRate_, seed_ * 1000003u + callbacks_);
        (void)regs_.at(kSensors[t.sensor]).taskProc(0xC0DE0000u + id, id, &cfg);
        faults_ += standin::RandomFaultsInjected();
        standin::FailRandomly(0, 0);
        ++callbacks_;
        openObjects_ += st::LiveObjects();
    }
}

bool Soak::Decode(uint32_t sensor, const SampleData *s) const
{
    const std::string data(reinterpret_cast<const char *>(s + 1), s->dataLen);
    if (!data.empty() && data[0] == '{') {
        const char *end = nullptr;
        cJSON *root = cJSON_ParseWithLengthOpts(data.data(), data.size(), &end, false);
        const bool ok = root != nullptr && end == data.data() + data.size();
        cJSON_Delete(root);
        return ok;
    }
    if (sensor == 0) {
        zor::oc::Interfaces msg;
        return msg.ParseFromString(data);
    }
    zor::ifm::Ifm msg;
    return msg.ParseFromString(data) && msg.interfaces_size() > 0;
}

uint64_t RssKiB()
{
    FILE *f = std::fopen("/proc/self/statm", "r");
    unsigned long pages = 0, resident = 0;
    if (f != nullptr) {
        if (std::fscanf(f, "%lu %lu", &pages, &resident) != 2) {
            resident = 0;
        }
        std::fclose(f);
    }
    return resident * 4;
}

int Soak::Run(uint64_t ticks)
{
    standin::ResetAll();
    standin::SetLogCapture(false);
    standin::SetAllocFill(true);
    standin::SetClockUs(kStartUs);
    standin::SetRegHandler([this](uint32_t, const char *, const TlmSensorReg *reg) {
        regs_[reg->sensorName] = *reg;
        return 0u;
    });
    standin::SetUploadHandler([this](uint32_t, const SampleData *s) {
        ++uploads_;
        const uint32_t id = s->taskId <= kTaskIds ? s->taskId : 0;
        if (id == 0 || s->timestampMs != s->timestampMs2 || !Decode(tasks_[id].sensor, s)) {
            ++malformed_;
        }
        return 0u;
    });
    standin::SetBoardType(6);
    if (IFMPlugin_MDTLM_Init(1) != 0 || regs_.size() != 4) {
        std::fprintf(stderr, "soak: the plugin did not start\n");
        return 2;
    }
    BuildDevice();
    const auto startAll = [this] {
        for (uint32_t id = 1; id <= 8; ++id) {
            StartTask(id, (id - 1) % 4);
        }
    };
    startAll();

    const uint64_t warmup = ticks / 10 < 1000 ? std::min<uint64_t>(ticks, 1000) : ticks / 10;
    uint64_t rssWarm = 0;
    uint64_t checkpoints = 0;
    for (uint64_t second = 1; second <= ticks; ++second) {
        standin::SetClockUs(kStartUs + second * 1000000ull + 500000);
        Collect(second);
        Churn(second);
        if (Rand(500) == 0) { // a task stops, starts or takes another configuration
            const uint32_t id = 1 + static_cast<uint32_t>(Rand(kTaskIds));
            if (tasks_[id].running && Rand(2) == 0) {
                StopTask(id);
            } else {
                StartTask(id, tasks_[id].running ? tasks_[id].sensor : static_cast<uint32_t>(Rand(4)));
            }
        }
        TickTasks(second);

        const standin::AllocStats a = standin::Alloc();
        const uint64_t nodes = standin::LiveHashElements();
        peakBuffers_ = std::max(peakBuffers_, a.outstandingBuffers);
        peakNodes_ = std::max(peakNodes_, nodes);
        uint64_t running = 0;
        for (const Task &t : tasks_) {
            running += t.running ? 1 : 0;
        }
        orphanBuffers_ += a.outstandingBuffers > running + nodes ? 1 : 0;

        if (second % 10000 == 0 || second == ticks) { // every task stopped: back to nothing
            for (uint32_t id = 1; id <= kTaskIds; ++id) {
                if (tasks_[id].running) {
                    StopTask(id);
                }
            }
            ++checkpoints;
            if (standin::Alloc().outstandingBuffers != 0 || standin::LiveHashElements() != 0) {
                failures_.push_back("at " + std::to_string(second) + " s with every task stopped: " +
                                    std::to_string(standin::Alloc().outstandingBuffers) + " buffers, " +
                                    std::to_string(standin::LiveHashElements()) + " cache nodes");
            }
            st::Compact();
            if (second != ticks) {
                startAll();
            }
        }
        if (second == warmup) {
            rssWarm = RssKiB();
        }
    }
    const uint64_t rssEnd = RssKiB();

    uint64_t calls = 0;
    for (const auto &c : standin::CallCounts()) {
        calls += c.second;
    }
    std::printf("soak: %llu ticks (simulated seconds), %llu task callbacks, %llu starts, %llu reconfigurations, "
                "%llu stops\n",
                (unsigned long long)ticks, (unsigned long long)callbacks_, (unsigned long long)starts_,
                (unsigned long long)reconfigs_, (unsigned long long)stops_);
    std::printf("soak: %llu faults injected in %llu platform calls; %llu uploads, %llu malformed\n",
                (unsigned long long)faults_, (unsigned long long)calls, (unsigned long long)uploads_,
                (unsigned long long)malformed_);
    std::printf("soak: peak framework buffers %llu, peak cache nodes %llu; %llu checkpoints with every task "
                "stopped\n",
                (unsigned long long)peakBuffers_, (unsigned long long)peakNodes_, (unsigned long long)checkpoints);
    std::printf("soak: RSS after warm-up (%llu ticks) %llu KiB, at the end %llu KiB\n", (unsigned long long)warmup,
                (unsigned long long)rssWarm, (unsigned long long)rssEnd);

    if (malformed_ != 0) {
        failures_.push_back(std::to_string(malformed_) + " malformed uploads");
    }
    if (openObjects_ != 0) {
        failures_.push_back("store objects left open after callbacks");
    }
    if (orphanBuffers_ != 0) {
        failures_.push_back("framework buffers beyond task lists and cache nodes in " + std::to_string(orphanBuffers_) +
                            " ticks");
    }
#if !defined(__SANITIZE_ADDRESS__) // the sanitizer's quarantine holds freed memory: RSS means nothing there
    if (rssEnd > rssWarm + 1024 + rssWarm / 50) {
        failures_.push_back("RSS grew after the warm-up");
    }
#endif
    for (const std::string &f : failures_) {
        std::printf("soak: FAIL: %s\n", f.c_str());
    }
    std::printf("soak: %s\n", failures_.empty() ? "memory flat, no failure" : "FAILED");
    return failures_.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    uint64_t ticks = 100000;
    uint64_t seed = 1;
    double faultRate = 0.01;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        if (flag == "--ticks") {
            ticks = std::strtoull(argv[i + 1], nullptr, 10);
        } else if (flag == "--seed") {
            seed = std::strtoull(argv[i + 1], nullptr, 10);
        } else if (flag == "--fault-rate") {
            faultRate = std::strtod(argv[i + 1], nullptr);
        } else {
            std::fprintf(stderr, "usage: zor_soak [--ticks N] [--seed N] [--fault-rate P]\n");
            return 2;
        }
    }
    Soak soak(seed, faultRate);
    return soak.Run(ticks == 0 ? 1 : ticks);
}
