// Plugin runtime: start-up and registration by board type, the task table and its callbacks,
// sampling steps and the shared batch loop.
#include <cstring>
#include <string>
#include <vector>

#include "store/store.h"
#include "support/plugin_state.h"

using standin::CountLog;
using namespace standin::store;

namespace {

struct Registration {
    uint32_t moduleId;
    uint8_t record[sizeof(TlmSensorReg)];
    char path[200];
};

// Start-up runs from an un-attached plugin: no module id, table or cache yet.
class EntryTest : public PluginTest {
protected:
    void SetUp() override
    {
        PluginTest::SetUp();
        plugin_state::Reset();
        // The record and the path are valid only during the call: copy them.
        standin::SetRegHandler([this](uint32_t moduleId, const char *path, const TlmSensorReg *reg) {
            Registration r{moduleId, {}, {}};
            std::memcpy(r.record, reg, sizeof(r.record));
            std::memcpy(r.path, path, sizeof(r.path));
            regs.push_back(r);
            return regResult;
        });
    }
    std::vector<Registration> regs;
    uint32_t regResult = 0;
};

struct SensorExpect {
    const char *name, *path;
    TlmTaskProc proc;
};
const SensorExpect kSubif = {"ZOR_IFM_SUBIFSTAT",
    "openconfig-interfaces:interfaces/interface/subinterfaces/subinterface/state/counters",
    IFMPlugin_MDTLM_DealL2SubifStatTask};
const SensorExpect kIfStat = {"ZOR_IFM_IFSTAT",
    "vexalo-ifm:ifm/interfaces/interface/vexalo-ifm-ip-statistics:ip-statistics", IFMPlugin_MDTLM_DealIfStatTask};
const SensorExpect kMib = {"ZOR_IFM_MIBIFSTAT", "vexalo-ifm:ifm/interfaces/interface/mib-statistics",
    IFMPlugin_MDTLM_DealMibIfStatTask};
const SensorExpect kCommon = {"ZOR_IFM_COMMONIFSTAT", "vexalo-ifm:ifm/interfaces/interface/common-statistics",
    IFMPlugin_MDTLM_DealCommonIfStatTask};

// The whole 72-byte record, byte for byte: name, 1000 and 10, callbacks, zero reserve.
void ExpectRecord(const Registration &r, const SensorExpect &want)
{
    uint8_t expect[sizeof(TlmSensorReg)] = {};
    std::memcpy(expect, want.name, std::strlen(want.name));
    const uint64_t values = 0xA000003E8ull;
    const TlmStopProc stop = IFMPlugin_MDTLM_StopTaskForStat;
    std::memcpy(expect + 32, &values, 8);
    std::memcpy(expect + 40, &want.proc, 8);
    std::memcpy(expect + 48, &stop, 8);
    EXPECT_EQ(std::memcmp(r.record, expect, sizeof(expect)), 0) << want.name;
    EXPECT_EQ(std::string(r.path), want.path);
    EXPECT_EQ(r.moduleId, 41u);
}

} // namespace

TEST_F(EntryTest, BoardTypesRegisterTheirSensorsInOrder)
{
    const struct {
        uint32_t board;
        std::vector<const SensorExpect *> sensors;
    } cases[] = {{6, {&kSubif, &kIfStat, &kMib, &kCommon}}, {2, {&kSubif}}, {1, {&kIfStat, &kMib, &kCommon}}};
    for (const auto &c : cases) {
        regs.clear();
        standin::SetBoardType(c.board);
        ASSERT_EQ(IFMPlugin_MDTLM_Init(41), 0u);
        EXPECT_EQ(standin::LastVTableCompId() + standin::LastVTableVtblId(), 2000u);
        EXPECT_NE(g_ifmYangNodeHashTable, nullptr);
        ASSERT_EQ(regs.size(), c.sensors.size()) << "board " << c.board;
        for (size_t i = 0; i < regs.size(); ++i) {
            ExpectRecord(regs[i], *c.sensors[i]);
        }
    }
    EXPECT_TRUE(standin::Logs().empty());
}

TEST_F(EntryTest, FailuresAndUnknownBoards)
{
    for (uint32_t board : {0u, 3u}) { // nothing at all: no module id, table, cache or sensor
        standin::SetBoardType(board);
        EXPECT_EQ(IFMPlugin_MDTLM_Init(41), 0u);
        EXPECT_EQ(g_ifmpluginMdtlm_moduleId + standin::LastVTableCompId(), 0u);
    }
    standin::SetBoardType(6, 77);
    EXPECT_EQ(IFMPlugin_MDTLM_Init(41), 77u);
    EXPECT_EQ(CountLog("ifmplugin Get SelfBoardType failed. ret=[77]", 2), 1u);
    standin::SetVTableResult(5);
    const std::pair<uint32_t, const char *> boards[] = {{6, "tor"}, {2, "lpu"}, {1, "mpu"}};
    for (const auto &b : boards) {
        standin::SetBoardType(b.first);
        EXPECT_EQ(IFMPlugin_MDTLM_Init(41), 5u);
        const std::string msg = std::string("ifmplugin_") + b.second + " Get mdTlmFrm VTable failed. ret=[5]";
        EXPECT_EQ(CountLog(msg, b.first == 6 ? 1 : 2), 1u) << msg;
    }
    EXPECT_TRUE(regs.empty());
    EXPECT_EQ(g_ifmYangNodeHashTable, nullptr);

    // A refused registration is logged at its sensor's level; the others still register.
    standin::SetVTableResult(0);
    standin::SetBoardType(6);
    regResult = 9;
    ASSERT_EQ(IFMPlugin_MDTLM_Init(41), 0u);
    EXPECT_EQ(regs.size(), 4u);
    EXPECT_EQ(CountLog("ifmplugin reg l2subifstat xPath failed. ret=[9]", 2), 1u);
    EXPECT_EQ(CountLog("ifmplugin reg ifstat xPath failed. ret=[9]", 2), 1u);
    EXPECT_EQ(CountLog("ifmplugin reg ifstat xPath failed. ret=[9]", 1), 2u);

    // Without a RegXpath slot nothing is registered and nothing logged.
    standin::ClearLogs();
    regs.clear();
    standin::FrameworkTable()->RegXpath = nullptr;
    EXPECT_EQ(IFMPlugin_MDTLM_Init(41), 0u);
    EXPECT_TRUE(regs.empty());
    EXPECT_TRUE(standin::Logs().empty());
}

// ---- Task table ----

namespace {

TlmTaskInfo g_seenCfg;
IfmTaskRound g_seenRound;
uint32_t CaptureRound(IfmTaskRound *round)
{
    g_seenRound = *round;
    std::memcpy(&g_seenCfg, round->taskCfg, sizeof(g_seenCfg));
    return 1;
}
uint32_t NoRound(IfmTaskRound *) { return 0; }

} // namespace

using TaskTableTest = PluginTest;

TEST_F(TaskTableTest, RefusalsOfTheCallbacks)
{
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    EXPECT_EQ(IFMPlugin_MDTLM_DealIfStatTask(1, 0, &cfg), 2u);
    EXPECT_EQ(IFMPlugin_MDTLM_DealMibIfStatTask(1, 5, nullptr), 2u);
    EXPECT_EQ(CountLog("mibifstat cfgInfo is null or invalid taskId", 2), 2u);
    EXPECT_EQ(plugin_state::TasksInUse(), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 0), 1u);
    EXPECT_EQ(CountLog("invalid taskId", 2), 1u);
    EXPECT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 99), 1u);
    EXPECT_EQ(CountLog("can not find taskId[99] in local taskArray", 2), 1u);

    // Allocation failures: the list (slot not taken), the round record, the configuration copy.
    const char *allocLogs[] = {"g_arrIdx[0] ifIndexList alloc fail",
                               "[IFMPlugin_MDTLM_DealMibIfStatTask]taskInfo memory alloc failed.",
                               "[IFMPlugin_MDTLM_DealMibIfStatTask]taskInfo taskcfg, malloc failed."};
    for (uint64_t nth = 1; nth <= 3; ++nth) {
        standin::FailAllocAt(nth == 1 ? 1 : 2);
        EXPECT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, 8, &cfg, NoRound), 2u);
        EXPECT_EQ(CountLog(allocLogs[nth - 1], 2), 1u);
        EXPECT_EQ(plugin_state::SlotOf(8) != nullptr, nth > 1);
    }
    EXPECT_NE(plugin_state::SlotOf(8), nullptr); // the slot stays in use
    ExpectKeptBuffers(1);
}

TEST_F(TaskTableTest, SlotLifecycle)
{
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    for (uint32_t id = 1; id <= IFM_TASK_SLOTS; ++id) {
        ASSERT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, 1000 + id, &cfg, NoRound), 0u);
    }
    uint32_t idx = 0;
    EXPECT_EQ(IFMPLUGIN_MDTLM_GetIdxByTaskId(1256, &idx), 0u);
    EXPECT_EQ(idx, 255u);
    EXPECT_EQ(IFMPLUGIN_MDTLM_IsTaskIdExist(1256), 1u);

    // The 257th task is refused silently until a slot is freed; it then takes the lowest free one.
    standin::ClearLogs();
    EXPECT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, 5000, &cfg, NoRound), 2u);
    EXPECT_TRUE(standin::Logs().empty());
    IFM_UpdateYangTaskArray(1101 | (77ull << 32));
    ASSERT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 1101), 0u);
    ASSERT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 1050), 0u);
    EXPECT_EQ(IFMPLUGIN_MDTLM_IsTaskIdExist(1101), 0u);
    EXPECT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, 1101, &cfg, NoRound), 0u);
    EXPECT_EQ(plugin_state::SlotOf(1101), &g_ifmpluginTaskArr[49]);
    EXPECT_EQ(plugin_state::SlotOf(1101)->ifIndexCount, 0u);

    // A known task keeps its slot and its recorded interfaces; the list holds 32000, no more.
    IFM_UpdateYangTaskArray(1101 | (77ull << 32));
    EXPECT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, 1101, &cfg, NoRound), 0u);
    EXPECT_EQ(plugin_state::SlotOf(1101)->ifIndexList[0], 77u);
    for (uint32_t i = 1; i <= IFM_TASK_IFINDEX_CAPACITY; ++i) {
        IFM_UpdateYangTaskArray(1101 | (static_cast<uint64_t>(i) << 32));
    }
    EXPECT_EQ(plugin_state::SlotOf(1101)->ifIndexCount, IFM_TASK_IFINDEX_CAPACITY);
    EXPECT_EQ(plugin_state::SlotOf(1101)->ifIndexList[IFM_TASK_IFINDEX_CAPACITY - 1], IFM_TASK_IFINDEX_CAPACITY - 1);
    ExpectKeptBuffers(255);
}

TEST_F(TaskTableTest, RoundGetsAPrivateUpperCasedCopy)
{
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    cfg.encodeType = 0x101;
    cfg.condType = 1;
    cfg.condNameLen = 8;
    std::memcpy(cfg.condName, "gigabit*x", 9);
    ASSERT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0xC0DE, 12, &cfg, CaptureRound), 0u);
    EXPECT_EQ(std::string(cfg.condName), "GIGABIT*x"); // condNameLen characters, in the caller's record
    EXPECT_EQ(g_seenRound.frmCookie, 0xC0DEu);
    EXPECT_EQ(g_seenRound.taskId, 12u);
    EXPECT_EQ(g_seenRound.encodeType, 1u);
    EXPECT_NE(g_seenRound.taskCfg, &cfg);
    EXPECT_EQ(std::memcmp(&g_seenCfg, &cfg, sizeof(cfg)), 0);

    // condType 0 leaves the name alone; an oversized length stops at the field's end.
    std::memset(cfg.condName, 'a', sizeof(cfg.condName));
    std::memset(cfg.condIndex, 'b', sizeof(cfg.condIndex));
    cfg.condNameLen = 0xFFFF;
    cfg.condType = 0;
    ASSERT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, 12, &cfg, NoRound), 0u);
    EXPECT_EQ(cfg.condName[0], 'a');
    cfg.condType = 2;
    ASSERT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, 12, &cfg, NoRound), 0u);
    EXPECT_EQ(std::string(cfg.condName, sizeof(cfg.condName)), std::string(sizeof(cfg.condName), 'A'));
    EXPECT_EQ(cfg.condIndex[0], 'b');
    ExpectKeptBuffers(1);
}

// ---- Sampling steps ----

using RoundsTest = PluginTest;

TEST_F(RoundsTest, TypeMappingAndDispatch)
{
    const uint32_t want[] = {0x1, 0x10, 0x100, 0x1000, 0x100000, 0x100, 0x1000, 0,
                             0,   0,    0x100, 0x1,   0x1000,   0x10000, 0x100000, 0};
    for (uint32_t t = 0; t < 16; ++t) {
        EXPECT_EQ(IFM_ConvertTlmType2DBType(&t), want[t]) << t;
    }
    EXPECT_EQ(CountLog("[IFM_ConvertTlmType2DBType]unkown type=15", 2), 1u);
    // Every sensor procedure refuses empty input with a message: a silent 1 means no dispatch.
    for (uint32_t t = 0; t < 16; ++t) {
        standin::ClearLogs();
        EXPECT_EQ(IFM_StatTlmProc(nullptr, nullptr, 0, t), 1u);
        EXPECT_EQ(standin::Logs().empty(), t == 15 || (t >= 7 && t <= 9)) << t;
        standin::ClearLogs();
        EXPECT_EQ(IFM_IfmPortStatTlmProc(nullptr, nullptr, 0, t), 1u);
        EXPECT_EQ(standin::Logs().empty(), t != 14 && (t < 7 || t > 9)) << t;
    }
}

TEST_F(RoundsTest, StepHandsAllRowsToTheSensorWhichBatchesThem)
{
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    IfmTaskRound round = plugin_state::MakeRound(&cfg, 1);
    // No rows: no allocation, no sensor call, no message.
    standin::ResetAllocCalls();
    EXPECT_EQ(IFM_IfStatYangTaskProc(&round, TLM_TYPE_IPSTAT_1), 0u);
    EXPECT_EQ(IFM_IfmPortStatYangTaskProc(&round, TLM_TYPE_MIB_PORT), 0u);
    EXPECT_EQ(standin::Alloc().allocCalls, 0u);

    // Disabled rows never reach the store reads, so the only allocations are the step's buffer
    // and the sensor's three batch arrays.
    for (uint32_t i = 0; i < 12000; ++i) {
        IfStatRow row{};
        row.stat_type = 0x10;
        row.ifindex = i + 1;
        row.flow_stat_interval = 300;
        PutIfStat(row);
    }
    standin::ResetAllocCalls();
    EXPECT_EQ(IFM_IfStatYangTaskProc(&round, TLM_TYPE_IPSTAT_1), 0u);
    EXPECT_EQ(standin::Alloc().allocCalls, 4u);
    EXPECT_TRUE(standin::Logs().empty());

    // A failing sensor, listing or allocation is logged by the step.
    standin::FailAllocAt(2);
    EXPECT_EQ(IFM_IfStatYangTaskProc(&round, TLM_TYPE_IPSTAT_1), 1u);
    EXPECT_EQ(CountLog("IFM_StatTlmProc failed, type:1", 2), 1u);
    InjectFault("db_get_if_statistics_vrid", 6, 3);
    EXPECT_EQ(IFM_IfStatYangTaskProc(&round, TLM_TYPE_IPSTAT_1), 6u);
    EXPECT_EQ(CountLog("[IFM_IfStatYangTaskProc]IFMPlugin_MDTLM_GetIfStatBaseInfoByType failed", 2), 1u);
    standin::FailAllocAt(1);
    EXPECT_EQ(IFM_IfStatYangTaskProc(&round, TLM_TYPE_IPSTAT_1), 1u);
    EXPECT_EQ(CountLog("[IFM_IfStatYangTaskProc]if_statistics baseinfo memory alloc failed.", 2), 1u);
    AddTrunk(900);
    standin::FailAllocAt(1);
    EXPECT_EQ(IFM_IfmPortStatYangTaskProc(&round, TLM_TYPE_MIB_TRUNK), 1u);
    EXPECT_EQ(CountLog("ifm_port_statistics baseinfo memory alloc failed.", 2), 1u);
}

TEST_F(RoundsTest, RoundProceduresRunEveryStep)
{
    const struct {
        IfmRoundProc proc;
        uint64_t ifStat, port, trunk;
    } cases[] = {{IFMPlugin_MDTLM_L2SubifStatTaskDiffProc, 1, 0, 0},
                 {IFMPlugin_MDTLM_IfStatTaskDiffProc, 4, 0, 0},
                 {IFMPlugin_MDTLM_MibIfStatTaskDiffProc, 2, 1, 1},
                 {IFMPlugin_MDTLM_CommonIfStatTaskDiffProc, 4, 1, 1}};
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    IfmTaskRound round = plugin_state::MakeRound(&cfg, 1);
    for (const auto &c : cases) {
        ResetCallCounts();
        InjectFault("db_create_if_statistics_obj", 3, 1); // the first step fails, the others still run
        (void)c.proc(&round);
        EXPECT_EQ(CallCount("db_create_if_statistics_obj"), c.ifStat);
        EXPECT_EQ(CallCount("db_create_ifm_port_statistics_obj"), c.port);
        EXPECT_EQ(CallCount("db_create_trunk_obj"), c.trunk);
        ClearFaults();
    }
}

// ---- Batch loop ----

namespace {

// Rows are u32 0, 1, 2, ...; each batch records its first row and size, keeps half of it (records
// of 8 bytes) and fails when it is batch number g_failBatch. Sending fails for 500 records.
std::vector<uint32_t> g_batchFirst, g_batchSize, g_sent;
uint32_t g_failBatch = 0;

uint32_t FakeBuild(IfmTaskRound *, const void *rows, uint32_t n, void *records, uint32_t *kept, uint32_t)
{
    const uint8_t *out = static_cast<const uint8_t *>(records);
    for (uint32_t i = 0; i < n * 8; ++i) {
        if (out[i] != 0) {
            return 99; // the array must arrive zeroed
        }
    }
    g_batchFirst.push_back(*static_cast<const uint32_t *>(rows));
    g_batchSize.push_back(n);
    *kept = n / 2;
    return g_batchSize.size() == g_failBatch ? 42 : 0;
}
uint32_t FakeSend(IfmTaskRound *, const void *, uint32_t kept, uint32_t)
{
    g_sent.push_back(kept);
    return kept == 500 ? 3 : 0;
}

const IfmBatchTraits kFakeBatch = {4, 8, true, FakeBuild, FakeSend, "bad", "nomem", "build %u/%u", "send %u/%u"};

} // namespace

TEST_F(RoundsTest, BatchLoopCutsRowsIntoBatchesOf5000)
{
    std::vector<uint32_t> rows(12000);
    for (uint32_t i = 0; i < rows.size(); ++i) {
        rows[i] = i;
    }
    IfmTaskRound round{};
    auto run = [&](uint32_t count, uint32_t failBatch) {
        g_batchFirst.clear();
        g_batchSize.clear();
        g_sent.clear();
        g_failBatch = failBatch;
        return IFM_BatchTlmProc(&round, rows.data(), count, 0, kFakeBatch);
    };
    using V = std::vector<uint32_t>;
    EXPECT_EQ(run(12000, 0), 0u);
    EXPECT_EQ(g_batchSize, (V{5000, 5000, 2000}));
    EXPECT_EQ(g_batchFirst, (V{0, 5000, 10000}));
    EXPECT_EQ(g_sent, (V{2500, 2500, 1000}));
    EXPECT_EQ(run(10000, 0), 0u);
    EXPECT_EQ(g_batchSize, (V{5000, 5000}));

    EXPECT_EQ(IFM_BatchTlmProc(&round, nullptr, 5, 0, kFakeBatch), 1u);
    EXPECT_EQ(IFM_BatchTlmProc(&round, rows.data(), 0, 0, kFakeBatch), 1u);
    EXPECT_EQ(IFM_BatchTlmProc(nullptr, rows.data(), 5, 0, kFakeBatch), 1u);
    EXPECT_EQ(CountLog("bad", 2), 3u);
    // A failed build ends the loop, with the records kept by the last good batch in the message.
    EXPECT_EQ(run(12000, 2), 42u);
    EXPECT_EQ(CountLog("build 42/2500", 2), 1u);
    EXPECT_EQ(g_sent, V{2500});
    standin::FailAllocAt(2);
    EXPECT_EQ(run(12000, 0), 1u);
    EXPECT_EQ(CountLog("nomem", 2), 1u);
    EXPECT_EQ(g_sent, V{2500});
    // A failed send is logged and the loop goes on.
    EXPECT_EQ(run(6000, 0), 0u);
    EXPECT_EQ(CountLog("send 3/500", 2), 1u);
    EXPECT_EQ(g_sent, (V{2500, 500}));
}
