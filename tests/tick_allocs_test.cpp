// Framework allocations of whole GPB ticks over devices of growing size: a fixed number per task
// tick, per step with rows, per batch of 5000 rows and per uploaded chunk, never per interface.
#include <gtest/gtest.h>

#include "bench_device.h"
#include "runtime/runtime.h"
#include "standin/standin.h"

namespace {

constexpr uint64_t kNowUs = 1795420800000000ull;

struct Sensor {
    const char *name;
    TlmTaskProc proc;
    uint64_t steps;  // steps that find rows
    bool portStep;   // one of them lists the ports
};
// Every tick: the round's copies of the task information and of its configuration, and on a task's
// first tick its interface list. Then one row list and one batch array per step with rows: subinterface
// counters and ip-statistics have one such step, mib-statistics two (ports, trunks),
// common-statistics three (ports, trunks, routed interfaces).
const Sensor kSensors[] = {
    {"subif", IFMPlugin_MDTLM_DealL2SubifStatTask, 1, false},
    {"ipstat", IFMPlugin_MDTLM_DealIfStatTask, 1, false},
    {"mib", IFMPlugin_MDTLM_DealMibIfStatTask, 2, true},
    {"common", IFMPlugin_MDTLM_DealCommonIfStatTask, 3, true},
};
constexpr uint64_t kPerTask = 3;
constexpr uint64_t kPerChunk = 3; // size table, message, envelope

uint64_t g_uploads = 0;

TEST(TickAllocations, FixedPerStepBatchAndChunk)
{
    standin::ResetAll();
    standin::SetClockUs(kNowUs);
    standin::SetBoardType(6);
    standin::SetUploadHandler([](uint32_t, const SampleData *) {
        ++g_uploads;
        return 0u;
    });
    ASSERT_EQ(IFMPlugin_MDTLM_Init(1), 0u);
    for (uint32_t interfaces : {1000u, 2000u, 12000u}) {
        const BenchDevice device = BuildBenchDevice(interfaces, kNowUs);
        for (const Sensor &s : kSensors) {
            TlmTaskInfo cfg{};
            g_uploads = 0;
            standin::ResetAllocCalls();
            EXPECT_EQ(s.proc(7, 1, &cfg), 0u);
            EXPECT_GE(g_uploads, interfaces / 250) << s.name;
            // Beyond 5000 ports a port step takes a second batch.
            const uint64_t secondBatch = (s.portStep && device.ports > 5000) ? 1 : 0;
            EXPECT_EQ(standin::Alloc().allocCalls, kPerTask + 2 * s.steps + secondBatch + kPerChunk * g_uploads)
                << s.name << " over " << interfaces << " interfaces";
            EXPECT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 1), 0u);
            EXPECT_EQ(standin::Alloc().outstandingBuffers, 0u) << s.name;
        }
    }
}

} // namespace
