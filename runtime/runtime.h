/* Plugin runtime: entry and registration, the task and stop callbacks, the sampling rounds that
 * dispatch to the sensors. */
#ifndef ZOR_IFM_RUNTIME_H
#define ZOR_IFM_RUNTIME_H

#include "core/core.h"
#include "core/upload.h"

/* The exported entry. */
extern "C" {
IFM_EXPORT uint32_t IFMPlugin_MDTLM_Init(uint32_t moduleId);
}

/* Status codes of the task callbacks. */
#define IFM_TASK_REFUSED 2u

/* ---- Entry and registration ---- */
uint32_t IFMPlugin_MDTLM_TorInit(uint32_t moduleId);
uint32_t IFMPlugin_MDTLM_LpuInit(uint32_t moduleId);
uint32_t IFMPlugin_MDTLM_MpuInit(uint32_t moduleId);
void IFMPlugin_MDTLM_SetModId(uint32_t moduleId);
uint32_t IFMPlugin_MDTLM_RegL2SubifStatXpath();
uint32_t IFMPlugin_MDTLM_RegIfStatXpath();
uint32_t IFMPlugin_MDTLM_RegMibIfStatXpath();
uint32_t IFMPlugin_MDTLM_RegCommonIfStatXpath();

/* ---- Task and stop callbacks ---- */
typedef uint32_t (*IfmRoundProc)(IfmTaskRound *round);

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
struct IfStatBaseInfo;
struct IfmPortStatBaseInfo;

uint32_t IFM_ConvertTlmType2DBType(const uint32_t *type);
uint32_t IFM_IfStatYangTaskProc(IfmTaskRound *round, uint32_t type);
uint32_t IFM_IfmPortStatYangTaskProc(IfmTaskRound *round, uint32_t type);
uint32_t IFM_StatTlmProc(IfmTaskRound *round, IfStatBaseInfo *records, uint32_t count, uint32_t type);
uint32_t IFM_IfmPortStatTlmProc(IfmTaskRound *round, IfmPortStatBaseInfo *records, uint32_t count, uint32_t type);

#endif
