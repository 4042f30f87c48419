// Failing calls of any platform function at a chosen position or at random: the fault points of
// the functions outside the store, and the control API that serves the store's functions too.
#include <mutex>
#include <random>
#include <stdexcept>

#include "standin/fault_point.h"
#include "standin/standin.h"

namespace standin_fault {

std::atomic<bool> g_active{false};
std::atomic<bool> g_randomOn{false};

namespace {

const char *const kPointNames[FP_COUNT] = {
#define STANDIN_POINT_NAME(f) #f,
    STANDIN_FAULT_POINTS(STANDIN_POINT_NAME)
#undef STANDIN_POINT_NAME
};

struct Armed {
    uint64_t countdown = 0; // 0: not armed; otherwise the call that fails, counted down
    bool every = false;     // keeps failing once it has triggered
    bool firing = false;    // an "every" fault that has triggered
};

struct RandomState {
    bool on = false;
    uint32_t perMillion = 0;
    std::mt19937_64 rng;
    uint64_t injected = 0;
};

std::atomic<uint64_t> g_calls[FP_COUNT];
std::mutex g_mu; // guards everything below
Armed g_armed[FP_COUNT];
RandomState g_random;

void RecomputeActive()
{
    bool any = g_random.on;
    for (const Armed &a : g_armed) {
        any = any || a.countdown != 0 || a.firing;
    }
    g_active.store(any, std::memory_order_relaxed);
}

bool DrawLocked()
{
    if (!g_random.on || g_random.rng() % 1000000u >= g_random.perMillion) {
        return false;
    }
    ++g_random.injected;
    return true;
}

PointId PointByName(const std::string &name)
{
    for (uint32_t i = 0; i < FP_COUNT; ++i) {
        if (name == kPointNames[i]) {
            return static_cast<PointId>(i);
        }
    }
    return FP_COUNT;
}

} // namespace

void Count(PointId id)
{
    g_calls[id].fetch_add(1, std::memory_order_relaxed);
}

bool Decide(PointId id)
{
    std::lock_guard<std::mutex> lock(g_mu);
    Armed &a = g_armed[id];
    if (a.firing) {
        return true;
    }
    if (a.countdown != 0 && --a.countdown == 0) {
        a.firing = a.every;
        RecomputeActive();
        return true;
    }
    return DrawLocked();
}

void Disarm(PointId id)
{
    std::lock_guard<std::mutex> lock(g_mu);
    g_armed[id] = Armed{};
    RecomputeActive();
}

bool RandomFires()
{
    std::lock_guard<std::mutex> lock(g_mu);
    return DrawLocked();
}

} // namespace standin_fault

namespace standin {

using namespace standin_fault;

void FailCall(const std::string &function, uint64_t nth, bool every, uint32_t storeCode)
{
    if (nth == 0) {
        throw std::invalid_argument("standin: FailCall needs nth >= 1 (1 = the next call)");
    }
    if (StoreHasFunction(function)) {
        store::InjectFault(function, storeCode, nth, every);
        return;
    }
    const PointId id = PointByName(function);
    if (id == FP_COUNT) {
        throw std::invalid_argument("standin: no platform function \"" + function + "\"");
    }
    std::lock_guard<std::mutex> lock(g_mu);
    g_armed[id] = Armed{nth, every, false};
    RecomputeActive();
}

void ClearCallFaults()
{
    {
        std::lock_guard<std::mutex> lock(g_mu);
        for (Armed &a : g_armed) {
            a = Armed{};
        }
        RecomputeActive();
    }
    store::ClearFaults();
}

void FailRandomly(double probability, uint64_t seed)
{
    std::lock_guard<std::mutex> lock(g_mu);
    g_random.on = probability > 0.0;
    g_random.perMillion = static_cast<uint32_t>(probability * 1e6);
    g_random.rng.seed(seed);
    g_random.injected = 0;
    g_randomOn.store(g_random.on, std::memory_order_relaxed);
    RecomputeActive();
}

uint64_t RandomFaultsInjected()
{
    std::lock_guard<std::mutex> lock(g_mu);
    return g_random.injected;
}

std::vector<std::pair<std::string, uint64_t>> CallCounts()
{
    std::vector<std::pair<std::string, uint64_t>> out;
    for (uint32_t i = 0; i < FP_COUNT; ++i) {
        const uint64_t n = g_calls[i].load(std::memory_order_relaxed);
        if (n != 0) {
            out.emplace_back(kPointNames[i], n);
        }
    }
    StoreCallCounts(out);
    return out;
}

void ResetAllCallCounts()
{
    for (std::atomic<uint64_t> &c : g_calls) {
        c.store(0, std::memory_order_relaxed);
    }
    store::ResetCallCounts();
}

} // namespace standin
