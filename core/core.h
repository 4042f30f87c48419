/* Types every layer of the plugin shares: log levels, the exported field-number globals, the task
 * table and the per-callback round record, the statistics types. Depends on the platform only. */
#ifndef ZOR_IFM_CORE_H
#define ZOR_IFM_CORE_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

#define IFM_EXPORT __attribute__((visibility("default")))

/* GPB field numbers of the statistics nodes, exported for the framework's decoders; defined by the
 * encoders that write them. */
extern "C" {
IFM_EXPORT extern uint32_t g_ifmpluginMdtlm_ipStatTag;     /* 178 */
IFM_EXPORT extern uint32_t g_ifmpluginMdtlm_mibStatTag;    /* 27 */
IFM_EXPORT extern uint32_t g_ifmpluginMdtlm_commonStatTag; /* 28 */
}

/* Log levels of the framework's log. */
#define IFM_LOG_INFO 1u
#define IFM_LOG_ERROR 2u

/* ---- Task table: one slot per running task; the last-sample cache records into its list ---- */
#define IFM_TASK_SLOTS 256u
#define IFM_TASK_IFINDEX_CAPACITY 32000u

struct IfmPluginTask {
    uint32_t taskId;       /* 0 = free slot */
    uint32_t ifIndexCount; /* entries used in ifIndexList */
    uint32_t *ifIndexList; /* IFM_TASK_IFINDEX_CAPACITY entries, owned by the slot */
};

extern IfmPluginTask g_ifmpluginTaskArr[IFM_TASK_SLOTS];

uint32_t IFMPLUGIN_MDTLM_IsTaskIdExist(uint32_t taskId);
uint32_t IFMPLUGIN_MDTLM_GetIdxByTaskId(uint32_t taskId, uint32_t *idx);
uint32_t IFMPLUGIN_MDTLM_TaskInit(uint32_t taskId);
void IFM_UpdateYangTaskArray(uint64_t key); /* task id in the low half, ifindex in the high half */

/* What one task callback works with; lives only for the callback. */
struct IfmTaskRound {
    uint32_t frmCookie;
    uint32_t taskId;
    uint8_t encodeType;   /* 0 = GPB, otherwise JSON */
    TlmTaskInfo *taskCfg; /* private copy of the task's configuration */
};

/* ---- Statistics types: sensor and row source of one step of a round ---- */
enum TlmType : uint32_t {
    TLM_TYPE_SUBIF = 0,
    TLM_TYPE_IPSTAT_1 = 1,
    TLM_TYPE_IPSTAT_2 = 2,
    TLM_TYPE_IPSTAT_3 = 3,
    TLM_TYPE_IPSTAT_4 = 4,
    TLM_TYPE_MIB_IF_1 = 5,
    TLM_TYPE_MIB_IF_2 = 6,
    TLM_TYPE_MIB_PORT = 7,
    TLM_TYPE_MIB_TRUNK = 8,
    TLM_TYPE_COMMON_PORT = 9,
    TLM_TYPE_COMMON_IF_1 = 10,
    TLM_TYPE_COMMON_IF_2 = 11,
    TLM_TYPE_COMMON_IF_3 = 12,
    TLM_TYPE_COMMON_IF_4 = 13,
    TLM_TYPE_COMMON_TRUNK = 14,
    TLM_TYPE_COUNT = 15,
};

#endif
