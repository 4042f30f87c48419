/* MIB statistics ("ZOR_IFM_MIBIFSTAT") and common statistics ("ZOR_IFM_COMMONIFSTAT") sensors. */
#ifndef ZOR_IFM_MIBSTAT_H
#define ZOR_IFM_MIBSTAT_H

#include <cstddef>
#include <cstdint>

#include "core/upload.h"
#include "store/store.h"

/* The 17 counter slots, read through one of two views. */
struct IfmMibView {
    uint64_t receiveBytes;
    uint64_t sendBytes;
    uint64_t receivePackets;
    uint64_t sendPackets;
    uint64_t receiveUnicastPackets;
    uint64_t receiveMulticastPackets;
    uint64_t receiveBoardPackets;
    uint64_t sendUnicastPackets;
    uint64_t sendMulticastPackets;
    uint64_t sendBoardPackets;
    uint64_t receiveErrorPackets;
    uint64_t receiveDropPackets;
    uint64_t sendErrorPackets;
    uint64_t sendDropPackets;
    uint64_t unused15;
    uint64_t unused16;
    uint64_t unused17;
};

struct IfmCommonView {
    uint64_t outBitRate;
    uint64_t inBitRate;
    uint64_t sendBytes;
    uint64_t receiveBytes;
    uint64_t receivePackets;
    uint64_t sendPackets;
    uint64_t inPacketRate;
    uint64_t outPacketRate;
    uint64_t receiveMulticastPackets;
    uint64_t sendMulticastPackets;
    uint64_t receiveBoardPackets;
    uint64_t sendBoardPackets;
    uint64_t receiveUnicastPackets;
    uint64_t sendUnicastPackets;
    uint64_t sendDropPackets;
    uint64_t receiveErrorPackets;
    uint64_t receiveDropPackets;
};
static_assert(sizeof(IfmMibView) == 17 * sizeof(uint64_t) && sizeof(IfmCommonView) == 17 * sizeof(uint64_t),
              "17 counter slots");

struct IfmTlmMibIfStatData {
    uint32_t ifIndex;
    char ifName[IFM_IF_NAME_LEN];
    uint32_t flowStatInterval;
    union {
        IfmMibView mib;
        IfmCommonView common;
        uint64_t slots[17];
    };
    double inUseRate;
    double outUseRate;
};
#define IFM_MIBSTAT_SAMPLE_SIZE 152u
static_assert(sizeof(IfmTlmMibIfStatData) - offsetof(IfmTlmMibIfStatData, slots) == IFM_MIBSTAT_SAMPLE_SIZE,
              "the cache payload is the 17 slots and the two use rates");

/* A counter slot of a record view and the port counter it is made from. */
template <typename View> struct IfmPortSlot {
    uint64_t View::*slot;
    uint64_t PortIfStatiData::*port;
};

/* The 13 common-statistics counter slots (the rates aside), which trunk sums add, with the port
 * counters they are made from. */
inline constexpr IfmPortSlot<IfmCommonView> g_ifmCommonSlots[] = {
    {&IfmCommonView::sendBytes, &PortIfStatiData::outBytes},
    {&IfmCommonView::receiveBytes, &PortIfStatiData::inBytes},
    {&IfmCommonView::receivePackets, &PortIfStatiData::inPackets},
    {&IfmCommonView::sendPackets, &PortIfStatiData::outPackets},
    {&IfmCommonView::receiveMulticastPackets, &PortIfStatiData::inMcastPackets},
    {&IfmCommonView::sendMulticastPackets, &PortIfStatiData::outMcastPackets},
    {&IfmCommonView::receiveBoardPackets, &PortIfStatiData::inBcastPackets},
    {&IfmCommonView::sendBoardPackets, &PortIfStatiData::outBcastPackets},
    {&IfmCommonView::receiveUnicastPackets, &PortIfStatiData::inUcastPackets},
    {&IfmCommonView::sendUnicastPackets, &PortIfStatiData::outUcastPackets},
    {&IfmCommonView::sendDropPackets, &PortIfStatiData::outDiscardPkts},
    {&IfmCommonView::receiveErrorPackets, &PortIfStatiData::inErrors},
    {&IfmCommonView::receiveDropPackets, &PortIfStatiData::inDiscardPkts},
};

#define IFM_MIBSTAT_CHUNK 50u
#define MIB_LINE_OVERHEAD_BYTES 20u
#define REPORT_DELAY_US 2000000ull
#define COMMON_DEFAULT_INTERVAL_S 300u

/* Types 5 to 8 are mib-statistics, all others common-statistics. */
inline bool IFM_IsMibType(uint32_t type) { return type >= TLM_TYPE_MIB_IF_1 && type <= TLM_TYPE_MIB_TRUNK; }

/* Port rates */
typedef uint32_t (*IfmPortStatFiller)(IfmTlmMibIfStatData *record);
struct IfmPortStatEntry {
    uint32_t type;
    IfmPortStatFiller fill;
};
extern const IfmPortStatEntry g_ZorIfmPortStat[4];

uint32_t IFMPlugin_MDTLM_ReadIfmPortStatByType(IfmTlmMibIfStatData *record, uint32_t type);
uint32_t IFMPlugin_MDTLM_ReadMibPhyIfmPortStat(IfmTlmMibIfStatData *record);
void IFMPlugin_MDTLM_Delay2sCalPhyIfmPortStat(uint64_t target, const PortIfStatiData *a, const PortIfStatiData *b,
                                              const PortIfStatiData *latest, IfmTlmMibIfStatData *record);
void IFMPlugin_MDTLM_FillPhyIfmPortStatLatestData(const PortIfStatiData *latest, IfmTlmMibIfStatData *record);
uint32_t IFMPlugin_MDTLM_ReadMibTrunkIfmPortStat(IfmTlmMibIfStatData *record);
void IFMPlugin_MDTLM_AddTwoMibIfStat(IfmMibView *dst, const IfmMibView *src);
uint32_t IFMPlugin_MDTLM_ReadCommonPhyIfmPortStat(IfmTlmMibIfStatData *record);
uint32_t IFMPlugin_MDTLM_ReadCommonTrunkIfmPortStat(IfmTlmMibIfStatData *record);
uint32_t IFMPlugin_MDTLM_ReadTrunkIfmPortStatCore(PortIfStatiData *cur, PortIfStatiData *before);
void IFMPlugin_MDTLM_AddTwoIfmPortStat(PortIfStatiData *dst, const PortIfStatiData *src);
uint32_t IFMPlugin_MDTLM_SubCommonIfmPortStatData(IfmTlmMibIfStatData *record, const PortIfStatiData *cur,
                                                  const PortIfStatiData *before);

/* Common rates from if_statistics rows */
uint32_t IFMPlugin_MDTLM_GetCommonIfStat(const IfStatBaseInfo *base, IfmTlmMibIfStatData *record);
uint32_t IFMPlugin_MDTLM_ReadCommonIfStatForPort(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                                 IfmTlmMibIfStatData *cur, IfmTlmMibIfStatData *before);
uint32_t IFMPlugin_MDTLM_ReadCommonIfStatForPortHelper(uint32_t ifIndex, IfmTlmMibIfStatData *record,
                                                       const IfStatiData *sample);
uint32_t IFMPlugin_MDTLM_ReadCommonIfStatForTrunk(uint32_t ifIndex, uint32_t interval, uint32_t intervalIndex,
                                                  IfmTlmMibIfStatData *cur, IfmTlmMibIfStatData *before);
void IFMPlugin_MDTLM_AddTwoCommonStatForCur(IfmTlmMibIfStatData *dst, const IfmTlmMibIfStatData *src);
void IFMPlugin_MDTLM_AddTwoCommonStatForIntval(IfmTlmMibIfStatData *dst, const IfmTlmMibIfStatData *src);
void IFMPlugin_MDTLM_SubCommonIfStatData(IfmTlmMibIfStatData *record, const IfmTlmMibIfStatData *cur,
                                         const IfmTlmMibIfStatData *before);

/* Encoder */
uint32_t IFMPlugin_MDTLM_MibIfStatEncodeProc(const IfmTlmMibIfStatData *records, uint32_t count,
                                             uint32_t encodeType, uint8_t **out, uint32_t *outLen, uint32_t type);
uint32_t IFMPlugin_MDTLM_MibIfStatEncodeGpb(const IfmTlmMibIfStatData *records, uint32_t count, uint8_t **out,
                                            uint32_t *outLen, uint32_t type);
uint32_t IFM_MibIfStatEncodeJson(const IfmTlmMibIfStatData *records, uint32_t count, uint8_t **out,
                                 uint32_t *outLen, uint32_t type);

/* Pipeline */
uint32_t IFMPlugin_MDTLM_MibIfStatTlmProc(IfmTaskRound *round, IfStatBaseInfo *rows, uint32_t count, uint32_t type);
uint32_t IFMPlugin_MDTLM_MibIfmPortStatTlmProc(IfmTaskRound *round, IfmPortStatBaseInfo *rows, uint32_t count,
                                               uint32_t type);
uint32_t IFMPlugin_MDTLM_GetMibIfStatData(IfmTaskRound *round, const IfStatBaseInfo *rows, uint32_t count,
                                          IfmTlmMibIfStatData *records, uint32_t *kept, uint32_t type);
uint32_t IFMPlugin_MDTLM_GetMibIfmPortStatData(IfmTaskRound *round, const IfmPortStatBaseInfo *rows,
                                               uint32_t count, IfmTlmMibIfStatData *records, uint32_t *kept,
                                               uint32_t type);
uint32_t IFMPlugin_MDTLM_GetMibIfStat(const IfStatBaseInfo *base, IfmTlmMibIfStatData *record);
uint8_t IFMPlugin_MDTLM_IsMibIfStatRedundant(IfmTaskRound *round, const IfmTlmMibIfStatData *record, uint32_t type);
uint32_t IFMPlugin_MDTLM_CompMibIfStatData(const void *cached, const void *slots, uint32_t type);
void IFMPlugin_MDTLM_MibIfStatAddYangNode(uint64_t key, uint32_t now, const IfmTlmMibIfStatData *record,
                                          uint32_t nodeType);
uint32_t IFMPlugin_MDTLM_MibIfStatEncodeDataProc(IfmTaskRound *round, const IfmTlmMibIfStatData *records,
                                                 uint32_t count, uint32_t type);

#endif
