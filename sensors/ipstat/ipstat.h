/* IP statistics sensor ("ZOR_IFM_IFSTAT"): rates, encoder and pipeline. */
#ifndef ZOR_IFM_IPSTAT_H
#define ZOR_IFM_IPSTAT_H

#include <cstddef>
#include <cstdint>

#include "core/upload.h"
#include "store/store.h"

struct TlmIpStatPart {
    uint64_t inBitRate;
    uint64_t inPacketRate;
    uint64_t outBitRate;
    uint64_t outPacketRate;
    uint64_t inPackets;
    uint64_t inBytes;
    uint64_t outPackets;
    uint64_t outBytes;
};

struct TlmIfStatData {
    uint32_t ifIndex;
    char ifName[IFM_IF_NAME_LEN];
    uint32_t flowStatInterval;
    TlmIpStatPart total;
    TlmIpStatPart ipv4;
    TlmIpStatPart ipv6;
};
#define IFM_IPSTAT_SAMPLE_SIZE 192u
static_assert(offsetof(TlmIfStatData, ipv6) + sizeof(TlmIpStatPart) - offsetof(TlmIfStatData, total) ==
                  IFM_IPSTAT_SAMPLE_SIZE,
              "the three parts form one 192-byte block");

#define IFM_IPSTAT_CHUNK 32u

/* Rates */
uint32_t IFMPlugin_MDTLM_GetIfStat(const IfStatBaseInfo *row, TlmIfStatData *record);
uint32_t IFMPlugin_MDTLM_ReadIfStatForPort(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                           TlmIfStatData *cur, TlmIfStatData *before);
uint32_t IFMPlugin_MDTLM_ReadIfStatForTrunk(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                            TlmIfStatData *cur, TlmIfStatData *before);
void IFMPlugin_MDTLM_FillTlmIfStatData(TlmIfStatData *sample, const IfStatiData *counters);
void IFMPlugin_MDTLM_AddTwoStatForCur(TlmIfStatData *sum, const TlmIfStatData *addend);
void IFMPlugin_MDTLM_AddTwoStatForIntval(TlmIfStatData *sum, const TlmIfStatData *addend);
void IFMPlugin_MDTLM_SubIfStatData(TlmIfStatData *record, const TlmIfStatData *cur, const TlmIfStatData *before);

/* Encoder */
uint32_t IFMPlugin_MDTLM_IfStatEncodeProc(const TlmIfStatData *records, uint32_t count, uint32_t encodeType,
                                          uint8_t **data, uint32_t *length);
uint32_t IFMPlugin_MDTLM_IfStatEncodeGpb(const TlmIfStatData *records, uint32_t count, uint8_t **data,
                                         uint32_t *length);
uint32_t IFM_IfStatEncodeJson(const TlmIfStatData *records, uint32_t count, uint8_t **data, uint32_t *length);

/* Pipeline */
uint32_t IFMPlugin_MDTLM_IfStatTlmProc(IfmTaskRound *round, IfStatBaseInfo *rows, uint32_t count);
uint32_t IFMPlugin_MDTLM_GetIfStatData(IfmTaskRound *round, const IfStatBaseInfo *rows, uint32_t n,
                                       TlmIfStatData *records, uint32_t *kept);
uint8_t IFMPlugin_MDTLM_IsIfStatRedundant(IfmTaskRound *round, const TlmIfStatData *record);
uint32_t IFMPlugin_MDTLM_CompIfStatData(const uint64_t *cached, const uint64_t *sample);
uint32_t IFMPlugin_MDTLM_IfStatEncodeDataProc(IfmTaskRound *round, const TlmIfStatData *records, uint32_t count);

#endif
