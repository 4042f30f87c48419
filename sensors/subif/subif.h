/* Subinterface counters sensor ("ZOR_IFM_SUBIFSTAT"): encoder and pipeline. */
#ifndef ZOR_IFM_SUBIF_H
#define ZOR_IFM_SUBIF_H

#include <cstddef>
#include <cstdint>

#include "core/upload.h"
#include "store/store.h"

struct L2subifData {
    char ifName[IFM_IF_NAME_LEN]; /* main interface name */
    uint32_t stateIndex;
    uint32_t subifIndex;
    uint64_t inOctets;
    uint64_t inUnicastPkts;
    uint64_t inBroadcastPkts;
    uint64_t inMulticastPkts;
    uint64_t inDiscards;
    uint64_t inErrors;
    uint64_t inUnknownProtos;
    uint64_t outOctets;
    uint64_t outUnicastPkts;
    uint64_t outBroadcastPkts;
    uint64_t outMulticastPkts;
    uint64_t outDiscards;
    uint64_t outErrors;
    uint64_t lastClear;
    uint64_t carrierTransitions;
    uint64_t inFcsErrors;
    char description[4];
    uint32_t enabled;
    uint32_t stateIfIndex;
    uint32_t lastChange;
    char stateName[4];
    uint32_t operStatus;
};

struct L2subifGpbLen {
    uint32_t interfaceLen;
    uint32_t subinterfacesLen;
    uint32_t subinterfaceLen;
    uint32_t stateLen;
    uint32_t countersLen;
    uint32_t entryTotal;
};

#define IFM_SUBIF_CHUNK 50u
#define IFM_SUBIF_SAMPLE_SIZE 32u

/* Encoder */
uint32_t IFM_L2subifEncodeProc(const L2subifData *records, uint32_t count, uint32_t encodeType, uint8_t **msg,
                               uint32_t *length);
uint32_t IFM_L2subifEncodeGpb(const L2subifData *records, uint32_t count, uint8_t **msg, uint32_t *length);
uint32_t IFM_L2subifEncodeJson(const L2subifData *records, uint32_t count, uint8_t **msg, uint32_t *length);
uint32_t IFM_GetL2subifEncodeLen(const L2subifData *records, uint32_t count, L2subifGpbLen *lens);
/* Writes one interface entry per record at *cursor, with the sizes from IFM_GetL2subifEncodeLen;
 * advances *cursor and lowers *remain. 0 = all written, 1 = something did not fit. */
uint32_t IFM_L2subifEncapInterfaceDataGpb(const L2subifData *records, uint32_t count, const L2subifGpbLen *lens,
                                          uint8_t **cursor, uint32_t *remain);
void FEI_DOP_DumpPktInfo(const uint8_t *msg, uint32_t length);

/* Pipeline */
uint32_t IFMPlugin_MDTLM_L2subifTlmProc(IfmTaskRound *round, IfStatBaseInfo *rows, uint32_t count);
uint32_t IFM_GetL2subifData(IfmTaskRound *round, const IfStatBaseInfo *rows, uint32_t count, L2subifData *records,
                            uint32_t *kept);
uint8_t IFM_IsNeedSendSubifStat(IfmTaskRound *round, const IfStatiData *counters);
uint8_t IFM_IsRedundantL2SubifStat(IfmTaskRound *round, const IfStatiData *counters);
uint32_t IFM_IsThresholdSubifStat(const TlmTaskInfo *cfg, const IfStatiData *counters);
uint32_t IFM_L2subifEncodeDataProc(IfmTaskRound *round, const L2subifData *records, uint32_t count);

#endif
