/* The upload path every sensor procedure uses: the batch loop over listed rows, the envelope that
 * cuts records into chunks and hands each encoded chunk to the framework, and the time helpers of
 * the envelope's stamps. */
#ifndef ZOR_IFM_UPLOAD_H
#define ZOR_IFM_UPLOAD_H

#include "core/core.h"

/* The framework's operation table (set at start-up) and the module identifier it knows us by. */
extern uint32_t g_ifmpluginMdtlm_moduleId;
extern MdTlmFrmVtbl *g_ifmpluginMdtlm_frmVtbl;

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
