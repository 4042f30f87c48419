/* IP statistics encoder: a batch of TlmIfStatData records as one "ifm" message, in GPB (sized
 * first, then written into one buffer of exactly that size) or as unformatted JSON.
 *
 * The 24 figures are described once, by kIpStatFields: the GPB sizing pass, the GPB writing pass
 * and the JSON members all walk those rows, so the three cannot drift apart. */
#include "encoding/batch.h"
#include "encoding/gpb.h"
#include "sensors/ipstat/ipstat.h"

/* GPB field number of the ip-statistics node, exported for the framework's decoders. */
uint32_t g_ifmpluginMdtlm_ipStatTag = 178;

namespace {

/* Message levels above the ip-statistics node. */
const uint32_t kFieldInterfaces = 2; /* root "ifm" -> "interfaces" */
const uint32_t kFieldInterface = 1;  /* "interfaces" -> "interface" */
constexpr size_t kFieldsPerPart = 8;

constexpr uint16_t FigureAt(size_t part, size_t field) { return static_cast<uint16_t>(part + field); }

/* One figure of a part: field `no`, member `field` of the part `part`. */
#define IPSTAT_ROW(no, part, field, name)                                                                          \
    {no, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, field)), 0, name}
#define IPSTAT_PART_ROWS(first, part, v)                                                                           \
    IPSTAT_ROW((first) + 0, part, inBytes, "receive-" v "-byte"),                                                  \
    IPSTAT_ROW((first) + 1, part, outBytes, "send-" v "-byte"),                                                    \
    IPSTAT_ROW((first) + 2, part, inPackets, "receive-" v "-packet"),                                              \
    IPSTAT_ROW((first) + 3, part, outPackets, "send-" v "-packet"),                                                \
    IPSTAT_ROW((first) + 4, part, inBitRate, "receive-" v "-bit-rate"),                                            \
    IPSTAT_ROW((first) + 5, part, outBitRate, "send-" v "-bit-rate"),                                              \
    IPSTAT_ROW((first) + 6, part, inPacketRate, "receive-" v "-packet-rate"),                                      \
    IPSTAT_ROW((first) + 7, part, outPacketRate, "send-" v "-packet-rate")

/* Fields 1 to 24 of the ip-statistics node, in wire order: total, IPv4, IPv6. */
constexpr GpbField kIpStatFields[] = {
    IPSTAT_PART_ROWS(1, total, "ip"),
    IPSTAT_PART_ROWS(9, ipv4, "ipv4"),
    IPSTAT_PART_ROWS(17, ipv6, "ipv6"),
};
#undef IPSTAT_PART_ROWS
#undef IPSTAT_ROW

static_assert(sizeof(kIpStatFields) / sizeof(kIpStatFields[0]) == 3 * kFieldsPerPart, "24 figures");

constexpr bool FieldsNumberedInOrder()
{
    for (uint32_t i = 0; i < 3 * kFieldsPerPart; ++i) {
        if (kIpStatFields[i].number != i + 1) {
            return false;
        }
    }
    return true;
}
static_assert(FieldsNumberedInOrder(), "rows are fields 1 to 24 in order");

constexpr GpbTable kIpStatTable = IFM_GpbTable(kIpStatFields);
constexpr GpbTable kTotalPart{kIpStatFields, kFieldsPerPart};
constexpr GpbTable kIpv4Part{kIpStatFields + kFieldsPerPart, kFieldsPerPart};
constexpr GpbTable kIpv6Part{kIpStatFields + 2 * kFieldsPerPart, kFieldsPerPart};

/* The interface name: field 1 of "interface", member "name" in JSON. */
constexpr GpbField kNameField[] = {
    {1, GpbValue::Text, static_cast<uint16_t>(offsetof(TlmIfStatData, ifName)), IFM_IF_NAME_LEN, "name"},
};
constexpr GpbTable kNameTable = IFM_GpbTable(kNameField);

/* One record's row of the size table. */
struct IfStatEncodeLen {
    uint32_t interfacesContent; /* = the interface element */
    uint32_t interfaceContent;  /* name + ip-statistics node */
    uint32_t ipStatContent;     /* the 24 figures */
    uint32_t interfacesElement; /* the record's whole share of the message */
};
static_assert(sizeof(IfStatEncodeLen) == 16, "16 bytes of size table per record");

uint32_t IFM_IfStatGetEncodingSizeOfIpStat(const TlmIfStatData *record, IfStatEncodeLen *len)
{
    len->ipStatContent = IFM_GPB_TableSizeOf<kIpStatTable>(record);
    return IFM_GPB_GetEncodingSizeOfNodeType(g_ifmpluginMdtlm_ipStatTag, len->ipStatContent);
}

uint32_t IFM_IfStatGetEncodingSizeOfInterface(const TlmIfStatData *record, IfStatEncodeLen *len)
{
    len->interfaceContent = IFM_GPB_TableSizeOf<kNameTable>(record) + IFM_IfStatGetEncodingSizeOfIpStat(record, len);
    return IFM_GPB_GetEncodingSizeOfNodeType(kFieldInterface, len->interfaceContent);
}

uint32_t IFM_IfStatGetEncodingSizeOfInterfaces(const TlmIfStatData *record, IfStatEncodeLen *len)
{
    len->interfacesContent = IFM_IfStatGetEncodingSizeOfInterface(record, len);
    return IFM_GPB_GetEncodingSizeOfNodeType(kFieldInterfaces, len->interfacesContent);
}

uint32_t IFMPlugin_MDTLM_GetIfStaEncodeLen(const TlmIfStatData *records, uint32_t count, IfStatEncodeLen *lens)
{
    for (uint32_t i = 0; i < count; ++i) {
        lens[i].interfacesElement = IFM_IfStatGetEncodingSizeOfInterfaces(&records[i], &lens[i]);
    }
    return 0;
}

/* Writes one part's eight figures; `errorMsg` names the part when one does not fit. */
template <const GpbTable &Part>
uint32_t WritePart(const char *errorMsg, const TlmIfStatData *record, uint8_t **cursor, uint32_t *remain)
{
    if (IFM_GPB_TableWriteOf<Part>(record, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "%s", errorMsg);
        return 1;
    }
    return 0;
}

uint32_t IFM_IfStatEncodingIpStatisticsTotalPart(const TlmIfStatData *record, uint8_t **cursor, uint32_t *remain)
{
    return WritePart<kTotalPart>("GPB encoding ifstat ip-statistics total part error.", record, cursor, remain);
}

uint32_t IFM_IfStatEncodingIpStatisticsIpV4Part(const TlmIfStatData *record, uint8_t **cursor, uint32_t *remain)
{
    return WritePart<kIpv4Part>("GPB encoding ifstat ip-statistics ipV4 part error.", record, cursor, remain);
}

uint32_t IFM_IfStatEncodingIpStatisticsIpV6Part(const TlmIfStatData *record, uint8_t **cursor, uint32_t *remain)
{
    return WritePart<kIpv6Part>("GPB encoding ifstat ip-statistics ipV6 part error.", record, cursor, remain);
}

uint32_t IFM_IfStatEncodingIpStatisticsTable(const TlmIfStatData *record, uint8_t **cursor, uint32_t *remain)
{
    if (IFM_IfStatEncodingIpStatisticsTotalPart(record, cursor, remain) != 0 ||
        IFM_IfStatEncodingIpStatisticsIpV4Part(record, cursor, remain) != 0 ||
        IFM_IfStatEncodingIpStatisticsIpV6Part(record, cursor, remain) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat ip_statistics error. ret=%u", 1u);
        return 1;
    }
    return 0;
}

/* The caller's cursor moves only when the whole node was written. */
uint32_t IFM_IfStatEncapIpStatisticsNodeGpb(const TlmIfStatData *record, uint8_t **cursor, uint32_t *remain,
                                            const IfStatEncodeLen *len)
{
    uint8_t *pos = *cursor;
    uint32_t left = *remain;
    if (!IFM_GPB_PutNode(&pos, &left, g_ifmpluginMdtlm_ipStatTag, len->ipStatContent)) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat ip_statistics node error.ret=%u", 0u);
        return 1;
    }
    if (IFM_IfStatEncodingIpStatisticsTable(record, &pos, &left) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat ip_statistics node error.ret=%u", 1u);
        return 1;
    }
    *cursor = pos;
    *remain = left;
    return 0;
}

uint32_t IFM_IfStatEncapInterfaceNodeGpb(const TlmIfStatData *records, uint32_t count, const IfStatEncodeLen *lens,
                                         uint8_t **cursor, uint32_t *remain)
{
    if (records == nullptr || lens == nullptr || cursor == nullptr || *cursor == nullptr || remain == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat pointer null");
        return 1;
    }
    uint8_t *pos = *cursor;
    uint32_t left = *remain;
    for (uint32_t i = 0; i < count; ++i) {
        const TlmIfStatData *record = &records[i];
        const bool headed =
            IFM_GPB_PutNode(&pos, &left, kFieldInterfaces, lens[i].interfacesContent) &&
            IFM_GPB_PutNode(&pos, &left, kFieldInterface, lens[i].interfaceContent) &&
            IFM_GPB_TableWriteOf<kNameTable>(record, &pos, &left) == 0;
        if (!headed) {
            MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat interface error");
            return 1;
        }
        if (IFM_IfStatEncapIpStatisticsNodeGpb(record, &pos, &left, &lens[i]) != 0) {
            return 1;
        }
    }
    *cursor = pos;
    *remain = left;
    return 0;
}

uint32_t IFM_IfStatEncodeJsonTotal(cJSON *ipStat, const TlmIfStatData *record)
{
    return IFM_JSON_TableAdd(ipStat, kTotalPart, record);
}

uint32_t IFM_IfStatEncodeJsonIpv4(cJSON *ipStat, const TlmIfStatData *record)
{
    return IFM_JSON_TableAdd(ipStat, kIpv4Part, record);
}

uint32_t IFM_IfStatEncodeJsonIpv6(cJSON *ipStat, const TlmIfStatData *record)
{
    return IFM_JSON_TableAdd(ipStat, kIpv6Part, record);
}

/* Fills one element of the "interface" array: "name", then "ip-statistics" with its 24 members. */
bool IfStatJsonInterface(cJSON *object, const TlmIfStatData &record)
{
    cJSON *ipStat = nullptr;
    return IFM_JSON_TableAdd(object, kNameTable, &record) != 0 &&
           (ipStat = IFM_JSON_ObjectAddObject(object, "ip-statistics")) != nullptr &&
           IFM_IfStatEncodeJsonTotal(ipStat, &record) != 0 && IFM_IfStatEncodeJsonIpv4(ipStat, &record) != 0 &&
           IFM_IfStatEncodeJsonIpv6(ipStat, &record) != 0;
}

/* A total over 32 bits is logged like a total of 0. */
constexpr GpbBatchLogs kGpbLogs = {
    "ifstat encode gpb enter.",
    "ifstat encode gpb, get len failed, bufferlen is 0.",
    "ifstat fieldLen MemAlloc failed.",
    "ifstat encode gpb, get len failed, bufferlen is 0.",
    "encode gpb, malloc failed.",
    "encode gpb, encode failed, ret:%u.",
};

} // namespace

uint32_t IFMPlugin_MDTLM_IfStatEncodeGpb(const TlmIfStatData *records, uint32_t count, uint8_t **data,
                                         uint32_t *length)
{
    return IFM_GPB_EncodeBatch<IfStatEncodeLen, &IfStatEncodeLen::interfacesElement>(
        kGpbLogs, records, count, data, length, IFMPlugin_MDTLM_GetIfStaEncodeLen, IFM_IfStatEncapInterfaceNodeGpb);
}

uint32_t IFM_IfStatEncodeJson(const TlmIfStatData *records, uint32_t count, uint8_t **data, uint32_t *length)
{
    return IFM_JSON_EncodeIfmInterfaces(records, count, data, length, IfStatJsonInterface);
}

uint32_t IFMPlugin_MDTLM_IfStatEncodeProc(const TlmIfStatData *records, uint32_t count, uint32_t encodeType,
                                          uint8_t **data, uint32_t *length)
{
    if (data == nullptr || length == nullptr) {
        return 1;
    }
    *data = nullptr;
    *length = 0;
    return encodeType != 0 ? IFM_IfStatEncodeJson(records, count, data, length)
                           : IFMPlugin_MDTLM_IfStatEncodeGpb(records, count, data, length);
}
