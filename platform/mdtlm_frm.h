/* Telemetry framework interface: buffers, log, operation table, task records. */
#ifndef ZOR_PLATFORM_MDTLM_FRM_H
#define ZOR_PLATFORM_MDTLM_FRM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void *MDTLM_AllocBuff(uint32_t size);             /* NULL on failure; memory is not zeroed */
void MDTLM_FreeBuff(void *buf);                   /* NULL is ignored */
void MDTLM_WriteLog(uint32_t level, const char *format, ...) __attribute__((format(printf, 2, 3)));

typedef struct TlmTaskInfo TlmTaskInfo;
typedef uint32_t (*TlmTaskProc)(uint32_t frmCookie, uint32_t taskId, TlmTaskInfo *cfg);
typedef uint32_t (*TlmStopProc)(uint32_t frmCookie, uint32_t taskId);

typedef struct TlmSensorReg {
    char sensorName[32];
    uint32_t regValue1; /* always 1000 */
    uint32_t regValue2; /* always 10 */
    TlmTaskProc taskProc;
    TlmStopProc stopProc;
    uint8_t reserved[16];
} TlmSensorReg;

typedef struct SampleData {
    uint32_t frmCookie;
    uint32_t taskId;
    uint64_t timestampMs;
    uint64_t timestampMs2;
    uint64_t timeSpendUs;
    uint8_t reserved[12];
    uint32_t dataLen;
    /* dataLen bytes of message follow at offset 48 */
} SampleData;

typedef struct MdTlmFrmVtbl {
    void *slot0;
    void *slot1;
    void *slot2;
    uint32_t (*RegXpath)(uint32_t moduleId, const char *path, const TlmSensorReg *reg);
    uint32_t (*UploadData)(uint32_t moduleId, const SampleData *sample);
} MdTlmFrmVtbl;

#define TLM_COUNTER_NAME_LEN 65
#define TLM_COND_KEY_LEN 66
#define TLM_COND_NAME_LEN 102
#define TLM_COND_INDEX_LEN 32

typedef struct TlmThreshold {
    char counterName[TLM_COUNTER_NAME_LEN]; /* text ends at the first NUL or at the end of the field */
    uint8_t thresholdOp;
    uint8_t reserved0[6];
    uint64_t thresholdValue;
} TlmThreshold;

struct TlmTaskInfo {
    uint32_t encodeType;
    uint8_t reserved0[4];
    uint32_t condType;
    char condKey[TLM_COND_KEY_LEN];
    uint16_t condNameLen;
    char condName[TLM_COND_NAME_LEN];
    char condIndex[TLM_COND_INDEX_LEN];
    uint8_t reserved1[3276 - 214];
    uint32_t thresholdNum;
    uint32_t thresholdRelation;
    uint8_t reserved2[4];
    TlmThreshold threshold[2];
    uint8_t reserved3[8];
    uint32_t suppressRedundant;
    uint32_t reportPeriod;
};

#ifdef __cplusplus
}

static_assert(sizeof(TlmSensorReg) == 72, "TlmSensorReg is 72 bytes");
static_assert(offsetof(TlmSensorReg, regValue1) == 32, "regValue1 at 32");
static_assert(offsetof(TlmSensorReg, regValue2) == 36, "regValue2 at 36");
static_assert(offsetof(TlmSensorReg, taskProc) == 40, "taskProc at 40");
static_assert(offsetof(TlmSensorReg, stopProc) == 48, "stopProc at 48");
static_assert(offsetof(TlmSensorReg, reserved) == 56, "reserved at 56");

static_assert(sizeof(SampleData) == 48, "SampleData header is 48 bytes");
static_assert(offsetof(SampleData, taskId) == 4, "taskId at 4");
static_assert(offsetof(SampleData, timestampMs) == 8, "timestampMs at 8");
static_assert(offsetof(SampleData, timestampMs2) == 16, "timestampMs2 at 16");
static_assert(offsetof(SampleData, timeSpendUs) == 24, "timeSpendUs at 24");
static_assert(offsetof(SampleData, reserved) == 32, "reserved at 32");
static_assert(offsetof(SampleData, dataLen) == 44, "dataLen at 44");

static_assert(offsetof(MdTlmFrmVtbl, RegXpath) == 24, "RegXpath is slot 3");
static_assert(offsetof(MdTlmFrmVtbl, UploadData) == 32, "UploadData is slot 4");

static_assert(sizeof(TlmThreshold) == 80, "TlmThreshold is 80 bytes");
static_assert(offsetof(TlmThreshold, thresholdOp) == 65, "thresholdOp at 65");
static_assert(offsetof(TlmThreshold, thresholdValue) == 72, "thresholdValue at 72");

static_assert(sizeof(TlmTaskInfo) == 3464, "TlmTaskInfo is 3464 bytes");
static_assert(offsetof(TlmTaskInfo, encodeType) == 0, "encodeType at 0");
static_assert(offsetof(TlmTaskInfo, condType) == 8, "condType at 8");
static_assert(offsetof(TlmTaskInfo, condKey) == 12, "condKey at 12");
static_assert(offsetof(TlmTaskInfo, condNameLen) == 78, "condNameLen at 78");
static_assert(offsetof(TlmTaskInfo, condName) == 80, "condName at 80");
static_assert(offsetof(TlmTaskInfo, condIndex) == 182, "condIndex at 182");
static_assert(offsetof(TlmTaskInfo, thresholdNum) == 3276, "thresholdNum at 3276");
static_assert(offsetof(TlmTaskInfo, thresholdRelation) == 3280, "thresholdRelation at 3280");
static_assert(offsetof(TlmTaskInfo, threshold) == 3288, "threshold[0] at 3288");
static_assert(offsetof(TlmTaskInfo, suppressRedundant) == 3456, "suppressRedundant at 3456");
static_assert(offsetof(TlmTaskInfo, reportPeriod) == 3460, "reportPeriod at 3460");
#endif

#endif
