#include "support/plugin_state.h"

#include <cstring>

#include "standin/standin.h"

namespace plugin_state {

void Reset()
{
    for (uint32_t i = 0; i < IFM_TASK_SLOTS; ++i) {
        IfmPluginTask &task = g_ifmpluginTaskArr[i];
        if (task.taskId != 0) {
            (void)IFMPlugin_MDTLM_StopTaskForStat(0, task.taskId);
        }
        if (task.ifIndexList != nullptr) {
            MDTLM_FreeBuff(task.ifIndexList);
        }
        task = IfmPluginTask{};
    }
    // Nodes that no task recorded stay in the old table; a new table is created by Attach.
    g_ifmYangNodeHashTable = nullptr;
    g_ifmpluginMdtlm_frmVtbl = nullptr;
    g_ifmpluginMdtlm_moduleId = 0;
}

void Attach(uint32_t moduleId)
{
    g_ifmpluginMdtlm_moduleId = moduleId;
    g_ifmpluginMdtlm_frmVtbl = standin::FrameworkTable();
    (void)IFM_YangNodeHashInit();
}

IfmPluginTask *SlotOf(uint32_t taskId)
{
    uint32_t idx = 0;
    if (taskId == 0 || IFMPLUGIN_MDTLM_GetIdxByTaskId(taskId, &idx) != 0) {
        return nullptr;
    }
    return &g_ifmpluginTaskArr[idx];
}

uint32_t TasksInUse()
{
    uint32_t n = 0;
    for (const IfmPluginTask &task : g_ifmpluginTaskArr) {
        n += task.taskId != 0 ? 1 : 0;
    }
    return n;
}

TlmTaskInfo ZeroTaskInfo()
{
    TlmTaskInfo cfg;
    std::memset(&cfg, 0, sizeof(cfg));
    return cfg;
}

TlmTaskInfo NameCondition(uint32_t condType, const std::string &pattern, const std::string &index,
                          const std::string &key)
{
    TlmTaskInfo cfg = ZeroTaskInfo();
    cfg.condType = condType;
    std::memcpy(cfg.condKey, key.data(), key.size());
    cfg.condNameLen = static_cast<uint16_t>(pattern.size());
    std::memcpy(cfg.condName, pattern.data(), pattern.size());
    std::memcpy(cfg.condIndex, index.data(), index.size());
    return cfg;
}

IfmTaskRound MakeRound(TlmTaskInfo *cfg, uint32_t taskId, uint32_t frmCookie, uint8_t encodeType)
{
    IfmTaskRound round{};
    round.frmCookie = frmCookie;
    round.taskId = taskId;
    round.encodeType = encodeType;
    round.taskCfg = cfg;
    return round;
}

YangNodeData *CacheNode(uint32_t taskId, uint32_t ifIndex)
{
    const YangNodeKey key = {taskId, ifIndex};
    return ZOR_IFM_YangNodeHashSearch(g_ifmYangNodeHashTable, &key);
}

} // namespace plugin_state
