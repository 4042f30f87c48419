/* Task table and task lifecycle: the framework's task and stop callbacks. */
#include <cctype>

#include "core/frm_buffer.h"
#include "runtime/runtime.h"
#include "selection/selection.h"

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
