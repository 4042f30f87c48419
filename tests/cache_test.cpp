// Last-sample cache: key hashing and comparison, the shared redundancy check over time, node
// replacement and failures, the removal of a task's nodes when it stops, and what the sensors compare.
#include <cstring>

#include "sensors/ipstat/ipstat.h"
#include "sensors/mibstat/mibstat.h"
#include "support/plugin_state.h"

using standin::CountLog;
using plugin_state::CacheNode;

namespace {

struct Sample {
    uint64_t a;
    uint64_t b;
};

uint32_t SampleEqual(const void *cached, const void *sample, uint32_t) { return std::memcmp(cached, sample, 16) == 0; }

const IfmCacheKind kKind = {sizeof(Sample), "del %u/%u", "no element", "no data", "add failed"};

// Tasks 1 and 2 are running; their two interface lists stay allocated.
class CacheTest : public PluginTest {
protected:
    void SetUp() override
    {
        PluginTest::SetUp();
        cfg = plugin_state::ZeroTaskInfo();
        for (uint32_t id : {1u, 2u}) {
            ASSERT_EQ(IFMPlugin_MDTLM_DealStatTaskCommon(0, id, &cfg, [](IfmTaskRound *) { return 0u; }), 0u);
        }
        elems0 = standin::LiveHashElements();
    }
    // Removes a node that no running task records, with its sample.
    static void Drop(uint32_t task, uint32_t ifIndex)
    {
        MDTLM_FreeBuff(CacheNode(task, ifIndex)->lastData);
        const YangNodeKey key = {task, ifIndex};
        EXPECT_EQ(LITE_HASH_RemoveElmtByKey(g_ifmYangNodeHashTable, &key, 8), 0u);
    }
    uint64_t Elements() const { return standin::LiveHashElements() - elems0; }
    void At(uint32_t seconds) { standin::SetClockUs(static_cast<uint64_t>(seconds) * 1000000u); }
    uint32_t Check(uint32_t task, uint32_t ifIndex, Sample s, uint32_t period, uint32_t nodeType = 1)
    {
        return IFM_CacheCheckRedundant(task, ifIndex, nodeType, &s, period, 0, SampleEqual, kKind);
    }
    TlmTaskInfo cfg;
    uint64_t elems0 = 0;
};

} // namespace

TEST_F(CacheTest, KeyHashComparisonAndPeriod)
{
    const YangNodeKey a = {1, 0x101}, b = {2, 0x201}, a2 = {1, 0x101};
    EXPECT_EQ(ZOR_IFM_YangNodeHashFunc(&a), 1u);
    EXPECT_EQ(ZOR_IFM_YangNodeHashFunc(&b), 1u);
    EXPECT_EQ(ZOR_IFM_YangNodeCompFunc(&a, &a2), 1u);
    EXPECT_EQ(ZOR_IFM_YangNodeCompFunc(&a, &b), 0u);
    EXPECT_EQ(ZOR_IFM_YangNodeCompFunc(&a, nullptr), 0u);
    EXPECT_EQ(ZOR_IFM_YangNodeHashFunc(nullptr), 0u);
    EXPECT_EQ(CountLog("Yang Node Hash Func Failed key=NULL.", 2), 1u);
    EXPECT_EQ(ZOR_IFM_YangNodeHashSearch(nullptr, &a), nullptr);
    EXPECT_EQ(ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, nullptr), nullptr);

    // Colliding keys live side by side and are told apart.
    At(10);
    EXPECT_EQ(Check(1, 0x101, {1, 2}, 60, 1), 0u);
    At(20);
    EXPECT_EQ(Check(2, 0x201, {1, 2}, 60, 2), 0u);
    ASSERT_NE(CacheNode(1, 0x101), nullptr);
    EXPECT_EQ(CacheNode(1, 0x101)->lastReportTime, 10u);
    EXPECT_EQ(CacheNode(2, 0x201)->nodeType, 2u);
    EXPECT_EQ(CacheNode(2, 0x101), nullptr);
    ExpectKeptBuffers(4);

    const struct {
        uint32_t now, last, period, result, lastAfter;
    } periods[] = {{5000, 1000, 0, 1, 1000}, {1059, 1000, 60, 1, 1000}, {1060, 1000, 60, 0, 1060},
                   {0x20, 0xFFFFFFF0u, 0x20, 0, 0x20}}; // last + period wraps in 32 bits
    for (const auto &p : periods) {
        uint32_t last = p.last;
        EXPECT_EQ(IFM_CheckPeriod(p.now, &last, p.period), p.result) << p.now;
        EXPECT_EQ(last, p.lastAfter) << p.now;
    }
}

TEST_F(CacheTest, UnchangedSampleIsRepeatedOnlyAfterThePeriod)
{
    // {second, sample.b, redundant}: a change is reported at once and restarts the period.
    const uint32_t steps[][3] = {{1000, 1, 0}, {1059, 1, 1}, {1060, 1, 0}, {1119, 1, 1},
                                 {1130, 2, 0}, {1189, 2, 1}, {1190, 2, 0}};
    for (const auto &s : steps) {
        At(s[0]);
        EXPECT_EQ(Check(1, 10, {1, s[1]}, 60), s[2]) << s[0];
    }
    EXPECT_EQ(CacheNode(1, 10)->lastReportTime, 1190u);

    // Period 0: only changes are reported.
    EXPECT_EQ(Check(2, 10, {5, 5}, 0), 0u);
    At(999999);
    EXPECT_EQ(Check(2, 10, {5, 5}, 0), 1u);
    EXPECT_EQ(Check(2, 10, {5, 6}, 0), 0u);
    EXPECT_EQ(plugin_state::SlotOf(1)->ifIndexCount, 1u); // updated in place, not re-added
    ExpectKeptBuffers(4);                                   // two lists, two samples
}

TEST_F(CacheTest, NodeOfAnotherKindIsReplaced)
{
    At(1000);
    EXPECT_EQ(Check(1, 10, {1, 1}, 60, 1), 0u);
    const uint64_t before = standin::Alloc().outstandingBuffers;
    EXPECT_EQ(Check(1, 10, {1, 1}, 60, 3), 0u);
    EXPECT_EQ(standin::Alloc().outstandingBuffers, before);
    EXPECT_EQ(CacheNode(1, 10)->nodeType, 3u);
    EXPECT_EQ(plugin_state::SlotOf(1)->ifIndexCount, 2u); // listed twice
    EXPECT_EQ(Elements(), 1u);
    ExpectKeptBuffers(3);
}

TEST_F(CacheTest, FailuresReportTheSampleAndLeaveNothingBehind)
{
    standin::FailAllocAt(1);
    EXPECT_EQ(Check(1, 10, {1, 1}, 60), 0u);
    EXPECT_EQ(CountLog("no data", 2), 1u);
    EXPECT_EQ(Elements(), 0u);

    const Sample s = {1, 1};
    IFM_CacheAddNode(1 | (10ull << 32), 0, 1, &s, kKind);
    IFM_CacheAddNode(1 | (10ull << 32), 0, 1, &s, kKind); // key already linked
    EXPECT_EQ(CountLog("add failed", 2), 1u);
    EXPECT_EQ(Elements(), 1u);
    IFM_CacheAddNode(7 | (10ull << 32), 0, 1, &s, kKind); // a task the table does not hold
    EXPECT_EQ(CountLog("can not find taskId[7] in local taskArray", 2), 1u);
    Drop(7, 10);

    void *table = g_ifmYangNodeHashTable;
    g_ifmYangNodeHashTable = nullptr; // no table: every sample is reported
    EXPECT_EQ(Check(1, 11, {1, 1}, 60), 0u);
    EXPECT_EQ(Check(1, 11, {1, 1}, 60), 0u);
    EXPECT_EQ(CountLog("no element", 2), 2u);
    g_ifmYangNodeHashTable = table;
    ExpectKeptBuffers(3);
}

TEST_F(CacheTest, StopRemovesExactlyTheTasksNodes)
{
    for (uint32_t task : {1u, 2u}) {
        for (uint32_t ifIndex : {10u, 11u, 266u}) {
            EXPECT_EQ(Check(task, ifIndex, {task, ifIndex}, 60), 0u);
        }
    }
    EXPECT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 1), 0u);
    EXPECT_EQ(CacheNode(1, 10), nullptr);
    EXPECT_EQ(CacheNode(1, 266), nullptr);
    EXPECT_NE(CacheNode(2, 10), nullptr);
    EXPECT_EQ(Elements(), 3u);
    EXPECT_EQ(plugin_state::SlotOf(1), nullptr);

    // A listed interface whose node is gone ends the removal there: 11 and 266 stay behind.
    g_ifmpluginTaskArr[1].ifIndexList[1] = 999;
    EXPECT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 2), 0u);
    EXPECT_EQ(CountLog("hashData is NULL", 2), 1u);
    EXPECT_EQ(CacheNode(2, 10), nullptr);
    EXPECT_NE(CacheNode(2, 11), nullptr);
    EXPECT_EQ(Elements(), 2u);
    Drop(2, 11);
    Drop(2, 266);
}

// The sensors' comparisons: every one of the 24 ip-statistics words counts; mib-statistics
// compares its 14 counter slots, common-statistics all 17, and the use rates never count.
TEST(SampleComparisonTest, EveryComparedWordCounts)
{
    uint64_t cached[24] = {}, sample[24] = {};
    EXPECT_EQ(IFMPlugin_MDTLM_CompIfStatData(cached, sample), 1u);
    for (uint64_t &word : sample) {
        word = 1;
        EXPECT_EQ(IFMPlugin_MDTLM_CompIfStatData(cached, sample), 0u) << &word - sample;
        word = 0;
    }
    IfmTlmMibIfStatData a{}, b{};
    b.inUseRate = b.outUseRate = 50;
    for (uint32_t i = 0; i < 17; ++i) {
        b.slots[i] = 1;
        EXPECT_EQ(IFMPlugin_MDTLM_CompMibIfStatData(a.slots, b.slots, TLM_TYPE_MIB_PORT), i < 14 ? 0u : 1u) << i;
        EXPECT_EQ(IFMPlugin_MDTLM_CompMibIfStatData(a.slots, b.slots, TLM_TYPE_COMMON_PORT), 0u) << i;
        b.slots[i] = 0;
    }
    EXPECT_EQ(IFMPlugin_MDTLM_CompMibIfStatData(a.slots, b.slots, TLM_TYPE_COMMON_IF_1), 1u);
}
