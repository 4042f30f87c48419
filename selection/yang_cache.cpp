/* Last-sample cache: one hash table for all tasks, from (task id, ifindex) to the sample last
 * reported for that interface in that task, and the steps every sensor's redundancy check shares. */
#include "core/frm_buffer.h"
#include "core/core.h"
#include "selection/selection.h"

void *g_ifmYangNodeHashTable = nullptr;

namespace {

constexpr uint32_t kHashFlags = 0xFFFFFFFCu;
constexpr uint32_t kHashBuckets = 256;
constexpr uint32_t kKeyLen = sizeof(YangNodeKey);

/* A sensor's message without arguments; a kind without that message stays silent. */
void LogKindMsg(const char *msg)
{
    if (msg != nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "%s", msg);
    }
}

} // namespace

uint32_t IFM_YangNodeHashInit()
{
    g_ifmYangNodeHashTable = LITE_HASH_CreateWithLock(kHashFlags, sizeof(YangNode), kHashBuckets,
                                                      ZOR_IFM_YangNodeHashFunc, ZOR_IFM_YangNodeCompFunc, 0);
    if (g_ifmYangNodeHashTable == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "Create yang node HashTable Failed");
        return 1;
    }
    return 0;
}

uint32_t ZOR_IFM_YangNodeHashFunc(const void *key)
{
    if (key == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "Yang Node Hash Func Failed key=NULL.");
        return 0;
    }
    /* One bucket per low byte of the ifindex; the task id does not take part. */
    return static_cast<const YangNodeKey *>(key)->ifIndex & 0xFFu;
}

uint32_t ZOR_IFM_YangNodeCompFunc(const void *a, const void *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    const YangNodeKey *ka = static_cast<const YangNodeKey *>(a);
    const YangNodeKey *kb = static_cast<const YangNodeKey *>(b);
    return (ka->taskId == kb->taskId && ka->ifIndex == kb->ifIndex) ? 1 : 0;
}

YangNodeData *ZOR_IFM_YangNodeHashSearch(void *table, const YangNodeKey *key)
{
    if (table == nullptr || key == nullptr) {
        return nullptr;
    }
    void *elem = LITE_HASH_FindElmtFromFirst(table, key, kKeyLen);
    if (elem == nullptr) {
        return nullptr;
    }
    return &static_cast<YangNode *>(elem)->data;
}

void ZOR_IFM_YangNodeHashClear(uint32_t taskId, uint32_t slot)
{
    if (slot >= IFM_TASK_SLOTS) {
        return;
    }
    const IfmPluginTask &task = g_ifmpluginTaskArr[slot];
    if (task.ifIndexList == nullptr) {
        return;
    }
    /* IFM_UpdateYangTaskArray never counts beyond the list's capacity. */
    for (uint32_t i = 0; i < task.ifIndexCount; ++i) {
        YangNodeKey key = {taskId, task.ifIndexList[i]};
        YangNodeData *node = ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &key);
        if (node == nullptr) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "hashData is NULL");
            return;
        }
        MDTLM_FreeBuff(node->lastData);
        node->lastData = nullptr;
        if (LITE_HASH_RemoveElmtByKey(g_ifmYangNodeHashTable, &key, kKeyLen) != 0) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "del HashTable fail, taskId[%d], ifIndex[%d]", static_cast<int>(taskId),
                           static_cast<int>(key.ifIndex));
        }
    }
}

uint32_t IFM_CheckPeriod(uint32_t now, uint32_t *last, uint32_t period)
{
    if (last == nullptr || period == 0) {
        return 1;
    }
    if (static_cast<uint32_t>(*last + period) > now) {
        return 1;
    }
    *last = now;
    return 0;
}

uint32_t IFM_CacheNow()
{
    KAL_SYSTIME_S date = {};
    (void)KAL_SystimeGet(&date);
    uint32_t other = 0;
    uint32_t seconds = 0;
    (void)KAL_SystimeSecSince1970(&date, &other, &seconds);
    return seconds;
}

void IFM_CacheAddNode(uint64_t key, uint32_t now, uint32_t nodeType, const void *sample, const IfmCacheKind &kind)
{
    const YangNodeKey nodeKey = {static_cast<uint32_t>(key), static_cast<uint32_t>(key >> 32)};

    void *elem = LITE_HASH_NewData(g_ifmYangNodeHashTable, 0);
    if (elem == nullptr) {
        LogKindMsg(kind.noElementMsg);
        return;
    }
    YangNode *node = static_cast<YangNode *>(elem);
    node->key = nodeKey;
    node->data.nodeType = nodeType;
    node->data.lastReportTime = now;
    node->data.lastData = nullptr;

    FrmBuffer data(kind.sampleSize);
    if (!data) {
        LITE_HASH_FreeData(g_ifmYangNodeHashTable, elem);
        LogKindMsg(kind.noDataMsg);
        return;
    }
    if (memcpy_s(data.get(), kind.sampleSize, sample, kind.sampleSize) != 0) {
        LITE_HASH_FreeData(g_ifmYangNodeHashTable, elem);
        LogKindMsg(kind.addFailedMsg);
        return;
    }
    node->data.lastData = data.get();
    if (LITE_HASH_AddNode(g_ifmYangNodeHashTable, &nodeKey, elem, 0) != 0) {
        node->data.lastData = nullptr;
        data.reset();
        LITE_HASH_FreeData(g_ifmYangNodeHashTable, elem);
        LogKindMsg(kind.addFailedMsg);
        return;
    }
    (void)data.release(); /* now owned by the node */
    IFM_UpdateYangTaskArray(key);
}

uint32_t IFM_CacheCheckRedundant(uint32_t taskId, uint32_t ifIndex, uint32_t nodeType, const void *sample,
                                 uint32_t reportPeriod, uint32_t type, IfmSampleEqual equal, const IfmCacheKind &kind)
{
    if (sample == nullptr || equal == nullptr) {
        return 0;
    }
    const uint32_t now = IFM_CacheNow();
    YangNodeKey key = {taskId, ifIndex};
    YangNodeData *node = ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &key);
    if (node != nullptr) {
        if (node->nodeType == nodeType && node->lastData != nullptr) {
            if (equal(node->lastData, sample, type) == 0) {
                (void)memcpy_s(node->lastData, kind.sampleSize, sample, kind.sampleSize);
                node->lastReportTime = now;
                return 0;
            }
            return IFM_CheckPeriod(now, &node->lastReportTime, reportPeriod);
        }
        /* A node of another kind (or one that lost its sample) is replaced. */
        MDTLM_FreeBuff(node->lastData);
        node->lastData = nullptr;
        if (LITE_HASH_RemoveElmtByKey(g_ifmYangNodeHashTable, &key, kKeyLen) != 0) {
            if (kind.removeFailedMsg != nullptr) {
                MDTLM_WriteLog(IFM_LOG_ERROR, kind.removeFailedMsg, taskId, ifIndex);
            }
            return 0;
        }
    }
    IFM_CacheAddNode(static_cast<uint64_t>(taskId) | (static_cast<uint64_t>(ifIndex) << 32), now, nodeType, sample,
                     kind);
    return 0;
}
