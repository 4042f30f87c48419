// Last-sample cache: key hashing and comparison, the shared redundancy check over time, node
// replacement and failures, and the removal of a task's nodes when it stops.
#include <cstring>

#include "support/plugin_state.h"

using standin::CountLog;

namespace {

struct Sample {
    uint64_t a;
    uint64_t b;
};

uint32_t SampleEqual(const void *cached, const void *sample, uint32_t) { return std::memcmp(cached, sample, 16) == 0; }

const IfmCacheKind kKind = {sizeof(Sample), "del %u/%u", "no element", "no data", "add failed"};

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
        ExpectKeptBuffers(2); // the two tasks' interface lists
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

TEST_F(CacheTest, KeyHashAndComparison)
{
    const YangNodeKey a = {7, 0x101}, b = {9, 0x201}, a2 = {7, 0x101};
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
    const Sample s = {1, 2};
    IFM_CacheAddNode(7 | (0x101ull << 32), 10, 1, &s, kKind);
    IFM_CacheAddNode(9 | (0x201ull << 32), 20, 2, &s, kKind);
    ASSERT_NE(ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &a), nullptr);
    EXPECT_EQ(ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &a)->lastReportTime, 10u);
    EXPECT_EQ(ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &b)->nodeType, 2u);
    MDTLM_FreeBuff(ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &a)->lastData);
    ASSERT_EQ(LITE_HASH_RemoveElmtByKey(g_ifmYangNodeHashTable, &a, 8), 0u);
    EXPECT_NE(ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &b), nullptr);
    // Tasks 7 and 9 are not in the table: the nodes are not recorded anywhere.
    EXPECT_EQ(CountLog("can not find taskId[7] in local taskArray", 2), 1u);
    MDTLM_FreeBuff(ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &b)->lastData);
    (void)LITE_HASH_RemoveElmtByKey(g_ifmYangNodeHashTable, &b, 8);
}

TEST_F(CacheTest, CheckPeriod)
{
    uint32_t last = 1000;
    EXPECT_EQ(IFM_CheckPeriod(5000, &last, 0), 1u);
    EXPECT_EQ(IFM_CheckPeriod(1059, &last, 60), 1u);
    EXPECT_EQ(IFM_CheckPeriod(1060, &last, 60), 0u);
    EXPECT_EQ(last, 1060u);
    last = 0xFFFFFFF0u; // last + period wraps in 32 bits
    EXPECT_EQ(IFM_CheckPeriod(0x20, &last, 0x20), 0u);
}

TEST_F(CacheTest, UnchangedSampleIsRepeatedOnlyAfterThePeriod)
{
    At(1000);
    EXPECT_EQ(Check(1, 10, {1, 1}, 60), 0u); // first sample: reported and cached
    EXPECT_EQ(plugin_state::SlotOf(1)->ifIndexCount, 1u);
    At(1059);
    EXPECT_EQ(Check(1, 10, {1, 1}, 60), 1u);
    At(1060);
    EXPECT_EQ(Check(1, 10, {1, 1}, 60), 0u);
    At(1119);
    EXPECT_EQ(Check(1, 10, {1, 1}, 60), 1u);
    At(1130); // a change is reported at once and restarts the period
    EXPECT_EQ(Check(1, 10, {1, 2}, 60), 0u);
    EXPECT_EQ(plugin_state::CacheNode(1, 10)->lastReportTime, 1130u);
    At(1189);
    EXPECT_EQ(Check(1, 10, {1, 2}, 60), 1u);
    At(1190);
    EXPECT_EQ(Check(1, 10, {1, 2}, 60), 0u);

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
    EXPECT_EQ(plugin_state::CacheNode(1, 10)->nodeType, 3u);
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
    EXPECT_EQ(plugin_state::CacheNode(1, 10), nullptr);
    EXPECT_EQ(plugin_state::CacheNode(1, 266), nullptr);
    EXPECT_NE(plugin_state::CacheNode(2, 10), nullptr);
    EXPECT_EQ(Elements(), 3u);
    EXPECT_EQ(plugin_state::SlotOf(1), nullptr);
    ExpectKeptBuffers(4); // task 2's list and samples

    // A listed interface whose node is gone ends the removal there.
    g_ifmpluginTaskArr[1].ifIndexList[1] = 999;
    EXPECT_EQ(IFMPlugin_MDTLM_StopTaskForStat(0, 2), 0u);
    EXPECT_EQ(CountLog("hashData is NULL", 2), 1u);
    EXPECT_EQ(plugin_state::CacheNode(2, 10), nullptr);
    for (uint32_t ifIndex : {11u, 266u}) {
        YangNodeData *left = plugin_state::CacheNode(2, ifIndex);
        ASSERT_NE(left, nullptr);
        MDTLM_FreeBuff(left->lastData);
        const YangNodeKey key = {2, ifIndex};
        (void)LITE_HASH_RemoveElmtByKey(g_ifmYangNodeHashTable, &key, 8);
    }
    EXPECT_EQ(Elements(), 0u);
    ExpectKeptBuffers(0);
}
