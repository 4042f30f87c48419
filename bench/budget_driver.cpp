// Instruction counts under callgrind for scripts/budget.sh. Each figure is one stretch of work
// between a zeroing of callgrind's counters and a dump labelled with the figure; outside those
// stretches nothing is collected. The ticks run the shared plugin as the framework loads it
// (dlopen, callbacks from its registration), so callgrind attributes the plugin's own instructions
// to its object, apart from the stand-in's and libc's. The chunk figures call the encoders of the
// static plugin library directly. Same device, seeds and simulated clock on every run: the counts
// repeat exactly.
//
//   valgrind --tool=callgrind --instr-atstart=no --collect-atstart=no zor_budget_driver PLUGIN.so
//   zor_budget_driver PLUGIN.so --outputs FILE
// The second form runs the same ticks natively and writes every uploaded message and every log
// line of the plugin to FILE, so that a change meant to cut instructions can be shown to keep the
// plugin's output bytes and log texts: compare the files of the two builds.
#include <dlfcn.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench_device.h"
#include "chunk.h"
#include "platform/platform.h"
#include "standin/standin.h"

namespace {

constexpr uint64_t kNowUs = 1795420800000000ull; // 2026-11-23 00:00:00 UTC
constexpr int kChunks = 20;

struct Sensor {
    const char *regName;
    const char *label;
    TlmTaskProc proc;
};
Sensor g_sensors[] = {
    {"ZOR_IFM_SUBIFSTAT", "subif", nullptr},
    {"ZOR_IFM_IFSTAT", "ipstat", nullptr},
    {"ZOR_IFM_MIBIFSTAT", "mib", nullptr},
    {"ZOR_IFM_COMMONIFSTAT", "common", nullptr},
};
TlmStopProc g_stop = nullptr;
FILE *g_outputs = nullptr;
const char *const kEncodings[] = {"gpb", "json"};

void Dump(const std::string &label)
{
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}

// One tick of every sensor in every encoding over `interfaces` interfaces; task n + 1 is sensor
// n / 2 in encoding n % 2 on every device size, so after the first size the tasks are warm.
void MeasureTicks(uint32_t interfaces, bool warmUp)
{
    CALLGRIND_STOP_INSTRUMENTATION; // building the device is no part of any figure
    const BenchDevice device = BuildBenchDevice(interfaces, kNowUs);
    CALLGRIND_START_INSTRUMENTATION;
    for (uint32_t n = 0; n < 8; ++n) {
        const Sensor &s = g_sensors[n / 2];
        TlmTaskInfo cfg;
        std::memset(&cfg, 0, sizeof(cfg));
        cfg.encodeType = n % 2;
        if (warmUp) {
            (void)s.proc(0xC0DE0000u + n, n + 1, &cfg);
        }
        CALLGRIND_ZERO_STATS;
        CALLGRIND_TOGGLE_COLLECT;
        (void)s.proc(0xC0DE0000u + n, n + 1, &cfg);
        CALLGRIND_TOGGLE_COLLECT;
        if (g_outputs != nullptr) {
            for (const standin::LogLine &line : standin::Logs()) {
                std::fprintf(g_outputs, "log %u %s\n", line.level, line.text.c_str());
            }
            standin::ClearLogs();
        }
        Dump(std::string("tick ") + s.label + " " + kEncodings[n % 2] + " " + std::to_string(interfaces) + " " +
             std::to_string(device.total()));
    }
}

void MeasureChunks()
{
    const ChunkRecords records = MakeChunkRecords();
    for (ChunkSensor s : kChunkSensors) {
        for (int e = 0; e < 2; ++e) {
            auto encode = e == 0 ? EncodeOursGpb : EncodeOursJson;
            for (int i = 0; i <= kChunks; ++i) {
                if (i == 1) { // the first chunk is the warm-up
                    CALLGRIND_ZERO_STATS;
                    CALLGRIND_TOGGLE_COLLECT;
                }
                uint8_t *msg = nullptr;
                uint32_t len = 0;
                (void)encode(s, records, &msg, &len);
                MDTLM_FreeBuff(msg);
            }
            CALLGRIND_TOGGLE_COLLECT;
            Dump(std::string("chunk ") + ChunkSensorName(s) + " " + kEncodings[e] + " " + std::to_string(kChunks));
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2 && !(argc == 4 && std::strcmp(argv[2], "--outputs") == 0)) {
        std::fprintf(stderr, "usage: %s PLUGIN.so [--outputs FILE] (see scripts/budget.sh)\n", argv[0]);
        return 2;
    }
    standin::ResetAll();
    if (argc == 4) {
        g_outputs = std::fopen(argv[3], "w");
        if (g_outputs == nullptr) {
            std::perror(argv[3]);
            return 2;
        }
        standin::SetUploadHandler([](uint32_t, const SampleData *sample) {
            std::fprintf(g_outputs, "upload task %u, %u bytes\n", sample->taskId, sample->dataLen);
            std::fwrite(reinterpret_cast<const uint8_t *>(sample) + sizeof(SampleData), 1, sample->dataLen, g_outputs);
            std::fputc('\n', g_outputs);
            return 0u;
        });
    }
    standin::SetLogLevel(g_outputs != nullptr ? 0 : 2);
    standin::SetLogCapture(g_outputs != nullptr);
    standin::SetAllocFill(false);
    standin::SetClockUs(kNowUs);
    standin::SetBoardType(6);
    standin::SetRegHandler([](uint32_t, const char *, const TlmSensorReg *reg) {
        for (Sensor &s : g_sensors) {
            if (std::strcmp(s.regName, reg->sensorName) == 0) {
                s.proc = reg->taskProc;
            }
        }
        g_stop = reg->stopProc;
        return 0u;
    });
    void *plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    auto init = plugin ? reinterpret_cast<uint32_t (*)(uint32_t)>(dlsym(plugin, "IFMPlugin_MDTLM_Init")) : nullptr;
    if (init == nullptr || init(1) != 0) {
        std::fprintf(stderr, "cannot start the plugin %s: %s\n", argv[1], plugin ? "entry failed" : dlerror());
        return 1;
    }
    for (const Sensor &s : g_sensors) {
        if (s.proc == nullptr) {
            std::fprintf(stderr, "sensor %s not registered\n", s.regName);
            return 1;
        }
    }
    MeasureTicks(1000, true);
    MeasureTicks(10000, false);
    for (uint32_t task = 1; task <= 8; ++task) {
        (void)g_stop(0, task);
    }
    if (g_outputs != nullptr) {
        return std::fclose(g_outputs) == 0 ? 0 : 1;
    }
    MeasureChunks();
    return 0;
}
