// Full sampling ticks on the stand-in platform: each sensor alone and all four together, over 1k,
// 10k and 100k interfaces, GPB and JSON, with and without suppression of unchanged samples. The
// counters show the time per interface, the framework allocations per tick and the peak of
// outstanding framework memory during a tick.
#include <benchmark/benchmark.h>

#include <cstring>

#include "bench_device.h"
#include "iterations_flag.h"
#include "runtime/runtime.h"
#include "standin/standin.h"
#include "store/store.h"

namespace {

constexpr uint64_t kNowUs = 1795420800000000ull; // 2026-11-23 00:00:00 UTC

struct Sensor {
    const char *name;
    TlmTaskProc proc;
};
const Sensor kSensors[] = {
    {"subif", IFMPlugin_MDTLM_DealL2SubifStatTask},
    {"ipstat", IFMPlugin_MDTLM_DealIfStatTask},
    {"mib", IFMPlugin_MDTLM_DealMibIfStatTask},
    {"common", IFMPlugin_MDTLM_DealCommonIfStatTask},
};
constexpr int kAllSensors = 4;

uint64_t g_uploadBytes = 0;
uint64_t g_uploads = 0;
uint32_t g_deviceSize = 0;
BenchDevice g_device;

void EnsurePlatform()
{
    static bool started = false;
    if (started) {
        return;
    }
    started = true;
    standin::ResetAll();
    standin::SetLogLevel(2); // progress lines are filtered by the framework, as on a device
    standin::SetLogCapture(false);
    standin::SetAllocFill(false); // the stand-in's debugging fill is no cost of the plugin
    standin::SetClockUs(kNowUs);
    standin::SetBoardType(6);
    standin::SetUploadHandler([](uint32_t, const SampleData *s) {
        g_uploadBytes += s->dataLen;
        ++g_uploads;
        return 0u;
    });
    (void)IFMPlugin_MDTLM_Init(1);
}

void EnsureDevice(uint32_t interfaces)
{
    EnsurePlatform();
    if (g_deviceSize != interfaces) {
        g_device = BuildBenchDevice(interfaces, kNowUs);
        g_deviceSize = interfaces;
    }
}

void BM_Tick(benchmark::State &state)
{
    const auto interfaces = static_cast<uint32_t>(state.range(0));
    const int sensor = static_cast<int>(state.range(1));
    EnsureDevice(interfaces);

    TlmTaskInfo cfg;
    std::memset(&cfg, 0, sizeof(cfg));
    cfg.encodeType = static_cast<uint32_t>(state.range(2));
    cfg.suppressRedundant = static_cast<uint32_t>(state.range(3));
    // The same task identifiers in every run: a stopped task removes only the cache nodes it has
    // recorded (at most 32000), and the nodes it leaves behind are then found again by the next
    // run's tasks instead of lengthening the cache's chains from run to run.
    const uint32_t firstTask = 1;

    auto tick = [&] {
        for (int s = 0; s < 4; ++s) {
            if (sensor == kAllSensors || sensor == s) {
                (void)kSensors[s].proc(7, firstTask + static_cast<uint32_t>(s), &cfg);
            }
        }
    };
    if (cfg.suppressRedundant != 0) {
        tick(); // the first tick fills the cache; the loop measures the steady state
    }
    standin::ResetAllocCalls();
    standin::ResetAllocPeak();
    const uint64_t before = standin::Alloc().outstandingBytes;
    const uint64_t comparesBefore = standin::HashCompares();
    g_uploadBytes = 0;
    g_uploads = 0;
    for (auto _ : state) {
        tick();
    }
    const auto stats = standin::Alloc();
    const double iters = static_cast<double>(state.iterations());
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * interfaces);
    state.SetBytesProcessed(static_cast<int64_t>(g_uploadBytes));
    state.counters["per_if"] = benchmark::Counter(interfaces, benchmark::Counter::kIsIterationInvariantRate |
                                                                  benchmark::Counter::kInvert);
    state.counters["allocs/tick"] = static_cast<double>(stats.allocCalls) / iters;
    state.counters["peak_bytes"] = static_cast<double>(stats.peakBytes - before);
    state.counters["uploads/tick"] = static_cast<double>(g_uploads) / iters;
    // Key comparisons in the last-sample cache: its fixed 256 buckets make this grow with the
    // square of the interface count once suppression is on.
    state.counters["compares/tick"] = static_cast<double>(standin::HashCompares() - comparesBefore) / iters;
    state.SetLabel(sensor == kAllSensors ? "all" : kSensors[sensor].name);

    for (int s = 0; s < 4; ++s) {
        (void)IFMPlugin_MDTLM_StopTaskForStat(0, firstTask + static_cast<uint32_t>(s));
    }
}

// The stand-in store's share of a tick: one keyed read of every port row with its latest step,
// as the port reader makes it.
void BM_StoreKeyedPortRead(benchmark::State &state)
{
    const auto interfaces = static_cast<uint32_t>(state.range(0));
    EnsureDevice(interfaces);
    const DB_READ_OPTS opts = IFM_DbReadOpts(DB_READ_FLAGS_KEY4);
    uint64_t sink = 0;
    for (auto _ : state) {
        for (uint32_t p = 0; p < g_device.ports; ++p) {
            uint32_t key = 0x1000000 + p;
            PortStatisticsObj obj;
            if (db_create_ifm_port_statistics_obj(DB_MODE_KEYED, 0, obj.out()) != 0 ||
                db_read_obj(obj.get(), &opts, &key) != 0) {
                continue;
            }
            void *steps = nullptr;
            if (db_create_child_node(obj.get(), 0, "steps", 0, 0, &steps) != 0 || db_child_get(steps, 9) != 0) {
                continue;
            }
            uint64_t v = 0;
#define READ_STEP(f) (void)db_get_ifm_port_statistics_steps_##f(steps, &v), sink += v;
            DB_PORT_STATISTICS_STEP_FIELDS(READ_STEP)
#undef READ_STEP
        }
    }
    benchmark::DoNotOptimize(sink);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * g_device.ports);
}

void TickArgs(benchmark::internal::Benchmark *b)
{
    for (int64_t n : {1000, 10000, 100000}) {
        for (int64_t sensor = 0; sensor <= kAllSensors; ++sensor) {
            for (int64_t encode : {0, 1}) {
                for (int64_t suppress : {0, 1}) {
                    b->Args({n, sensor, encode, suppress});
                }
            }
        }
    }
    b->ArgNames({"ifs", "sensor", "json", "suppress"});
}

} // namespace

// --iterations=N runs every benchmark exactly N times (the suppressed ticks after their first).
int main(int argc, char **argv)
{
    const int64_t iterations = TakeIterationsFlag(argc, argv);
    auto *tick = benchmark::RegisterBenchmark("BM_Tick", BM_Tick)->Apply(TickArgs)->Unit(benchmark::kMillisecond);
    auto *store = benchmark::RegisterBenchmark("BM_StoreKeyedPortRead", BM_StoreKeyedPortRead)
                      ->Arg(1000)
                      ->Arg(10000)
                      ->Arg(100000)
                      ->Unit(benchmark::kMillisecond);
    if (iterations > 0) {
        tick->Iterations(iterations);
        store->Iterations(iterations);
    } else {
        tick->MinTime(0.2);
    }
    ZOR_BENCH_RUN(argc, argv);
    return 0;
}
