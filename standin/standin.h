/* Control API of the stand-in platform: what the host, the tests and the benchmarks use to play
 * the framework, the device and the statistics store. The C functions of the platform boundary
 * are declared in platform/; this header adds only the knobs and the in-memory tables. */
#ifndef ZOR_STANDIN_H
#define ZOR_STANDIN_H

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"

namespace standin {

/* Resets everything below (framework, registry, device, clock, store, faults, counters). */
void ResetAll();

/* ---- Faults of any platform function ----
 * Every function of the platform boundary counts its calls and can be made to fail: the store
 * accessors (db_*), MDTLM_AllocBuff, the framework's RegXpath and UploadData slots, COMP_GetVTable,
 * DEVM_GetSelfBoardType, the KAL_* clock functions, gettimeofday, the bounded functions (memcpy_s,
 * memset_s, strcpy_s, strncpy_s, strcat_s, snprintf_s, snprintf_truncated_s) and the hash library
 * (LITE_HASH_CreateWithLock, FindElmtFromFirst, NewData, AddNode, RemoveElmtByKey). A failing call
 * does what the function does when it refuses: a store accessor returns `storeCode` and leaves its
 * destination alone, an allocation or a lookup returns NULL, a status function returns non-zero
 * (gettimeofday -1), a bounded function returns its error code with its destination cleared (a
 * refused memset_s still fills it), a refused upload never reaches the upload handler, a release that fails has still taken
 * the object back (the caller cannot use it again either way). Not meant
 * for concurrent use. */
/* The nth call from now fails (1 = the next), or every call from the nth on. Unknown names throw. */
void FailCall(const std::string &function, uint64_t nth, bool every = false, uint32_t storeCode = 1);
void ClearCallFaults(); /* every armed fault, store faults included */
/* Each call of any of these functions fails with this probability (0 turns it off). */
void FailRandomly(double probability, uint64_t seed);
uint64_t RandomFaultsInjected(); /* since the last FailRandomly */
/* Calls per function since the last ResetAllCallCounts, of every function called at least once. */
std::vector<std::pair<std::string, uint64_t>> CallCounts();
void ResetAllCallCounts();

/* ---- Framework: buffers ---- */
struct AllocStats {
    uint64_t allocCalls;         /* MDTLM_AllocBuff calls, failed ones included */
    uint64_t failedAllocs;       /* calls that returned NULL */
    uint64_t freeCalls;          /* MDTLM_FreeBuff calls with a non-NULL buffer */
    uint64_t outstandingBuffers; /* allocated and not yet freed */
    uint64_t outstandingBytes;
    uint64_t peakBytes; /* highest outstandingBytes since the last ResetAllocPeak */
};
AllocStats Alloc();
void ResetAllocPeak();  /* peakBytes = outstandingBytes */
void ResetAllocCalls(); /* allocCalls, failedAllocs and freeCalls back to 0 */
/* Fails the nth MDTLM_AllocBuff call counted from now (1 = the next one). */
void FailAllocAt(uint64_t nth);
/* Fails every MDTLM_AllocBuff call from the nth one counted from now on. */
void FailAllocFrom(uint64_t nth);
void ClearAllocFaults();
/* Size of a live buffer from MDTLM_AllocBuff, as asked for (0 for null). */
uint64_t BufferSize(const void *buf);
/* New buffers are filled with 0xA5 so that a missing zeroing shows (default on); benchmarks turn
 * the fill off to measure the plugin rather than the stand-in. */
void SetAllocFill(bool on);

/* ---- Framework: log ---- */
struct LogLine {
    uint32_t level;
    std::string text;
};
/* Lines below minLevel are dropped before they are formatted (default 0: every line is kept). */
void SetLogLevel(uint32_t minLevel);
/* Echo kept lines to stderr from this level on; 0 = no echo (default). */
void SetLogEcho(uint32_t minLevel);
/* Keep kept lines in memory for Logs() (default on). */
void SetLogCapture(bool on);
const std::vector<LogLine> &Logs();
void ClearLogs();
/* Number of captured lines whose text equals `text` exactly (any level when level is 0). */
size_t CountLog(const std::string &text, uint32_t level = 0);
/* Number of captured lines whose text contains `part`. */
size_t CountLogContaining(const std::string &part);

/* ---- Framework: operation table ---- */
using RegHandler = std::function<uint32_t(uint32_t moduleId, const char *path, const TlmSensorReg *reg)>;
using UploadHandler = std::function<uint32_t(uint32_t moduleId, const SampleData *sample)>;
void SetRegHandler(RegHandler handler);       /* default: accepts (0) and keeps nothing */
void SetUploadHandler(UploadHandler handler); /* default: accepts (0) and keeps nothing */
/* The table that COMP_GetVTable hands out; tests may null its slots (ResetAll restores them). */
MdTlmFrmVtbl *FrameworkTable();

/* ---- Component registry and device management ---- */
void SetVTableResult(uint32_t rc);                   /* non-zero: COMP_GetVTable fails with rc */
void SetBoardType(uint32_t boardType, uint32_t rc = 0); /* rc non-zero: DEVM_GetSelfBoardType fails */
uint32_t LastVTableCompId();
uint32_t LastVTableVtblId();

/* ---- Clock (KAL_* and gettimeofday of the process) ---- */
void UseRealClock(); /* default */
/* Switches to the simulated clock at this time (microseconds since 1970). */
void SetClockUs(uint64_t usSince1970);
void AdvanceClockUs(uint64_t us);
uint64_t NowUs(); /* the clock in use */
/* Makes the next `count` gettimeofday calls fail (return -1). */
void FailGettimeofday(uint32_t count);

/* ---- Hash table library ---- */
uint64_t LiveHashTables();
uint64_t LiveHashElements(); /* elements from LITE_HASH_NewData not yet released */
uint64_t HashCompares();     /* calls of the tables' comparison functions so far */

/* ---- Statistics store ---- */
namespace store {

struct IfStatStep {
#define STANDIN_STEP_FIELD(f) uint64_t f;
    DB_IF_STATISTICS_STEP_FIELDS(STANDIN_STEP_FIELD)
#undef STANDIN_STEP_FIELD
};

struct IfStatRow {
    uint32_t stat_type;
    uint32_t ifindex;
    uint32_t vrid;
    uint32_t interval_index;
    uint32_t isReportTraffic;
    uint32_t tunnelid;
    uint32_t flow_stat_interval;
    uint16_t vlanid;
    uint8_t statistics_enable;
    IfStatStep steps[DB_IF_STATISTICS_STEP_COUNT]; /* 0-3 ring, 4 rate step */
};

struct PortStatStep {
#define STANDIN_STEP_FIELD(f) uint64_t f;
    DB_PORT_STATISTICS_STEP_FIELDS(STANDIN_STEP_FIELD)
#undef STANDIN_STEP_FIELD
};

struct PortStatRow {
    uint32_t ifindex;
    uint32_t interval_index;
    uint32_t vrid;
    PortStatStep steps[DB_PORT_STATISTICS_STEP_COUNT]; /* 0-9 ring, 10 rate, 11 unused, 12 baseline */
};

struct IfRow {
    uint32_t ifindex;
    uint32_t forwardType;
    uint32_t if_type;
    uint64_t speed; /* bits per second */
    std::string name;
};

struct IfMgntRow {
    uint32_t logicalIfIndex;
    uint32_t actualIfIndex;
    uint32_t unused;
};

void Reset(); /* empties every table and clears faults and counters */

/* Keyed tables: Put inserts, or replaces in place keeping the row's position in iteration order.
 * Find returns the stored row for in-place edits (null when absent); the pointer stays valid until
 * the row is removed or the table reset. */
void PutIfStat(const IfStatRow &row);
IfStatRow *FindIfStat(uint32_t ifindex);
bool RemoveIfStat(uint32_t ifindex);

void PutPortStat(const PortStatRow &row);
PortStatRow *FindPortStat(uint32_t ifindex);
bool RemovePortStat(uint32_t ifindex);

void PutIf(const IfRow &row);
IfRow *FindIf(uint32_t ifindex);
bool RemoveIf(uint32_t ifindex);

/* trunk (iterated) and trunk_member (keyed {0, trunk ifindex}, child "member"). */
void AddTrunk(uint32_t trunkIfIndex);
bool RemoveTrunk(uint32_t trunkIfIndex);
void SetTrunkMembers(uint32_t trunkIfIndex, const std::vector<uint32_t> &members);
bool RemoveTrunkMembers(uint32_t trunkIfIndex);

void AddIfMgnt(const IfMgntRow &row);
void ClearIfMgnt();

/* sys_statistics_interval: one row with key 0. */
void SetSysFlowInterval(uint32_t seconds);
void RemoveSysFlowInterval();

/* Frees the room of removed rows (a churning device would otherwise grow the tables); live rows
 * keep their order. Only while no store object is open. */
void Compact();

/* Fault injection by store function name ("db_read_obj", "db_root_iterator_next",
 * "db_create_if_obj", "db_get_if_statistics_steps_in_bytes", ...): the nth call from now (1 = the
 * next) returns `code`, or every call from the nth on when `every` is true. A getter that fails
 * with 13044 leaves its destination as it was, like the real store. */
void InjectFault(const std::string &function, uint32_t code, uint64_t nth = 1, bool every = false);
/* Runs `action` once, just before the nth call of a store function from now (1 = the next) does its
 * work, so that the store can change in the middle of a tick (rows that vanish between being counted
 * and being listed, say). The action must not call the store functions itself. */
void AtCall(const std::string &function, uint64_t nth, std::function<void()> action);
/* Clears injected faults and pending actions. */
void ClearFaults();
/* Names of every store function that InjectFault, AtCall and CallCount know. */
const std::vector<std::string> &FunctionNames();
/* Calls of a store function since the last Reset or ResetCallCounts. */
uint64_t CallCount(const std::string &function);
void ResetCallCounts();

/* Store objects created by db_create_*_obj and not yet released. */
uint64_t LiveObjects();

} // namespace store
} // namespace standin

#endif
