/* Encoding of mib-statistics and common-statistics records: GPB written by hand over exact sizes
 * (one allocation per batch), and JSON through cJSON. The statistics node of both formats is
 * driven by one field table per model, so sizes, GPB bytes and JSON members always agree. */
#include <cstdint>
#include <cstring>

#include "encoding/batch.h"
#include "encoding/gpb.h"
#include "sensors/mibstat/mibstat.h"

/* GPB field numbers of the mib- and common-statistics nodes, exported for the framework's decoders. */
uint32_t g_ifmpluginMdtlm_mibStatTag = 27;
uint32_t g_ifmpluginMdtlm_commonStatTag = 28;

namespace {

#define IFM_MIB_ROW(no, field, key) \
    GpbField { no, GpbValue::U64, offsetof(IfmTlmMibIfStatData, mib.field), 0, key }
#define IFM_COMMON_ROW(no, field, key) \
    GpbField { no, GpbValue::U64, offsetof(IfmTlmMibIfStatData, common.field), 0, key }
#define IFM_PERCENT_ROW(no, field, key) \
    GpbField { no, GpbValue::Percent, offsetof(IfmTlmMibIfStatData, field), 0, key }

/* mib-statistics node, fields 1 to 14 in ascending order. */
constexpr GpbField g_ifmMibStatFields[] = {
    IFM_MIB_ROW(1, receiveBytes, "receive-byte"),
    IFM_MIB_ROW(2, sendBytes, "send-byte"),
    IFM_MIB_ROW(3, receivePackets, "receive-packet"),
    IFM_MIB_ROW(4, sendPackets, "send-packet"),
    IFM_MIB_ROW(5, receiveUnicastPackets, "receive-unicast-packet"),
    IFM_MIB_ROW(6, receiveMulticastPackets, "receive-multicast-packet"),
    IFM_MIB_ROW(7, receiveBoardPackets, "receive-broad-packet"),
    IFM_MIB_ROW(8, sendUnicastPackets, "send-unicast-packet"),
    IFM_MIB_ROW(9, sendMulticastPackets, "send-multicast-packet"),
    IFM_MIB_ROW(10, sendBoardPackets, "send-broad-packet"),
    IFM_MIB_ROW(11, receiveErrorPackets, "receive-error-packet"),
    IFM_MIB_ROW(12, receiveDropPackets, "receive-drop-packet"),
    IFM_MIB_ROW(13, sendErrorPackets, "send-error-packet"),
    IFM_MIB_ROW(14, sendDropPackets, "send-drop-packet"),
};

/* common-statistics node in its wire order (field numbers not ascending), use rates last. */
constexpr GpbField g_ifmCommonStatFields[] = {
    IFM_COMMON_ROW(7, outBitRate, "out-bit-rate"),
    IFM_COMMON_ROW(3, inBitRate, "in-bit-rate"),
    IFM_COMMON_ROW(11, sendBytes, "send-byte"),
    IFM_COMMON_ROW(10, receiveBytes, "receive-byte"),
    IFM_COMMON_ROW(12, receivePackets, "receive-packet"),
    IFM_COMMON_ROW(13, sendPackets, "send-packet"),
    IFM_COMMON_ROW(4, inPacketRate, "in-packet-rate"),
    IFM_COMMON_ROW(8, outPacketRate, "out-packet-rate"),
    IFM_COMMON_ROW(15, receiveMulticastPackets, "receive-multicast-packet"),
    IFM_COMMON_ROW(18, sendMulticastPackets, "send-multicast-packet"),
    IFM_COMMON_ROW(16, receiveBoardPackets, "receive-broad-packet"),
    IFM_COMMON_ROW(19, sendBoardPackets, "send-broad-packet"),
    IFM_COMMON_ROW(14, receiveUnicastPackets, "receive-unicast-packet"),
    IFM_COMMON_ROW(17, sendUnicastPackets, "send-unicast-packet"),
    IFM_COMMON_ROW(23, sendDropPackets, "send-drop-packet"),
    IFM_COMMON_ROW(20, receiveErrorPackets, "receive-error-packet"),
    IFM_COMMON_ROW(21, receiveDropPackets, "receive-drop-packet"),
    IFM_PERCENT_ROW(5, inUseRate, "in-use-rate"),
    IFM_PERCENT_ROW(9, outUseRate, "out-use-rate"),
};

#undef IFM_MIB_ROW
#undef IFM_COMMON_ROW
#undef IFM_PERCENT_ROW

constexpr GpbTable g_ifmMibStatTable = IFM_GpbTable(g_ifmMibStatFields);
constexpr GpbTable g_ifmCommonStatTable = IFM_GpbTable(g_ifmCommonStatFields);

/* Field numbers of the levels above the statistics node. */
constexpr uint32_t IFM_GPB_FIELD_INTERFACES = 2u; /* top level, once per record */
constexpr uint32_t IFM_GPB_FIELD_INTERFACE = 1u;  /* within interfaces */
constexpr uint32_t IFM_GPB_FIELD_NAME = 1u;       /* within interface */

/* Per-record sizes computed before the single allocation of a batch. */
struct IfmMibEncodeLen {
    uint32_t interfaces; /* N: content of the interfaces node */
    uint32_t interface;  /* I: content of the interface node */
    uint32_t stats;      /* S: content of the statistics node */
    uint32_t total;      /* the record's bytes at the top level */
};
static_assert(sizeof(IfmMibEncodeLen) == 4 * sizeof(uint32_t), "four u32 per record");

const GpbTable &IFM_MibStatTable(uint32_t type) { return IFM_IsMibType(type) ? g_ifmMibStatTable : g_ifmCommonStatTable; }

uint32_t IFM_MibStatTag(uint32_t type)
{
    return IFM_IsMibType(type) ? g_ifmpluginMdtlm_mibStatTag : g_ifmpluginMdtlm_commonStatTag;
}

uint32_t IFM_MibNameLen(const IfmTlmMibIfStatData &record)
{
    return static_cast<uint32_t>(strnlen(record.ifName, sizeof(record.ifName)));
}

void IFMPlugin_MDTLM_GetMibIfStaEncodeLen(const IfmTlmMibIfStatData *records, uint32_t count, IfmMibEncodeLen *lens,
                                          uint32_t type)
{
    const uint32_t tag = IFM_MibStatTag(type);
    for (uint32_t i = 0; i < count; ++i) {
        IfmMibEncodeLen &len = lens[i];
        len.stats = IFM_IsMibType(type) ? IFM_GPB_TableSizeOf<g_ifmMibStatTable>(&records[i]) : IFM_GPB_TableSizeOf<g_ifmCommonStatTable>(&records[i]);
        len.interface = IFM_GPB_GetEncodingSizeOfStringType(IFM_GPB_FIELD_NAME, IFM_MibNameLen(records[i])) +
                        IFM_GPB_GetEncodingSizeOfNodeType(tag, len.stats);
        len.interfaces = IFM_GPB_GetEncodingSizeOfNodeType(IFM_GPB_FIELD_INTERFACE, len.interface);
        len.total = IFM_GPB_GetEncodingSizeOfNodeType(IFM_GPB_FIELD_INTERFACES, len.interfaces);
    }
}

/* Statistics node of one record: header, then the model's table. */
uint32_t IFM_IfStatEncapMibIpStatisticsNodeGpb(const IfmTlmMibIfStatData &record, uint8_t **cursor,
                                               uint32_t *remain, const IfmMibEncodeLen &len, uint32_t type)
{
    uint8_t *local = *cursor;
    uint32_t left = *remain;
    if (!IFM_GPB_PutNode(&local, &left, IFM_MibStatTag(type), len.stats)) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat interface error");
        return 1;
    }
    if ((IFM_IsMibType(type) ? IFM_GPB_TableWriteOf<g_ifmMibStatTable>(&record, &local, &left) : IFM_GPB_TableWriteOf<g_ifmCommonStatTable>(&record, &local, &left)) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat ip-statistics total part error.");
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat ip_statistics error. ret=%u", 1u);
        return 1;
    }
    *cursor = local;
    *remain = left;
    return 0;
}

uint32_t IFM_MibIfStatEncapInterfaceNodeGpb(const IfmTlmMibIfStatData *records, uint32_t count,
                                            const IfmMibEncodeLen *lens, uint8_t *buffer, uint32_t *remain,
                                            uint32_t type)
{
    if (records == nullptr || lens == nullptr || buffer == nullptr || remain == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat pointer null");
        return 1;
    }
    uint8_t *cursor = buffer;
    for (uint32_t i = 0; i < count; ++i) {
        const IfmTlmMibIfStatData &record = records[i];
        const IfmMibEncodeLen &len = lens[i];
        const bool ok =
            IFM_GPB_PutNode(&cursor, remain, IFM_GPB_FIELD_INTERFACES, len.interfaces) &&
            IFM_GPB_PutNode(&cursor, remain, IFM_GPB_FIELD_INTERFACE, len.interface) &&
            IFM_GPB_Advance(IFM_GPB_PutStringType(cursor, *remain, IFM_GPB_FIELD_NAME, IFM_MibNameLen(record),
                                                  record.ifName),
                            &cursor, remain);
        if (!ok) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat interface error");
            return 1;
        }
        if (IFM_IfStatEncapMibIpStatisticsNodeGpb(record, &cursor, remain, len, type) != 0) {
            return 1;
        }
    }
    return 0;
}

/* Fills one element of the "interface" array: "name", then the statistics node of the type. */
bool IFM_MibJsonInterface(cJSON *item, const IfmTlmMibIfStatData &record, uint32_t type)
{
    if (IFM_JSON_ObjectAddString(item, "name", record.ifName, IFM_IF_NAME_LEN) == nullptr) {
        return false;
    }
    cJSON *stats = IFM_JSON_ObjectAddObject(item, IFM_IsMibType(type) ? "mib-statistics" : "common-statistics");
    return stats != nullptr && IFM_JSON_TableAdd(stats, IFM_MibStatTable(type), &record) != 0;
}

/* A total over 32 bits is logged like a total of 0. */
constexpr GpbBatchLogs kGpbLogs = {
    "ifstat gpb encoding enter.",
    "ifstat gpb encoding, get len failed, bufferlen is 0.",
    "ifstat fieldLen MemAlloc failed.",
    "ifstat gpb encoding, get len failed, bufferlen is 0.",
    "gpb encoding, malloc failed.",
    "gpb encoding, encode failed, ret:%u.",
};

} // namespace

uint32_t IFMPlugin_MDTLM_MibIfStatEncodeGpb(const IfmTlmMibIfStatData *records, uint32_t count, uint8_t **out,
                                            uint32_t *outLen, uint32_t type)
{
    return IFM_GPB_EncodeBatch<IfmMibEncodeLen, &IfmMibEncodeLen::total>(
        kGpbLogs, records, count, out, outLen,
        [type](const IfmTlmMibIfStatData *r, uint32_t n, IfmMibEncodeLen *lens) {
            IFMPlugin_MDTLM_GetMibIfStaEncodeLen(r, n, lens, type);
        },
        [type](const IfmTlmMibIfStatData *r, uint32_t n, const IfmMibEncodeLen *lens, uint8_t **cursor,
               uint32_t *remain) { return IFM_MibIfStatEncapInterfaceNodeGpb(r, n, lens, *cursor, remain, type); });
}

uint32_t IFM_MibIfStatEncodeJson(const IfmTlmMibIfStatData *records, uint32_t count, uint8_t **out,
                                 uint32_t *outLen, uint32_t type)
{
    const auto fill = [type](cJSON *item, const IfmTlmMibIfStatData &r) { return IFM_MibJsonInterface(item, r, type); };
    return IFM_JSON_EncodeIfmInterfaces(records, count, out, outLen, fill);
}

uint32_t IFMPlugin_MDTLM_MibIfStatEncodeProc(const IfmTlmMibIfStatData *records, uint32_t count,
                                             uint32_t encodeType, uint8_t **out, uint32_t *outLen, uint32_t type)
{
    if (out == nullptr || outLen == nullptr) {
        return 1;
    }
    *out = nullptr;
    *outLen = 0;
    return encodeType != 0 ? IFM_MibIfStatEncodeJson(records, count, out, outLen, type)
                           : IFMPlugin_MDTLM_MibIfStatEncodeGpb(records, count, out, outLen, type);
}
