/* Plugin runtime: entry, task table, sampling rounds, envelope and upload. */
#ifndef ZOR_IFM_RUNTIME_H
#define ZOR_IFM_RUNTIME_H

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

#define IFM_EXPORT __attribute__((visibility("default")))

/* Exported symbols: the entry and the GPB field numbers of the statistics nodes. */
extern "C" {
IFM_EXPORT uint32_t IFMPlugin_MDTLM_Init(uint32_t moduleId);
IFM_EXPORT extern uint32_t g_ifmpluginMdtlm_ipStatTag;     /* 178 */
IFM_EXPORT extern uint32_t g_ifmpluginMdtlm_mibStatTag;    /* 27 */
IFM_EXPORT extern uint32_t g_ifmpluginMdtlm_commonStatTag; /* 28 */
}

/* Log levels of the framework's log. */
#define IFM_LOG_INFO 1u
#define IFM_LOG_ERROR 2u

/* Status codes of the task callbacks. */
#define IFM_TASK_REFUSED 2u

/* ---- Entry and registration ---- */
extern uint32_t g_ifmpluginMdtlm_moduleId;
extern MdTlmFrmVtbl *g_ifmpluginMdtlm_frmVtbl;

uint32_t IFMPlugin_MDTLM_TorInit(uint32_t moduleId);
uint32_t IFMPlugin_MDTLM_LpuInit(uint32_t moduleId);
uint32_t IFMPlugin_MDTLM_MpuInit(uint32_t moduleId);
void IFMPlugin_MDTLM_SetModId(uint32_t moduleId);
uint32_t IFMPlugin_MDTLM_RegL2SubifStatXpath();
uint32_t IFMPlugin_MDTLM_RegIfStatXpath();
uint32_t IFMPlugin_MDTLM_RegMibIfStatXpath();
uint32_t IFMPlugin_MDTLM_RegCommonIfStatXpath();

/* ---- Task table ---- */
#define IFM_TASK_SLOTS 256u
#define IFM_TASK_IFINDEX_CAPACITY 32000u

struct IfmPluginTask {
    uint32_t taskId;       /* 0 = free slot */
    uint32_t ifIndexCount; /* entries used in ifIndexList */
    uint32_t *ifIndexList; /* IFM_TASK_IFINDEX_CAPACITY entries, owned by the slot */
};

struct IfmTaskRound {
    uint32_t frmCookie;
    uint32_t taskId;
    uint8_t encodeType;   /* 0 = GPB, otherwise JSON */
    TlmTaskInfo *taskCfg; /* private copy of the task's configuration */
};

typedef uint32_t (*IfmRoundProc)(IfmTaskRound *round);

extern IfmPluginTask g_ifmpluginTaskArr[IFM_TASK_SLOTS];

uint32_t IFMPLUGIN_MDTLM_IsTaskIdExist(uint32_t taskId);
uint32_t IFMPLUGIN_MDTLM_GetIdxByTaskId(uint32_t taskId, uint32_t *idx);
uint32_t IFMPLUGIN_MDTLM_TaskInit(uint32_t taskId);
void IFM_UpdateYangTaskArray(uint64_t key); /* task id in the low half, ifindex in the high half */
uint32_t IFMPlugin_MDTLM_DealStatTaskCommon(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg, IfmRoundProc round);

uint32_t IFMPlugin_MDTLM_DealL2SubifStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg);
uint32_t IFMPlugin_MDTLM_DealIfStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg);
uint32_t IFMPlugin_MDTLM_DealMibIfStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg);
uint32_t IFMPlugin_MDTLM_DealCommonIfStatTask(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg);
uint32_t IFMPlugin_MDTLM_StopTaskForStat(uint32_t frmCookie, uint32_t taskId);

uint32_t IFMPlugin_MDTLM_L2SubifStatTaskDiffProc(IfmTaskRound *round);
uint32_t IFMPlugin_MDTLM_IfStatTaskDiffProc(IfmTaskRound *round);
uint32_t IFMPlugin_MDTLM_MibIfStatTaskDiffProc(IfmTaskRound *round);
uint32_t IFMPlugin_MDTLM_CommonIfStatTaskDiffProc(IfmTaskRound *round);

/* ---- Sampling rounds ---- */
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

struct IfStatBaseInfo;
struct IfmPortStatBaseInfo;

uint32_t IFM_ConvertTlmType2DBType(const uint32_t *type);
uint32_t IFM_IfStatYangTaskProc(IfmTaskRound *round, uint32_t type);
uint32_t IFM_IfmPortStatYangTaskProc(IfmTaskRound *round, uint32_t type);
uint32_t IFM_StatTlmProc(IfmTaskRound *round, IfStatBaseInfo *records, uint32_t count, uint32_t type);
uint32_t IFM_IfmPortStatTlmProc(IfmTaskRound *round, IfmPortStatBaseInfo *records, uint32_t count, uint32_t type);

/* ---- Envelope and upload ---- */
uint32_t IFMPLUGIN_MDTLM_GetSystimeSecUs(uint32_t *sec, uint32_t *usec);
uint64_t IFMPlugin_MDTLM_GetUs2TimeSpend(uint32_t startSec, uint32_t startUs, uint32_t endSec, uint32_t endUs);
uint64_t IFMPlugin_MDTLM_Date2SystimeMs(const KAL_SYSTIME_S *date);
void IFMPlugin_MDTLM_EncodeDataProc_uploadData(SampleData *sample);

/* A sensor's chunk encoder: 0 = success, the message then belongs to the caller. `type` is the
 * statistics type, used by the mib/common encoder and ignored by the others. */
typedef uint32_t (*IfmChunkEncoder)(const void *records, uint32_t n, uint32_t encodeType, uint8_t **msg,
                                    uint32_t *msgLen, uint32_t type);

/* What distinguishes one sensor's envelope procedure from another's. A null message is not logged. */
struct IfmEnvelopeTraits {
    uint32_t chunkRecords;
    uint32_t recordSize;
    IfmChunkEncoder encode;
    const char *encodeFailedMsg; /* one %u: the encoder's status */
    const char *allocFailedMsg;
    const char *copyFailedMsg; /* one %u: the copy's status */
};

/* Cuts `count` records into chunks, encodes, wraps and uploads each; always returns 0. */
uint32_t IFM_EnvelopeDataProc(const IfmTaskRound *round, const void *records, uint32_t count, uint32_t type,
                              const IfmEnvelopeTraits &traits);

/* ---- Batch loop shared by the sensor procedures ---- */
#define IFM_BATCH_ROWS 5000u

/* Fills `records` from `n` rows; stores the number kept in *kept. */
typedef uint32_t (*IfmBatchBuilder)(IfmTaskRound *round, const void *rows, uint32_t n, void *records,
                                    uint32_t *kept, uint32_t type);
/* Encodes and uploads the kept records of one batch. */
typedef uint32_t (*IfmBatchSender)(IfmTaskRound *round, const void *records, uint32_t kept, uint32_t type);

struct IfmBatchTraits {
    uint32_t rowSize;
    uint32_t recordSize;
    bool roundRequired; /* a null round is refused like null rows */
    IfmBatchBuilder build;
    IfmBatchSender send;
    const char *badArgsMsg;     /* no arguments */
    const char *allocFailedMsg; /* no arguments */
    const char *buildFailedMsg; /* %u status, %u records kept by the last successful batch */
    const char *sendFailedMsg;  /* %u status, %u records kept; null = not logged */
};

uint32_t IFM_BatchTlmProc(IfmTaskRound *round, const void *rows, uint32_t count, uint32_t type,
                          const IfmBatchTraits &traits);

#endif
