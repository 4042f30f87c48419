/* Task table: the slots of the running tasks and the interface list each keeps for removing its
 * cache nodes when it stops. */
#include "core/core.h"
#include "core/frm_buffer.h"

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
