// Stand-in telemetry framework (buffers, log, operation table), component registry and device
// management, plus the global reset of the whole stand-in platform.
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "standin/fault_point.h"
#include "standin/standin.h"

namespace {

// ---- Buffers -------------------------------------------------------------------------------

// Every buffer is preceded by this header; it lets MDTLM_FreeBuff account for the size and
// recognise pointers that did not come from MDTLM_AllocBuff (or were already freed).
struct alignas(16) BuffHeader {
    uint64_t size;
    uint32_t magic;
    uint32_t pad;
};
static_assert(sizeof(BuffHeader) == 16, "buffer header keeps 16-byte alignment");

constexpr uint32_t kLiveMagic = 0x4D44424Cu; // "MDBL"
constexpr uint32_t kDeadMagic = 0x44454144u; // "DEAD"
constexpr unsigned char kFillPattern = 0xA5;  // new buffers are not zeroed: make that visible
std::atomic<bool> g_allocFill{true};         // benchmarks may turn the fill off (SetAllocFill)

struct AllocState {
    std::mutex mu;
    standin::AllocStats stats{};
};

AllocState &Allocs()
{
    static AllocState state;
    return state;
}

// ---- Log -----------------------------------------------------------------------------------

std::atomic<uint32_t> g_logMinLevel{0};
std::atomic<uint32_t> g_logEchoLevel{0};
std::atomic<bool> g_logCapture{true};

struct LogState {
    std::mutex mu;
    std::vector<standin::LogLine> lines;
};

LogState &Log()
{
    static LogState state;
    return state;
}

// ---- Operation table, registry, device -----------------------------------------------------

// Guarded by g_frmMu; ResetAll assigns a fresh one.
struct FrameworkState {
    standin::RegHandler reg;
    standin::UploadHandler upload;
    uint32_t vtblResult = 0;
    uint32_t lastCompId = 0;
    uint32_t lastVtblId = 0;
    uint32_t boardType = 6;
    uint32_t boardResult = 0;
};

std::mutex g_frmMu;

FrameworkState &Frm()
{
    static FrameworkState state;
    return state;
}

uint32_t RegXpathSlot(uint32_t moduleId, const char *path, const TlmSensorReg *reg)
{
    if (standin_fault::Enter(standin_fault::FP_RegXpath)) {
        return 1;
    }
    standin::RegHandler handler;
    {
        std::lock_guard<std::mutex> lock(g_frmMu);
        handler = Frm().reg;
    }
    return handler ? handler(moduleId, path, reg) : 0;
}

uint32_t UploadDataSlot(uint32_t moduleId, const SampleData *sample)
{
    if (standin_fault::Enter(standin_fault::FP_UploadData)) {
        return 1; // refused: the handler never sees the envelope
    }
    standin::UploadHandler handler;
    {
        std::lock_guard<std::mutex> lock(g_frmMu);
        handler = Frm().upload;
    }
    return handler ? handler(moduleId, sample) : 0;
}

constexpr MdTlmFrmVtbl kDefaultTable = {nullptr, nullptr, nullptr, RegXpathSlot, UploadDataSlot};
MdTlmFrmVtbl g_table = kDefaultTable;

} // namespace

// ---- C functions of the platform boundary ---------------------------------------------------

extern "C" void *MDTLM_AllocBuff(uint32_t size)
{
    AllocState &st = Allocs();
    {
        std::lock_guard<std::mutex> lock(st.mu);
        ++st.stats.allocCalls;
        if (standin_fault::Enter(standin_fault::FP_MDTLM_AllocBuff)) {
            ++st.stats.failedAllocs;
            return nullptr;
        }
    }
    auto *head = static_cast<BuffHeader *>(std::malloc(sizeof(BuffHeader) + size));
    if (head == nullptr) {
        std::lock_guard<std::mutex> lock(st.mu);
        ++st.stats.failedAllocs;
        return nullptr;
    }
    head->size = size;
    head->magic = kLiveMagic;
    head->pad = 0;
    void *buf = head + 1;
    if (g_allocFill.load(std::memory_order_relaxed)) {
        std::memset(buf, kFillPattern, size);
    }
    std::lock_guard<std::mutex> lock(st.mu);
    ++st.stats.outstandingBuffers;
    st.stats.outstandingBytes += size;
    if (st.stats.outstandingBytes > st.stats.peakBytes) {
        st.stats.peakBytes = st.stats.outstandingBytes;
    }
    return buf;
}

extern "C" void MDTLM_FreeBuff(void *buf)
{
    if (buf == nullptr) {
        return;
    }
    auto *head = static_cast<BuffHeader *>(buf) - 1;
    if (head->magic != kLiveMagic) {
        std::fprintf(stderr, "standin: MDTLM_FreeBuff(%p): not a live framework buffer (double free?)\n", buf);
        std::abort();
    }
    head->magic = kDeadMagic;
    const uint64_t size = head->size;
    std::free(head);
    AllocState &st = Allocs();
    std::lock_guard<std::mutex> lock(st.mu);
    ++st.stats.freeCalls;
    --st.stats.outstandingBuffers;
    st.stats.outstandingBytes -= size;
}

extern "C" void MDTLM_WriteLog(uint32_t level, const char *format, ...)
{
    // Filter first: a dropped line costs no formatting.
    if (level < g_logMinLevel.load(std::memory_order_relaxed)) {
        return;
    }
    const bool capture = g_logCapture.load(std::memory_order_relaxed);
    const uint32_t echo = g_logEchoLevel.load(std::memory_order_relaxed);
    const bool doEcho = echo != 0 && level >= echo;
    if ((!capture && !doEcho) || format == nullptr) {
        return;
    }

    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    char small[256];
    const int len = std::vsnprintf(small, sizeof(small), format, args);
    va_end(args);
    std::string text;
    if (len >= 0 && static_cast<size_t>(len) < sizeof(small)) {
        text.assign(small, static_cast<size_t>(len));
    } else if (len >= 0) {
        text.resize(static_cast<size_t>(len) + 1);
        std::vsnprintf(&text[0], text.size(), format, again);
        text.resize(static_cast<size_t>(len));
    }
    va_end(again);

    if (doEcho) {
        std::fprintf(stderr, "[mdtlm %u] %s\n", level, text.c_str());
    }
    if (capture) {
        std::lock_guard<std::mutex> lock(Log().mu);
        Log().lines.push_back({level, std::move(text)});
    }
}

extern "C" uint32_t COMP_GetVTable(uint32_t compId, uint32_t vtblId, void **table)
{
    if (standin_fault::Enter(standin_fault::FP_COMP_GetVTable)) {
        return 1;
    }
    FrameworkState &f = Frm();
    std::lock_guard<std::mutex> lock(g_frmMu);
    f.lastCompId = compId;
    f.lastVtblId = vtblId;
    if (f.vtblResult != 0) {
        return f.vtblResult;
    }
    if (table == nullptr) {
        return 1;
    }
    *table = &g_table;
    return 0;
}

extern "C" uint32_t DEVM_GetSelfBoardType(uint32_t *boardType)
{
    if (standin_fault::Enter(standin_fault::FP_DEVM_GetSelfBoardType)) {
        return 1;
    }
    FrameworkState &f = Frm();
    std::lock_guard<std::mutex> lock(g_frmMu);
    if (f.boardResult != 0) {
        return f.boardResult;
    }
    if (boardType == nullptr) {
        return 1;
    }
    *boardType = f.boardType;
    return 0;
}

// ---- Control API ----------------------------------------------------------------------------

namespace standin {

AllocStats Alloc()
{
    std::lock_guard<std::mutex> lock(Allocs().mu);
    return Allocs().stats;
}

void ResetAllocPeak()
{
    std::lock_guard<std::mutex> lock(Allocs().mu);
    Allocs().stats.peakBytes = Allocs().stats.outstandingBytes;
}

void ResetAllocCalls()
{
    std::lock_guard<std::mutex> lock(Allocs().mu);
    Allocs().stats.allocCalls = 0;
    Allocs().stats.failedAllocs = 0;
    Allocs().stats.freeCalls = 0;
}

void FailAllocAt(uint64_t nth)
{
    if (nth == 0) {
        ClearAllocFaults();
    } else {
        FailCall("MDTLM_AllocBuff", nth, false);
    }
}

void FailAllocFrom(uint64_t nth)
{
    FailCall("MDTLM_AllocBuff", nth, true);
}

void ClearAllocFaults()
{
    standin_fault::Disarm(standin_fault::FP_MDTLM_AllocBuff);
}

uint64_t BufferSize(const void *buf)
{
    if (buf == nullptr) {
        return 0;
    }
    const auto *head = static_cast<const BuffHeader *>(buf) - 1;
    if (head->magic != kLiveMagic) {
        std::fprintf(stderr, "standin: BufferSize(%p): not a live framework buffer\n", buf);
        std::abort();
    }
    return head->size;
}

void SetAllocFill(bool on)
{
    g_allocFill.store(on);
}

void SetLogLevel(uint32_t minLevel)
{
    g_logMinLevel.store(minLevel);
}

void SetLogEcho(uint32_t minLevel)
{
    g_logEchoLevel.store(minLevel);
}

void SetLogCapture(bool on)
{
    g_logCapture.store(on);
}

const std::vector<LogLine> &Logs()
{
    return Log().lines;
}

void ClearLogs()
{
    std::lock_guard<std::mutex> lock(Log().mu);
    Log().lines.clear();
}

size_t CountLog(const std::string &text, uint32_t level)
{
    std::lock_guard<std::mutex> lock(Log().mu);
    size_t n = 0;
    for (const LogLine &line : Log().lines) {
        if (line.text == text && (level == 0 || line.level == level)) {
            ++n;
        }
    }
    return n;
}

size_t CountLogContaining(const std::string &part)
{
    std::lock_guard<std::mutex> lock(Log().mu);
    size_t n = 0;
    for (const LogLine &line : Log().lines) {
        if (line.text.find(part) != std::string::npos) {
            ++n;
        }
    }
    return n;
}

void SetRegHandler(RegHandler handler)
{
    std::lock_guard<std::mutex> lock(g_frmMu);
    Frm().reg = std::move(handler);
}

void SetUploadHandler(UploadHandler handler)
{
    std::lock_guard<std::mutex> lock(g_frmMu);
    Frm().upload = std::move(handler);
}

MdTlmFrmVtbl *FrameworkTable()
{
    return &g_table;
}

void SetVTableResult(uint32_t rc)
{
    std::lock_guard<std::mutex> lock(g_frmMu);
    Frm().vtblResult = rc;
}

void SetBoardType(uint32_t boardType, uint32_t rc)
{
    std::lock_guard<std::mutex> lock(g_frmMu);
    Frm().boardType = boardType;
    Frm().boardResult = rc;
}

uint32_t LastVTableCompId()
{
    std::lock_guard<std::mutex> lock(g_frmMu);
    return Frm().lastCompId;
}

uint32_t LastVTableVtblId()
{
    std::lock_guard<std::mutex> lock(g_frmMu);
    return Frm().lastVtblId;
}

void ResetAll()
{
    {
        std::lock_guard<std::mutex> lock(g_frmMu);
        Frm() = FrameworkState{};
        g_table = kDefaultTable;
    }
    // Outstanding buffers stay as they are so that leak checks by difference keep working.
    ClearCallFaults();
    FailRandomly(0, 0);
    ResetAllCallCounts();
    SetAllocFill(true);
    SetLogLevel(0);
    SetLogEcho(0);
    SetLogCapture(true);
    ClearLogs();
    UseRealClock();
    FailGettimeofday(0);
    store::Reset();
}

} // namespace standin
