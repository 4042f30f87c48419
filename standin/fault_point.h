/* Fault points of the stand-in platform (internal to the stand-in library). Every platform function
 * outside the store counts its calls in a Point and asks it whether this call must fail: at the
 * nth call from now, at every call from the nth on, or at random with a set probability. The store
 * keeps its own table (it also injects a result code) and shares the random draw. The check costs
 * one relaxed load while no fault is armed. */
#ifndef ZOR_STANDIN_FAULT_POINT_H
#define ZOR_STANDIN_FAULT_POINT_H

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#define STANDIN_FAULT_POINTS(X)                                                                        \
    X(MDTLM_AllocBuff) X(RegXpath) X(UploadData) X(COMP_GetVTable) X(DEVM_GetSelfBoardType)            \
    X(KAL_SystimeGet) X(KAL_SystimeSecSince1970) X(KAL_SystimeMsSince1970) X(gettimeofday)             \
    X(memcpy_s) X(memset_s) X(strcpy_s) X(strncpy_s) X(strcat_s) X(snprintf_s) X(snprintf_truncated_s) \
    X(LITE_HASH_CreateWithLock) X(LITE_HASH_FindElmtFromFirst) X(LITE_HASH_NewData) X(LITE_HASH_AddNode) \
    X(LITE_HASH_RemoveElmtByKey)

namespace standin_fault {

enum PointId : uint32_t {
#define STANDIN_POINT_ID(f) FP_##f,
    STANDIN_FAULT_POINTS(STANDIN_POINT_ID)
#undef STANDIN_POINT_ID
    FP_COUNT
};

/* Some point is armed or random failures are on. */
extern std::atomic<bool> g_active;

/* Slow path of Enter: the armed countdown, then the random draw. */
bool Decide(PointId id);
/* Counts the call; true when it must fail. */
void Count(PointId id);
inline bool Enter(PointId id)
{
    Count(id);
    return g_active.load(std::memory_order_relaxed) && Decide(id);
}

/* Disarms one point. */
void Disarm(PointId id);

/* Random failures are on; the store, which keeps its own armed faults, then draws with
 * RandomFires (true: this call fails). */
extern std::atomic<bool> g_randomOn;
bool RandomFires();

/* The store's side of the control API (store.cpp). */
bool StoreHasFunction(const std::string &name);
void StoreCallCounts(std::vector<std::pair<std::string, uint64_t>> &out);

} // namespace standin_fault

#endif
