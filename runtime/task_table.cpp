/* Task table and task lifecycle: the framework's task and stop callbacks. */
#include <cctype>

#include "runtime/frm_buffer.h"
#include "runtime/runtime.h"
#include "selection/selection.h"

IfmPluginTask g_ifmpluginTaskArr[IFM_TASK_SLOTS];

namespace {

constexpr uint32_t kIfIndexListBytes = IFM_TASK_IFINDEX_CAPACITY * sizeof(uint32_t);

} // namespace

uint32_t IFMPLUGIN_MDTLM_IsTaskIdExist(uint32_t taskId)
{
    uint32_t idx = 0;
    return IFMPLUGIN_MDTLM_GetIdxByTaskId(taskId, &idx) == 0 ? 1u : 0u;
}

uint32_t IFMPLUGIN_MDTLM_GetIdxByTaskId(uint32_t taskId, uint32_t *idx)
{
    if (idx == nullptr) {
        return 1;
    }
    for (uint32_t i = 0; i < IFM_TASK_SLOTS; ++i) {
        if (g_ifmpluginTaskArr[i].taskId == taskId) {
            *idx = i;
            return 0;
        }
    }
    return 1;
}

uint32_t IFMPLUGIN_MDTLM_TaskInit(uint32_t taskId)
{
    if (IFMPLUGIN_MDTLM_IsTaskIdExist(taskId) != 0) {
        return 0;
    }
    /* The lowest free slot: free slots hold task id 0. */
    uint32_t slot = 0;
    if (IFMPLUGIN_MDTLM_GetIdxByTaskId(0, &slot) != 0) {
        return 1;
    }

    IfmPluginTask &task = g_ifmpluginTaskArr[slot];
    task.ifIndexCount = 0;
    if (task.ifIndexList != nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "g_arrIdx[%d] ifIndexList is not null", static_cast<int>(slot));
        return 1;
    }
    FrmBuffer list(kIfIndexListBytes);
    if (!list) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "g_arrIdx[%d] ifIndexList alloc fail", static_cast<int>(slot));
        return 1;
    }
    task.ifIndexList = static_cast<uint32_t *>(list.release());
    task.taskId = taskId;
    return 0;
}

void IFM_UpdateYangTaskArray(uint64_t key)
{
    const uint32_t taskId = static_cast<uint32_t>(key);
    const uint32_t ifIndex = static_cast<uint32_t>(key >> 32);
    uint32_t idx = 0;
    if (IFMPLUGIN_MDTLM_GetIdxByTaskId(taskId, &idx) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "can not find taskId[%d] in local taskArray", static_cast<int>(taskId));
        return;
    }
    IfmPluginTask &task = g_ifmpluginTaskArr[idx];
    if (task.ifIndexList == nullptr || task.ifIndexCount >= IFM_TASK_IFINDEX_CAPACITY) {
        return;
    }
    task.ifIndexList[task.ifIndexCount] = ifIndex;
    ++task.ifIndexCount;
}

uint32_t IFMPlugin_MDTLM_DealStatTaskCommon(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg, IfmRoundProc round)
{
    if (taskId == 0 || cfg == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "mibifstat cfgInfo is null or invalid taskId");
        return IFM_TASK_REFUSED;
    }
    if (IFMPLUGIN_MDTLM_TaskInit(taskId) != 0) {
        return IFM_TASK_REFUSED;
    }

    /* Name patterns are matched in upper case; the framework's record is changed too. */
    if (cfg->condType != 0) {
        const uint16_t len = IFM_CfgCondNameLen(cfg);
        for (uint16_t i = 0; i < len; ++i) {
            cfg->condName[i] = static_cast<char>(toupper(static_cast<unsigned char>(cfg->condName[i])));
        }
    }

    FrmBuffer roundBuf(sizeof(IfmTaskRound));
    if (!roundBuf) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_DealMibIfStatTask]taskInfo memory alloc failed.");
        return IFM_TASK_REFUSED;
    }
    IfmTaskRound *taskRound = roundBuf.as<IfmTaskRound>();
    taskRound->frmCookie = frmCookie;
    taskRound->taskId = taskId;
    taskRound->encodeType = static_cast<uint8_t>(cfg->encodeType & 0xFFu);

    FrmBuffer cfgCopy(sizeof(TlmTaskInfo));
    if (!cfgCopy) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "[IFMPlugin_MDTLM_DealMibIfStatTask]taskInfo taskcfg, malloc failed.");
        return IFM_TASK_REFUSED;
    }
    if (memcpy_s(cfgCopy.get(), sizeof(TlmTaskInfo), cfg, sizeof(TlmTaskInfo)) != 0) {
        return IFM_TASK_REFUSED;
    }
    taskRound->taskCfg = cfgCopy.as<TlmTaskInfo>();

    if (round != nullptr) {
        (void)round(taskRound);
    }
    return 0;
}

uint32_t IFMPlugin_MDTLM_DealL2SubifStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg)
{
    return IFMPlugin_MDTLM_DealStatTaskCommon(frmCookie, taskId, cfg, IFMPlugin_MDTLM_L2SubifStatTaskDiffProc);
}

uint32_t IFMPlugin_MDTLM_DealIfStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg)
{
    return IFMPlugin_MDTLM_DealStatTaskCommon(frmCookie, taskId, cfg, IFMPlugin_MDTLM_IfStatTaskDiffProc);
}

uint32_t IFMPlugin_MDTLM_DealMibIfStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg)
{
    return IFMPlugin_MDTLM_DealStatTaskCommon(frmCookie, taskId, cfg, IFMPlugin_MDTLM_MibIfStatTaskDiffProc);
}

uint32_t IFMPlugin_MDTLM_DealCommonIfStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg)
{
    return IFMPlugin_MDTLM_DealStatTaskCommon(frmCookie, taskId, cfg, IFMPlugin_MDTLM_CommonIfStatTaskDiffProc);
}

uint32_t IFMPlugin_MDTLM_StopTaskForStat(uint32_t frmCookie, uint32_t taskId)
{
    (void)frmCookie;
    if (taskId == 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "invalid taskId");
        return 1;
    }
    uint32_t idx = 0;
    if (IFMPLUGIN_MDTLM_GetIdxByTaskId(taskId, &idx) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "can not find taskId[%d] in local taskArray", static_cast<int>(taskId));
        return 1;
    }
    IfmPluginTask &task = g_ifmpluginTaskArr[idx];
    if (task.ifIndexList != nullptr) {
        ZOR_IFM_YangNodeHashClear(taskId, idx);
        MDTLM_FreeBuff(task.ifIndexList);
        task.ifIndexList = nullptr;
    }
    task.taskId = 0;
    task.ifIndexCount = 0;
    return 0;
}
