/* IP statistics encoder: a batch of TlmIfStatData records as one "ifm" message, in GPB (sized
 * first, then written into one buffer of exactly that size) or as unformatted JSON.
 *
 * The 24 figures are described once, by kIpStatFields: the GPB sizing pass, the GPB writing pass
 * and the JSON members all walk those rows, so the three cannot drift apart. */
#include <cstring>

#include "encoding/gpb.h"
#include "encoding/json.h"
#include "runtime/frm_buffer.h"
#include "sensors/ipstat/ipstat.h"

namespace {

/* Message levels above the ip-statistics node. */
const uint32_t kFieldInterfaces = 2; /* root "ifm" -> "interfaces" */
const uint32_t kFieldInterface = 1;  /* "interfaces" -> "interface" */
const uint32_t kFieldsPerPart = 8;

constexpr uint16_t FigureAt(size_t part, size_t field) { return static_cast<uint16_t>(part + field); }

#define IPSTAT_PART_ROWS(first, part, v)                                                                           \
    {first + 0, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, inBytes)), 0,       \
     "receive-" v "-byte"},                                                                                        \
    {first + 1, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, outBytes)), 0,      \
     "send-" v "-byte"},                                                                                           \
    {first + 2, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, inPackets)), 0,     \
     "receive-" v "-packet"},                                                                                      \
    {first + 3, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, outPackets)), 0,    \
     "send-" v "-packet"},                                                                                         \
    {first + 4, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, inBitRate)), 0,     \
     "receive-" v "-bit-rate"},                                                                                    \
    {first + 5, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, outBitRate)), 0,    \
     "send-" v "-bit-rate"},                                                                                       \
    {first + 6, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, inPacketRate)), 0,  \
     "receive-" v "-packet-rate"},                                                                                 \
    {first + 7, GpbValue::U64, FigureAt(offsetof(TlmIfStatData, part), offsetof(TlmIpStatPart, outPacketRate)), 0, \
     "send-" v "-packet-rate"}

/* Fields 1 to 24 of the ip-statistics node, in wire order: total, IPv4, IPv6. */
constexpr GpbField kIpStatFields[] = {
    IPSTAT_PART_ROWS(1, total, "ip"),
    IPSTAT_PART_ROWS(9, ipv4, "ipv4"),
    IPSTAT_PART_ROWS(17, ipv6, "ipv6"),
};
#undef IPSTAT_PART_ROWS

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
    const uint32_t header = IFM_GPB_PutNodeType(pos, left, g_ifmpluginMdtlm_ipStatTag, len->ipStatContent);
    if (header == 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat ip_statistics node error.ret=%u", 0u);
        return 1;
    }
    pos += header;
    left -= header;
    if (IFM_IfStatEncodingIpStatisticsTable(record, &pos, &left) != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "GPB encoding ifstat ip_statistics node error.ret=%u", 1u);
        return 1;
    }
    *cursor = pos;
    *remain = left;
    return 0;
}

/* Advances the cursor over a write step's output; false when the step wrote nothing. */
inline bool Advance(uint32_t written, uint8_t *&pos, uint32_t &left)
{
    if (written == 0) {
        return false;
    }
    pos += written;
    left -= written;
    return true;
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
            Advance(IFM_GPB_PutNodeType(pos, left, kFieldInterfaces, lens[i].interfacesContent), pos, left) &&
            Advance(IFM_GPB_PutNodeType(pos, left, kFieldInterface, lens[i].interfaceContent), pos, left) &&
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

/* One element of the "interface" array; null when a member could not be added. */
cJSON *IfStatJsonInterface(const TlmIfStatData *record)
{
    cJSON *object = IFM_JSON_AllocObject();
    if (object == nullptr) {
        return nullptr;
    }
    cJSON *ipStat = nullptr;
    const bool built = IFM_JSON_TableAdd(object, kNameTable, record) != 0 &&
                       (ipStat = IFM_JSON_ObjectAddObject(object, "ip-statistics")) != nullptr &&
                       IFM_IfStatEncodeJsonTotal(ipStat, record) != 0 &&
                       IFM_IfStatEncodeJsonIpv4(ipStat, record) != 0 && IFM_IfStatEncodeJsonIpv6(ipStat, record) != 0;
    if (!built) {
        IFM_JSON_NodeFree(object);
        return nullptr;
    }
    return object;
}

/* The "interface" array of the whole batch; null on any failure (nothing is left allocated). */
cJSON *IfStatJsonInterfaceArray(const TlmIfStatData *records, uint32_t count)
{
    cJSON *array = IFM_JSON_AllocArray();
    if (array == nullptr) {
        return nullptr;
    }
    for (uint32_t i = 0; i < count; ++i) {
        cJSON *object = IfStatJsonInterface(&records[i]);
        if (object == nullptr || !IFM_JSON_AddItemToArray(array, object)) {
            IFM_JSON_NodeFree(object);
            IFM_JSON_NodeFree(array);
            return nullptr;
        }
    }
    return array;
}

} // namespace

uint32_t IFMPlugin_MDTLM_IfStatEncodeGpb(const TlmIfStatData *records, uint32_t count, uint8_t **data,
                                         uint32_t *length)
{
    if (records == nullptr || data == nullptr || length == nullptr) {
        return 1;
    }
    MDTLM_WriteLog(IFM_LOG_INFO, "ifstat encode gpb enter.");
    if (count == 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "ifstat encode gpb, get len failed, bufferlen is 0.");
        return 1;
    }
    const uint64_t tableBytes = static_cast<uint64_t>(count) * sizeof(IfStatEncodeLen);
    FrmBuffer lens(tableBytes > UINT32_MAX ? 0u : static_cast<uint32_t>(tableBytes));
    if (tableBytes > UINT32_MAX || !lens) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "ifstat fieldLen MemAlloc failed.");
        return 1;
    }
    IfStatEncodeLen *lenTable = lens.as<IfStatEncodeLen>();
    (void)IFMPlugin_MDTLM_GetIfStaEncodeLen(records, count, lenTable);

    uint64_t total = 0;
    for (uint32_t i = 0; i < count; ++i) {
        total += lenTable[i].interfacesElement;
    }
    if (total == 0 || total > UINT32_MAX) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "ifstat encode gpb, get len failed, bufferlen is 0.");
        return 1;
    }
    const uint32_t bufferLen = static_cast<uint32_t>(total);
    FrmBuffer message(bufferLen);
    if (!message) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "encode gpb, malloc failed.");
        return 1;
    }

    uint8_t *cursor = message.as<uint8_t>();
    uint32_t remain = bufferLen;
    const uint32_t rc = IFM_IfStatEncapInterfaceNodeGpb(records, count, lenTable, &cursor, &remain);
    lens.reset();
    if (rc != 0) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "encode gpb, encode failed, ret:%u.", rc);
        return 1;
    }
    *length = bufferLen - remain;
    *data = static_cast<uint8_t *>(message.release());
    MDTLM_WriteLog(IFM_LOG_INFO, "after encode gpb, datalen:%u, filedlen:%u, leftlen:%u.", *length, bufferLen,
                   remain);
    return 0;
}

uint32_t IFM_IfStatEncodeJson(const TlmIfStatData *records, uint32_t count, uint8_t **data, uint32_t *length)
{
    if ((records == nullptr && count != 0) || data == nullptr || length == nullptr) {
        return 1;
    }
    cJSON *root = IFM_JSON_AllocObject();
    if (root == nullptr) {
        return 1;
    }
    cJSON *ifm = IFM_JSON_ObjectAddObject(root, "ifm");
    cJSON *interfaces = ifm != nullptr ? IFM_JSON_ObjectAddObject(ifm, "interfaces") : nullptr;
    cJSON *array = interfaces != nullptr ? IfStatJsonInterfaceArray(records, count) : nullptr;
    if (array == nullptr) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "encode ifstat json, encode failed");
        IFM_JSON_NodeFree(root);
        return 1;
    }
    if (!IFM_JSON_AddItemToObject(interfaces, "interface", array)) {
        MDTLM_WriteLog(IFM_LOG_ERROR, "encode ifstat json, encode failed");
        IFM_JSON_NodeFree(array);
        IFM_JSON_NodeFree(root);
        return 1;
    }

    char *text = IFM_JSON_EncodeUnformatted(root);
    IFM_JSON_NodeFree(root);
    if (text == nullptr) {
        return 1;
    }
    *data = reinterpret_cast<uint8_t *>(text);
    *length = static_cast<uint32_t>(strlen(text));
    return 0;
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
